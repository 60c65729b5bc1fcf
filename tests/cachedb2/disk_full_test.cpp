#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

#include <csignal>
#include <sys/resource.h>

// A limit on the size of files stands for a disk without room: the system refuses the write in the same way.
class DiskFull : public StoreFixture {
protected:
    static void limitFiles(rlim_t bytes)
    {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
        limit.rlim_cur = bytes;
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    }
};

TEST_F(DiskFull, LosesNothingThatWasStored)
{
    open();
    Cdb_usr_info first = user("first");
    BclCopyStr(first.description, "stored before");
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(first));
    takeLog();

    limitFiles(std::filesystem::file_size(path("config.db-wal")));
    BclCopyStr(first.description, "not stored");
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(first));
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, 100, "p"));
    const auto log = takeLog();
    ASSERT_EQ(2u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("The store could not write tbl_local_users (first)")) << log[0];
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("first", read));
    EXPECT_STREQ("stored before", read.description);
    EXPECT_EQ(1u, store().DbGetUsrCnt());

    limitFiles(RLIM_INFINITY);
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(first));
    open();
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("first", read));
    EXPECT_STREQ("not stored", read.description);
    EXPECT_EQ("ok", sql(path("config.db"), "pragma integrity_check"));
}

TEST_F(DiskFull, AtTheFirstStartIsALogLineAndNoStore)
{
    limitFiles(0);
    open();
    EXPECT_FALSE(store().isOpen());
    EXPECT_FALSE(takeLog().empty());
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("1000")));
}

TEST_F(DiskFull, KeepsAnExistingStoreWhereItIs)
{
    open();
    ASSERT_EQ(kDbOk, store().DbAddUserMany(1, 5, "p"));
    close();
    takeLog();
    limitFiles(0);
    open();
    limitFiles(RLIM_INFINITY);
    EXPECT_EQ(0, countFiles("config.db.damaged-"));
    open();
    EXPECT_EQ(5u, store().DbGetUsrCnt());
}
