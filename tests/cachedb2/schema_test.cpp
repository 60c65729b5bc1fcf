#include "schema.h"

#include "cachedb2/store_fixture.h"
#include "tables.h"

#include <array>

class Schema : public StoreFixture {
protected:
    std::unique_ptr<DbConnection> writer()
    {
        std::string reason;
        return DbConnection::open(path("config.db").string(), DbConnection::Mode::Writer, reason);
    }
};

TEST_F(Schema, StoreOfVersionOneOpensWithAllThatIsInIt)
{
    ASSERT_EQ("1", sql(path("config.db"), readFile(TEST_DATA "/store/version-1.sql") + "; pragma user_version"));
    open();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_STREQ("Anna's phone", read.description);
    EXPECT_EQ(0x804480u, read.flags);
    EXPECT_EQ(5070, store().DbGetSysTbl()->udpPort);
    EXPECT_EQ(std::to_string(kConfigVersion), sql(path("config.db"), "pragma user_version"));
}

TEST_F(Schema, EveryOlderVersionHasASample)
{
    for (int version = 1; version <= kConfigVersion; ++version)
        EXPECT_TRUE(std::filesystem::exists(TEST_DATA "/store/version-" + std::to_string(version) + ".sql"));
}

TEST_F(Schema, MigratesStepByStepFromWhereTheFileIs)
{
    open();
    close();
    auto db = writer();
    ASSERT_TRUE(db);
    const std::array<Migration, 3> steps = {{
        {kConfigVersion, "create table must_not_run (x)"},
        {kConfigVersion + 1, "create table second (x); insert into second values (2)"},
        {kConfigVersion + 2, "alter table second rename to third"},
    }};
    EXPECT_EQ(SchemaState::Ready, prepareConfig(*db, steps, kConfigVersion + 2));
    EXPECT_EQ(2, db->number("select x from third", 0));
    EXPECT_EQ(kConfigVersion + 2, db->number("pragma user_version", 0));
    EXPECT_EQ(SchemaState::Ready, prepareConfig(*db, steps, kConfigVersion + 2)); // nothing runs twice
    EXPECT_EQ(SchemaState::Newer, prepareConfig(*db, {}, kConfigVersion));
}

TEST_F(Schema, AStepThatFailsLeavesTheVersionBeforeIt)
{
    open();
    close();
    auto db = writer();
    ASSERT_TRUE(db);
    const std::array<Migration, 2> steps = {{
        {kConfigVersion + 1, "create table second (x)"},
        {kConfigVersion + 2, "create table third (x); insert into missing values (1)"},
    }};
    EXPECT_EQ(SchemaState::Failed, prepareConfig(*db, steps, kConfigVersion + 2));
    EXPECT_EQ(kConfigVersion + 1, db->number("pragma user_version", 0));
    EXPECT_EQ(0, db->number("select count(*) from sqlite_master where name='third'", -1));
}
