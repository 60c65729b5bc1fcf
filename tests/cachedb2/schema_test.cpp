#include "schema.h"

#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "tables.h"

#include <array>

namespace {

bool yes()
{
    return true;
}

} // namespace

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
    EXPECT_EQ(1u, takeLog().size()); // of the backup
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_STREQ("Anna's phone", read.description);
    EXPECT_EQ(0x804480u, read.flags);
    EXPECT_EQ(5070, store().DbGetSysTbl()->udpPort);
    EXPECT_EQ(std::to_string(kConfigVersion), sql(path("config.db"), "pragma user_version"));
}

TEST_F(Schema, RoutesOfVersionTwoKeepTheOrderInWhichTheyWereAdded)
{
    (void)sql(path("config.db"), readFile(TEST_DATA "/store/version-2.sql") +
                                     "; insert into tbl_route values (3,1,'z',0), (3,1,'a',0), (3,1,'m',0)");
    open();
    EXPECT_EQ("line1,z,a,m", sql(path("config.db"), "select group_concat(extLine) from (select extLine from tbl_route "
                                                    "order by groupID, routeType)"));
    EXPECT_EQ("0", sql(path("config.db"), "select count(*) from sqlite_master where name like '%route_2%'"));
}

TEST_F(Schema, StoreOfVersionThreeOpensWithAllThatIsInIt)
{
    ASSERT_EQ("3", sql(path("config.db"), readFile(TEST_DATA "/store/version-3.sql") + "; pragma user_version"));
    open();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    std::string routes;
    for (const auto& route : store().rows<Cdb_route>().get()->inOrder())
        routes += std::to_string(route->routeType) + std::string(route->extLine.view()) + " ";
    EXPECT_EQ("2 1line2 1line1 ", routes);
}

TEST_F(Schema, StoreOfVersionTwoOpensWithAllThatIsInIt)
{
    ASSERT_EQ("2", sql(path("config.db"), readFile(TEST_DATA "/store/version-2.sql") + "; pragma user_version"));
    open();
    EXPECT_EQ(1u, takeLog().size()); // of the backup
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, "line1");
    ASSERT_EQ(kDbOk, store().DbExtLineGet(line));
    EXPECT_STREQ("sip.example.net", line.serverAddr);
    Cdb_sip_domain_data peer;
    ASSERT_EQ(kDbOk, store().DbPeerServerGet(7, peer));
    EXPECT_EQ(5062, peer.peerPort);
    Cdb_rg_user member;
    member.groupID = 5;
    BclCopyStr(member.user, "1000");
    EXPECT_EQ(kDbHas, store().DbRGUserHas(member));
    EXPECT_EQ(std::to_string(kConfigVersion), sql(path("config.db"), "pragma user_version"));
}

TEST_F(Schema, OfAMigratedStoreIsThatOfANewOne)
{
    const std::string wholeSchema = "select group_concat(name || ' ' || columns, ' | ') from"
                                    " (select t.name, (select group_concat(c.name || c.type || c.pk, ',')"
                                    " from pragma_table_info(t.name) c) as columns"
                                    " from sqlite_master t where t.type='table' order by t.name)";
    open();
    close();
    const std::string fresh = sql(path("config.db"), wholeSchema);
    EXPECT_NE(std::string::npos, fresh.find("tbl_evt_channel_auth"));
    sql(path("old.db"), readFile(TEST_DATA "/store/version-1.sql"));
    std::string reason;
    auto db = DbConnection::open(path("old.db").string(), DbConnection::Mode::Writer, reason);
    ASSERT_TRUE(db);
    ASSERT_EQ(SchemaState::Ready, prepareConfig(*db, configMigrations(), kConfigVersion, yes));
    EXPECT_EQ(fresh, sql(path("old.db"), wholeSchema));
}

TEST_F(Schema, OlderFileOfRegistrationsKeepsThem)
{
    sql(path("runtime.db"), registrationsTable().createStatement() + ";" + contactsTable().createStatement() +
                                "; insert into tbl_sip_reg values ('1000','10.0.0.1',5060,1,'phone');"
                                " pragma application_id=1347180120; pragma user_version=1");
    open();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(1u, store().DbReadRegistrations().size());
    EXPECT_EQ(std::to_string(kRuntimeVersion), sql(path("runtime.db"), "pragma user_version"));
}

TEST_F(Schema, EveryVersionOpens)
{
    for (int version = 1; version <= kConfigVersion; ++version) {
        SCOPED_TRACE(version);
        close();
        for (const char* companion : {"", "-wal", "-shm"})
            std::filesystem::remove(path(std::string("config.db") + companion));
        const std::string sample = TEST_DATA "/store/version-" + std::to_string(version) + ".sql";
        ASSERT_TRUE(std::filesystem::exists(sample));
        ASSERT_EQ(std::to_string(version), sql(path("config.db"), readFile(sample) + "; pragma user_version"));
        open();
        EXPECT_EQ(2u, store().DbGetUsrCnt());
        EXPECT_EQ(5070, store().system().get()->udpPort);
        EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("new")));
    }
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
    EXPECT_EQ(SchemaState::Ready, prepareConfig(*db, steps, kConfigVersion + 2, yes));
    EXPECT_EQ(2, db->number("select x from third", 0));
    EXPECT_EQ(kConfigVersion + 2, db->number("pragma user_version", 0));
    EXPECT_EQ(SchemaState::Ready, prepareConfig(*db, steps, kConfigVersion + 2, yes)); // nothing runs twice
    EXPECT_EQ(SchemaState::Newer, prepareConfig(*db, {}, kConfigVersion, yes));
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
    EXPECT_EQ(SchemaState::Failed, prepareConfig(*db, steps, kConfigVersion + 2, yes));
    EXPECT_EQ(kConfigVersion + 1, db->number("pragma user_version", 0));
    EXPECT_EQ(0, db->number("select count(*) from sqlite_master where name='third'", -1));
}
