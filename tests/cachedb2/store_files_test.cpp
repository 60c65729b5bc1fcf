#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Another process that holds every lock of a file, as long as this object lives.
class LockingProcess {
public:
    explicit LockingProcess(const std::string& file)
    {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        EXPECT_EQ(0, pipe(_hold));
        _child = fork();
        if (_child == 0) {
            ::close(_hold[1]);
            struct flock whole {};
            whole.l_type = F_WRLCK;
            const int fd = ::open(file.c_str(), O_RDWR);
            const bool isLocked = fcntl(fd, F_SETLK, &whole) == 0;
            char byte = isLocked ? 'y' : 'n';
            (void)!write(ready[1], &byte, 1);
            (void)!read(_hold[0], &byte, 1); // until the parent closes its end
            _exit(0);
        }
        char byte = 0;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        EXPECT_EQ('y', byte);
    }
    ~LockingProcess()
    {
        ::close(_hold[1]);
        waitpid(_child, nullptr, 0);
    }
    LockingProcess(const LockingProcess&) = delete;
    LockingProcess& operator=(const LockingProcess&) = delete;

private:
    int _hold[2];
    pid_t _child;
};

} // namespace

class StoreFiles : public StoreFixture {
protected:
    // Closing a store folds its log into the file.
    void makeStore(int users = 3)
    {
        open();
        EXPECT_EQ(kDbOk, store().DbAddUserMany(1000, static_cast<unsigned>(users), "p"));
        close();
        takeLog();
    }

    void expectFreshStore(const std::string& aside)
    {
        open();
        const auto log = takeLog();
        ASSERT_EQ(1u, log.size());
        EXPECT_NE(std::string::npos, log[0].find("It is kept as")) << log[0];
        EXPECT_TRUE(store().isOpen());
        EXPECT_EQ(0u, store().DbGetUsrCnt());
        EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("new")));
        EXPECT_EQ(1, countFiles(aside));
        open();
        EXPECT_TRUE(takeLog().empty());
        EXPECT_EQ(1u, store().DbGetUsrCnt());
    }
};

TEST_F(StoreFiles, AreForTheirOwnerOnly)
{
    makeStore();
    struct stat status {};
    ASSERT_EQ(0, stat(homeFolder().c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 0777);
    for (const char* file : {"config.db", "runtime.db"}) {
        ASSERT_EQ(0, stat(path(file).c_str(), &status));
        EXPECT_EQ(0600u, status.st_mode & 0777) << file;
    }
}

TEST_F(StoreFiles, OpenAgainWithEverythingInThem)
{
    makeStore();
    open();
    EXPECT_EQ(3u, store().DbGetUsrCnt());
    EXPECT_TRUE(takeLog().empty());
}

TEST_F(StoreFiles, OfGarbageAreKeptAside)
{
    writeFile(path("config.db"), std::string(100000, 'g'));
    expectFreshStore("config.db.damaged-");
}

TEST_F(StoreFiles, CutShortAreKeptAside)
{
    makeStore(500);
    const std::string whole = readFile(path("config.db"));
    const std::string half = whole.substr(0, whole.size() / 2);
    writeFile(path("config.db"), half);
    expectFreshStore("config.db.damaged-");
    for (const auto& entry : std::filesystem::directory_iterator(homeFolder())) {
        if (entry.path().filename().string().starts_with("config.db.damaged-")) {
            EXPECT_EQ(half, readFile(entry.path()));
        }
    }
}

TEST_F(StoreFiles, WithABrokenPageInTheMiddleAreKeptAside)
{
    makeStore(500);
    std::string content = readFile(path("config.db"));
    content.replace(content.size() / 2 / 4096 * 4096, 4096, std::string(4096, '\xee'));
    writeFile(path("config.db"), content);
    expectFreshStore("config.db.damaged-");
}

TEST_F(StoreFiles, WithAMissingColumnAreKeptAside)
{
    makeStore();
    sql(path("config.db"), "alter table tbl_local_users drop column dialPlan");
    expectFreshStore("config.db.damaged-");
}

TEST_F(StoreFiles, OfANewerVersionAreKeptAside)
{
    makeStore();
    sql(path("config.db"), "pragma user_version=9999");
    expectFreshStore("config.db.newer-");
}

TEST_F(StoreFiles, OfAnotherProgramAreKeptAside)
{
    sql(path("config.db"), "create table letters (text)");
    expectFreshStore("config.db.foreign-");
}

TEST_F(StoreFiles, ThatCannotBeOpenedStayWhereTheyAre)
{
    std::filesystem::create_directory(path("config.db"));
    open();
    EXPECT_FALSE(store().isOpen());
    EXPECT_TRUE(std::filesystem::is_directory(path("config.db")));
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("cannot be opened")) << log[0];
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("1000")));
    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, 1, "p"));
    Cdb_query query(store().GetCacheDB());
    EXPECT_EQ(kDbFailed, query.prepare("select 1"));
}

TEST_F(StoreFiles, InAFolderThatCannotBeUsedLeaveAServerWithDefaults)
{
    writeFile(path("file"), "not a folder");
    setenv("PARLOVEX_HOME", path("file").c_str(), 1);
    open();
    EXPECT_FALSE(store().isOpen());
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("data folder")) << log[0];
    EXPECT_EQ(0u, store().DbGetUsrCnt());
    EXPECT_EQ(5060, store().system().get()->udpPort);
    EXPECT_TRUE(store().DbReadRegistrations().empty());
    std::string reason;
    EXPECT_EQ(kDbFailed, store().DbWriteRegistrations({Cdb_user_bindings{}}, &reason));
    EXPECT_FALSE(reason.empty());
    EXPECT_EQ("not a folder", readFile(path("file")));
}

TEST_F(StoreFiles, LockedByAnotherProgramStayWhereTheyAre)
{
    makeStore();
    {
        const LockingProcess other(path("config.db").string());
        open();
        EXPECT_FALSE(store().isOpen());
        EXPECT_EQ(1u, takeLog().size());
        EXPECT_EQ(0, countFiles("config.db.damaged-"));
    }
    open();
    EXPECT_EQ(3u, store().DbGetUsrCnt());
}

TEST_F(StoreFiles, OfRegistrationsLockedByAnotherProgramStayWhereTheyAre)
{
    makeStore();
    sql(path("runtime.db"), "insert into tbl_sip_reg values ('1000','10.0.0.1',5060,1,'phone')");
    {
        const LockingProcess other(path("runtime.db").string());
        open();
        EXPECT_EQ(3u, store().DbGetUsrCnt());
        EXPECT_EQ(1u, takeLog().size());
    }
    open();
    EXPECT_EQ(1u, store().DbReadRegistrations().size());
}

TEST_F(StoreFiles, WithABrokenIndexAreKeptAside)
{
    makeStore(500);
    const auto page = std::stoul(sql(path("config.db"), "select rootpage from sqlite_master where type='index'"));
    std::string content = readFile(path("config.db"));
    content.replace((page - 1) * 4096, 4096, std::string(4096, '\xee'));
    writeFile(path("config.db"), content);
    expectFreshStore("config.db.damaged-");
}

TEST_F(StoreFiles, OfRegistrationsAreMadeAnewWhenDamaged)
{
    makeStore();
    writeFile(path("runtime.db"), std::string(50000, 'g'));
    open();
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("made anew")) << log[0];
    EXPECT_EQ(3u, store().DbGetUsrCnt());
    Cdb_user_bindings live;
    live.userName = "1000";
    EXPECT_EQ(kDbOk, store().DbWriteRegistrations({live}));
}

TEST_F(StoreFiles, PagesStillReadWhenTheFileOfRegistrationsHasNoTables)
{
    makeStore();
    writeFile(path("runtime.db"), "");
    std::filesystem::remove(path("runtime.db-wal"));
    {
        const LockingProcess other(path("runtime.db").string());
        open();
        Cdb_query query(store().GetCacheDB());
        ASSERT_EQ(kDbOk, query.prepare("select usrName, preAddr from tbl_local_users left outer join tbl_sip_reg on "
                                       "tbl_sip_reg.userName=tbl_local_users.usrName"));
        EXPECT_EQ(kDbRow, query.step());
    }
}

TEST_F(StoreFiles, PagesStillReadWithoutAFileOfRegistrations)
{
    makeStore();
    std::filesystem::remove(path("runtime.db"));
    std::filesystem::create_directory(path("runtime.db"));
    open();
    EXPECT_EQ(1u, takeLog().size());
    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(kDbOk, query.prepare("select usrName, preAddr from tbl_local_users left outer join tbl_sip_reg on "
                                   "tbl_sip_reg.userName=tbl_local_users.usrName"));
    EXPECT_EQ(kDbRow, query.step());
}
