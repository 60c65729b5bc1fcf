#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

class SystemRecord : public StoreFixture {
protected:
    SystemRecord() { open(); }
};

TEST_F(SystemRecord, IsThereInANewStore)
{
    ASSERT_NE(nullptr, store().DbGetSysTbl());
    EXPECT_EQ(5060, store().DbGetSysTbl()->udpPort);
    EXPECT_EQ("1", sql(path("config.db"), "select count(*) from tbl_system"));
}

TEST_F(SystemRecord, IsSavedOnlyWhenMarkedAsModified)
{
    Cdb_sys_tbl& record = *store().DbGetSysTbl();
    record.udpPort = 5070;
    EXPECT_EQ(kDbOk, record.SaveDB());
    EXPECT_EQ("5060", sql(path("config.db"), "select udpPort from tbl_system"));
    record.SetModified();
    EXPECT_EQ(kDbOk, record.SaveDB());
    EXPECT_EQ("5070", sql(path("config.db"), "select udpPort from tbl_system"));
    EXPECT_EQ(5070, store().system().get()->udpPort);
}

TEST_F(SystemRecord, OldVersionsStayAsTheyWere)
{
    const auto before = store().system().get();
    SnapshotReader reader(store().system());
    EXPECT_EQ(5060, reader.now().udpPort);
    Cdb_sys_tbl& record = *store().DbGetSysTbl();
    record.udpPort = 5071;
    record.SetModified();
    ASSERT_EQ(kDbOk, record.SaveDB());
    EXPECT_EQ(5060, before->udpPort);
    EXPECT_EQ(5071, reader.now().udpPort);
}

TEST_F(SystemRecord, StaysOneRecordWhateverItsKeySays)
{
    Cdb_sys_tbl& record = *store().DbGetSysTbl();
    record.id = 9;
    record.SetModified();
    ASSERT_EQ(kDbOk, record.SaveDB());
    EXPECT_EQ("1", sql(path("config.db"), "select count(*) from tbl_system"));
    EXPECT_EQ("1", sql(path("config.db"), "select id from tbl_system"));
}

TEST_F(SystemRecord, IsMissingWhenThereIsNoStore)
{
    close();
    writeFile(path("file"), "not a folder");
    setenv("PARLOVEX_HOME", path("file").c_str(), 1);
    EXPECT_EQ(nullptr, open().DbGetSysTbl());
    EXPECT_EQ(5060, store().system().get()->udpPort);
    EXPECT_EQ(kDbFailed, store().DbSetSysData(Cdb_sys_data()));
}
