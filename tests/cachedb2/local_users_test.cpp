#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

#include <cstring>
#include <set>

class LocalUsers : public StoreFixture {
protected:
    LocalUsers() { open(); }
};

TEST_F(LocalUsers, AreAddedReplacedAndDeleted)
{
    Cdb_usr_info record = user("1000");
    BclCopyStr(record.description, "first");
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(record));
    BclCopyStr(record.description, "second");
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(record));
    EXPECT_EQ(1u, store().DbGetUsrCnt());
    EXPECT_EQ(kDbHas, store().DbIsLocalUser("1000"));
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_STREQ("second", read.description);

    EXPECT_EQ(kDbOk, store().DbDelUsrInfo("1000"));
    EXPECT_EQ(kDbFailed, store().DbDelUsrInfo("1000"));
    EXPECT_EQ(kDbFailed, store().DbGetUsrInfo("1000", read));
    EXPECT_EQ(0u, store().DbIsLocalUser("1000"));
    EXPECT_EQ(0u, store().DbGetUsrCnt());
}

TEST_F(LocalUsers, NamesAreCaseSensitive)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("anna")));
    EXPECT_EQ(0u, store().DbIsLocalUser("Anna"));
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("Anna")));
    EXPECT_EQ(2u, store().DbGetUsrCnt());
}

TEST_F(LocalUsers, WithoutAUsableNameAreRefused)
{
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("")));
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("a\nb")));
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("\xff\xfe")));
    Cdb_usr_info endless;
    std::memset(endless.usrName, 'u', sizeof endless.usrName);
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(endless));
    EXPECT_EQ(0u, store().DbGetUsrCnt());

    Cdb_usr_info read;
    for (const char* name : {static_cast<const char*>(nullptr), "", "123456789012345678901234567890123"}) {
        EXPECT_EQ(kDbFailed, store().DbGetUsrInfo(name, read));
        EXPECT_EQ(kDbFailed, store().DbDelUsrInfo(name));
        EXPECT_EQ(0u, store().DbIsLocalUser(name));
    }
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("12345678901234567890123456789012")));
    EXPECT_EQ(kDbHas, store().DbIsLocalUser("12345678901234567890123456789012"));
}

TEST_F(LocalUsers, KeepQuotesAndSqlInNamesAsText)
{
    const std::set<std::string> names = {"o'neill", "a\"b", "%s%n", "';drop table tbl_local_users;--", "日本"};
    for (const std::string& name : names)
        EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user(name)));
    open();
    EXPECT_EQ(names.size(), store().DbGetUsrCnt());
    for (const std::string& name : names)
        EXPECT_EQ(kDbHas, store().DbIsLocalUser(name.c_str())) << name;
    EXPECT_EQ(kDbOk, store().DbDelUsrInfo("';drop table tbl_local_users;--"));
    EXPECT_EQ(names.size() - 1, store().DbGetUsrCnt());
}

TEST_F(LocalUsers, AddedByTheHundredHaveConsecutiveNames)
{
    EXPECT_EQ(kDbOk, store().DbAddUserMany(100, 300, "secret"));
    EXPECT_EQ(300u, store().DbGetUsrCnt());
    Cdb_usr_info read;
    for (const char* name : {"100", "399"}) {
        ASSERT_EQ(kDbOk, store().DbGetUsrInfo(name, read));
        EXPECT_STREQ("secret", read.password);
        EXPECT_EQ(0x804480u, read.flags);
    }
    EXPECT_EQ(0u, store().DbIsLocalUser("400"));
}

TEST_F(LocalUsers, AddedByTheHundredSkipNamesThatExist)
{
    Cdb_usr_info own = user("101");
    BclCopyStr(own.password, "own");
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(own));
    EXPECT_EQ(kDbOk, store().DbAddUserMany(100, 3, "common"));
    EXPECT_EQ(3u, store().DbGetUsrCnt());
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("101", read));
    EXPECT_STREQ("own", read.password);
}

TEST_F(LocalUsers, AddedByTheHundredSkipNamesOfExternalLines)
{
    Cdb_ext_line_info line;
    BclCopyStr(line.extName, "101");
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line));
    EXPECT_EQ(kDbOk, store().DbAddUserMany(100, 3, "p"));
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    EXPECT_EQ(0u, store().DbIsLocalUser("101"));
}

TEST_F(LocalUsers, AddedWithoutAPasswordGetARandomOneEach)
{
    ASSERT_EQ(kDbOk, store().DbAddUserMany(1, 50, ""));
    ASSERT_EQ(kDbOk, store().DbAddUserMany(51, 50, nullptr));
    std::set<std::string> passwords;
    for (int number = 1; number <= 100; ++number) {
        Cdb_usr_info read;
        ASSERT_EQ(kDbOk, store().DbGetUsrInfo(std::to_string(number).c_str(), read));
        const std::string password = read.password;
        EXPECT_EQ(12u, password.size());
        EXPECT_EQ(std::string::npos,
                  password.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"));
        passwords.insert(password);
    }
    EXPECT_EQ(100u, passwords.size());
}

TEST_F(LocalUsers, AddedByTheHundredHaveBounds)
{
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, 0, "p"));
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, Cdb_fac_mgr::kMaxAddMany + 1, "p"));
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, 1, std::string(33, 'p').c_str()));
    EXPECT_EQ(0u, store().DbGetUsrCnt());
    // Numbers end where an unsigned one ends.
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(4294967295u, 2, "p"));
    EXPECT_EQ(0u, store().DbGetUsrCnt());
    EXPECT_EQ(kDbOk, store().DbAddUserMany(4294967294u, 2, "p"));
    EXPECT_EQ(kDbHas, store().DbIsLocalUser("4294967295"));
}

TEST_F(LocalUsers, SetDoesNotTouchRunTimeState)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("1000")));
    Cdb_usr_info opened;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", opened)); // an editor opens

    Cdb_user_bindings live;
    live.userName = "1000";
    live.hasRow = true;
    BclCopyStr(live.row.userName, "1000");
    BclCopyStr(live.row.preAddr, "10.0.0.7");
    live.row.prePort = 5070;
    live.row.usrStage = kUsrIdle;
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({live})); // the telephone registers meanwhile

    opened.usrStage = kUsrTalking;
    BclCopyStr(opened.preAddr, "192.0.2.1");
    BclCopyStr(opened.description, "edited");
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(opened));
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_STREQ("edited", read.description);
    EXPECT_STREQ("10.0.0.7", read.preAddr);
    EXPECT_EQ(5070, read.prePort);
    EXPECT_EQ(kUsrIdle, read.usrStage);
}

TEST_F(LocalUsers, SetOfAnUnregisteredUserInventsNoRunTimeState)
{
    Cdb_usr_info record = user("1000");
    record.usrStage = kUsrTalking;
    record.prePort = 5070;
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(record));
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_EQ(kUsrOffline, read.usrStage);
    EXPECT_EQ(0, read.prePort);
}

TEST_F(LocalUsers, TakeOverRunTimeStateFromTheStoredRecord)
{
    Cdb_usr_info stored = user("1000");
    BclCopyStr(stored.preAddr, "10.0.0.7");
    stored.prePort = 5070;
    stored.usrStage = kUsrTalking;
    BclCopyStr(stored.description, "stored");
    Cdb_usr_info working = user("1000");
    working.restorePreStatus(stored);
    EXPECT_STREQ("10.0.0.7", working.preAddr);
    EXPECT_EQ(5070, working.prePort);
    EXPECT_EQ(kUsrTalking, working.usrStage);
    EXPECT_STREQ("", working.description);
}

TEST_F(LocalUsers, ChangesReachListenersAfterTheNextVersionIsInPlace)
{
    std::vector<std::string> heard;
    store().addListener([&](const Cdb_change& change) {
        const size_t size = store().users().get()->size();
        heard.push_back(std::string(change.table == Edb_table::LocalUsers ? "users " : "other ") +
                        std::string(change.key) + " " + std::to_string(size));
    });
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("1000")));
    ASSERT_EQ(kDbOk, store().DbAddUserMany(2000, 10, "p"));
    ASSERT_EQ(kDbOk, store().DbDelUsrInfo("1000"));
    EXPECT_EQ(kDbFailed, store().DbDelUsrInfo("1000"));
    EXPECT_EQ((std::vector<std::string>{"users 1000 1", "users  11", "users 1000 10"}), heard);
}
