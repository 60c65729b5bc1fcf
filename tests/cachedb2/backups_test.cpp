#include "dbsqlite/backups.h"

#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "schema.h"
#include "store_files.h"
#include "support/patience.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr Cbcl_timestamp kNoon = 1795262400; // 2026-11-21 12:00:00 UTC
constexpr Cbcl_timestamp kDay = 86400;

bool always()
{
    return true;
}

} // namespace

class Backups : public StoreFixture {
protected:
    // With the clock that the test sets.
    [[nodiscard]] BackupPlan plan()
    {
        BackupPlan plan = configBackups(path("config.db").string());
        plan.clock = [this] { return _now.load(); };
        return plan;
    }
    void setClock(Cbcl_timestamp now) { _now = now; }

    void makeStore(unsigned users)
    {
        open();
        ASSERT_EQ(kDbOk, store().DbAddUserMany(100000, users, "p"));
        takeLog();
    }

    [[nodiscard]] std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(path("backups"), none))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    [[nodiscard]] std::filesystem::path backup(const std::string& name) const { return path("backups") / name; }

    // A process that adds users without a pause and acknowledges them on `out`.
    static pid_t startWriter(int out)
    {
        const pid_t writer = fork();
        if (writer == 0) {
            dup2(out, STDOUT_FILENO);
            execl(STORE_WRITER, STORE_WRITER, "w", nullptr);
            _exit(127);
        }
        return writer;
    }

    static unsigned modeOf(const std::filesystem::path& file)
    {
        struct stat status {};
        EXPECT_EQ(0, stat(file.c_str(), &status)) << file;
        return status.st_mode & 0777;
    }

    void makeOldStore()
    {
        sql(path("config.db"), "pragma journal_mode=wal; " + readFile(TEST_DATA "/store/version-1.sql"));
        takeLog();
    }

private:
    std::atomic<Cbcl_timestamp> _now = kNoon;
};

TEST_F(Backups, AreOneFileThatHoldsTheStore)
{
    makeStore(3);
    const BackupResult made = makeBackup(plan(), always);
    ASSERT_EQ("", made.reason);
    const std::string name = "config-20261121T120000Z-v" + std::to_string(kConfigVersion) + ".db";
    EXPECT_EQ(backup(name).string(), made.file);
    EXPECT_EQ(0700u, modeOf(path("backups")));
    EXPECT_EQ(0600u, modeOf(made.file));
    const std::string header = readFile(made.file).substr(0, 20);
    EXPECT_EQ("\x01\x01", header.substr(18)); // no log beside it
    EXPECT_EQ("3", sql(made.file, "select count(*) from tbl_local_users"));
    EXPECT_EQ("delete", sql(made.file, "pragma journal_mode"));
    EXPECT_EQ(std::vector<std::string>{name}, files());
}

TEST_F(Backups, OfTheSameSecondHaveDifferentNames)
{
    makeStore(1);
    const std::string first = makeBackup(plan(), always).file;
    const std::string second = makeBackup(plan(), always).file;
    EXPECT_NE(first, second);
    EXPECT_EQ(2u, files().size());
}

// Bulk adds of this process between the steps, then single ones of another process all the time.
TEST_F(Backups, HoldOneMomentWhileOthersWrite)
{
    makeStore(4000);
    int fds[2];
    ASSERT_EQ(0, pipe(fds));
    char acknowledged[64]{};
    pid_t writer = -1;
    unsigned steps = 0;
    const BackupResult made = makeBackup(plan(), [&] {
        if (++steps <= 2) {
            EXPECT_EQ(kDbOk, store().DbAddUserMany(200000 + steps * 10, 10, "p"));
        } else {
            writer = writer > 0 ? writer : startWriter(fds[1]);
            EXPECT_LT(0, read(fds[0], acknowledged, sizeof acknowledged));
        }
        return true;
    });
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    ::close(fds[0]);
    ::close(fds[1]);
    ASSERT_EQ("", made.reason);
    EXPECT_GT(steps, 3u);
    EXPECT_EQ("4000", sql(made.file, "select count(*) from tbl_local_users"));
    EXPECT_EQ("ok", sql(made.file, "pragma integrity_check"));
    EXPECT_LE(4020u, store().DbGetUsrCnt());
    EXPECT_LT(4020, std::stoi(sql(path("config.db"), "select count(*) from tbl_local_users")));
}

// Without the moment that the first step sees, a writer that is never at rest would make it begin anew without end.
TEST_F(Backups, OfAStoreThatIsAlwaysWrittenToComeToAnEnd)
{
    makeStore(4000);
    unsigned steps = 0;
    const auto writeAlways = [&] {
        EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("x" + std::to_string(++steps))));
        return steps < 1000;
    };
    EXPECT_NE("", makeBackup(plan(), writeAlways).file);
    EXPECT_LT(steps, 100u);
}

TEST_F(Backups, AreMadeOnceADayAndTheLastTenKept)
{
    makeStore(1);
    std::filesystem::create_directory(path("backups"));
    const std::vector<std::string> foreign = {"config-20200101T000000Z-v2.db.txt", "config-old.db", "notes.txt",
                                              "other-20200101T000000Z-v1.db"};
    for (const std::string& name : foreign)
        writeFile(backup(name), "mine");
    DailyBackup daily(plan(), std::chrono::hours(1000));
    for (size_t day = 0; day < 13; ++day) {
        const Cbcl_timestamp noon = kNoon + static_cast<Cbcl_timestamp>(day) * kDay;
        if (day > 0) {
            setClock(noon - 1);
            daily.lookNow();
            EXPECT_EQ(foreign.size() + std::min<size_t>(10, day), files().size()) << day;
        }
        setClock(noon);
        daily.lookNow();
        daily.lookNow();
        EXPECT_EQ(foreign.size() + std::min<size_t>(10, day + 1), files().size()) << day;
        EXPECT_EQ(noon, lastBackup(plan()));
    }
    const auto left = files();
    EXPECT_TRUE(std::none_of(left.begin(), left.end(), [](const std::string& name) {
        return name.starts_with("config-20261123T"); // the third day
    }));
    EXPECT_TRUE(std::any_of(left.begin(), left.end(), [](const std::string& name) {
        return name.starts_with("config-20261124T"); // the fourth
    }));
    for (const std::string& name : foreign)
        EXPECT_EQ("mine", readFile(backup(name)));
}

TEST_F(Backups, OfDaysToComeNeitherCountNorStay)
{
    makeStore(1);
    DailyBackup daily(plan(), std::chrono::hours(1000));
    for (int year = 0; year < 10; ++year) {
        setClock(kNoon + (20 * 365 + year) * kDay);
        daily.lookNow();
    }
    ASSERT_EQ(10u, files().size());
    for (int day = 0; day < 3; ++day) {
        setClock(kNoon + day * kDay);
        daily.lookNow();
    }
    const auto left = files();
    EXPECT_EQ(10u, left.size());
    EXPECT_EQ(3, std::count_if(left.begin(), left.end(),
                               [](const std::string& name) { return name.starts_with("config-2026"); }));
}

TEST_F(Backups, ThatFailTheCheckAreNotKept)
{
    makeStore(1000);
    ASSERT_NE("", makeBackup(plan(), always).file);
    sql(path("config.db"), "pragma wal_checkpoint(truncate)");
    std::string content = readFile(path("config.db"));
    content.replace(content.size() / 2 / 4096 * 4096, 4096, std::string(4096, '\xee'));
    const int fd = ::open(path("config.db").c_str(), O_WRONLY);
    ASSERT_EQ(static_cast<ssize_t>(content.size()), pwrite(fd, content.data(), content.size(), 0));
    const auto before = files();

    setClock(kNoon + kDay);
    // The open store may say something of the damage as well, at a time of its own.
    const auto told = [] {
        const auto log = takeLog();
        return std::count_if(log.begin(), log.end(), [](const std::string& line) {
            return line.find("the copy is not whole") != std::string::npos;
        });
    };
    {
        DailyBackup daily(plan(), std::chrono::hours(1000));
        daily.lookNow();
        EXPECT_EQ(1, told());
        EXPECT_EQ(before, files());
        setClock(kNoon + kDay + 3599);
        daily.lookNow();
        EXPECT_EQ(0, told());
        setClock(kNoon + kDay + 3600);
        daily.lookNow();
        EXPECT_EQ(1, told());
    }
    ::close(fd);
}

TEST_F(Backups, AreCheckedInEveryRespect)
{
    makeStore(1000);
    const BackupPlan now = plan();
    const std::string copy = makeBackup(now, always).file;
    std::string reason;
    const auto isWhole = [&](int64_t version, const std::string& tables) {
        reason.clear();
        return isBackupWhole(now, copy, version, tables, always, reason);
    };
    EXPECT_TRUE(isWhole(kConfigVersion, "tbl_local_users,tbl_system")) << reason;
    EXPECT_FALSE(isWhole(kConfigVersion + 1, "tbl_local_users"));
    EXPECT_NE(std::string::npos, reason.find("version")) << reason;
    EXPECT_FALSE(isWhole(kConfigVersion, "tbl_local_users,tbl_missing"));
    EXPECT_NE(std::string::npos, reason.find("tbl_missing")) << reason;
    sql(copy, "pragma journal_mode=wal");
    EXPECT_FALSE(isWhole(kConfigVersion, "tbl_local_users"));
    EXPECT_NE(std::string::npos, reason.find("journal")) << reason;
    sql(copy, "pragma journal_mode=delete; pragma application_id=5");
    EXPECT_FALSE(isWhole(kConfigVersion, "tbl_local_users"));
    EXPECT_NE(std::string::npos, reason.find("application")) << reason;
    sql(copy, "pragma application_id=" + std::to_string(kApplicationId));
    EXPECT_TRUE(isWhole(kConfigVersion, "tbl_local_users")) << reason;
    writeFile(copy, readFile(copy).substr(0, 8192));
    EXPECT_FALSE(isWhole(kConfigVersion, "tbl_local_users"));
}

TEST_F(Backups, UnfinishedOnesOfAKilledProcessAreRemoved)
{
    makeStore(1);
    std::filesystem::create_directory(path("backups"));
    const std::string left = "config-20261120T000000Z-v2.db.part";
    for (const char* companion : {"", "-journal", "-wal", "-shm"})
        writeFile(backup(left + companion), "half");
    writeFile(backup("film.part"), "mine");
    ASSERT_NE("", makeBackup(plan(), always).file);
    const std::string made = "config-20261121T120000Z-v" + std::to_string(kConfigVersion) + ".db";
    EXPECT_EQ((std::vector<std::string>{made, "film.part"}), files());
}

TEST_F(Backups, OfAnotherProcessUnderWayAreLeftAlone)
{
    makeStore(1);
    std::filesystem::create_directory(path("backups"));
    const std::string other = "config-20261120T000000Z-v2.db.part";
    writeFile(backup(other), "half");
    const int fd = ::open(path("backups").c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(0, flock(fd, LOCK_EX));
    EXPECT_EQ("", makeBackup(plan(), [] { return false; }).file);
    EXPECT_EQ(std::vector<std::string>{other}, files());
    ::close(fd);
}

TEST_F(Backups, EndWithinAStepAndLeaveNothing)
{
    makeStore(2000);
    int steps = 0;
    const BackupResult ended = makeBackup(plan(), [&steps] { return ++steps < 2; });
    EXPECT_EQ("", ended.file);
    EXPECT_EQ("", ended.reason);
    EXPECT_TRUE(files().empty());
}

TEST_F(Backups, LeaveRoomOnTheDisk)
{
    makeStore(1);
    BackupPlan small = plan();
    small.room = [](const std::string&) { return int64_t{4000000}; };
    const BackupResult refused = makeBackup(small, always);
    EXPECT_EQ("", refused.file);
    EXPECT_NE(std::string::npos, refused.reason.find("not enough room")) << refused.reason;
    EXPECT_TRUE(files().empty());
}

TEST_F(Backups, AreMadeByARunningStore)
{
    Cdb_options options;
    options.firstBackupLook = std::chrono::seconds(0);
    const Cdb_fac_mgr own(options);
    std::vector<std::string> log;
    ASSERT_TRUE(waitUntil([&log] {
        log = takeLog();
        return !log.empty();
    }));
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("A backup was made")) << log[0];
    ASSERT_EQ(1u, files().size());
    EXPECT_EQ("ok", sql(backup(files()[0]), "pragma integrity_check"));
}

TEST_F(Backups, AreMadeBeforeAMigration)
{
    makeOldStore();
    open();
    EXPECT_TRUE(store().isOpen());
    EXPECT_EQ(1u, takeLog().size());
    const auto made = files();
    ASSERT_EQ(1u, made.size());
    EXPECT_TRUE(made[0].ends_with("Z-v1.db")) << made[0];
    EXPECT_EQ("1", sql(backup(made[0]), "pragma user_version"));
    EXPECT_EQ("Anna's phone", sql(backup(made[0]), "select description from tbl_local_users where usrName='1000'"));
    open();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(made, files());
}

TEST_F(Backups, OfOlderVersionsCountAmongTheTen)
{
    std::filesystem::create_directory(path("backups"));
    for (int i = 0; i < 10; ++i)
        writeFile(backup("config-2020011" + std::to_string(i) + "T000000Z-v1.db"), "old");
    makeOldStore();
    open();
    EXPECT_EQ(10u, files().size());
    EXPECT_FALSE(std::filesystem::exists(backup("config-20200110T000000Z-v1.db")));
}

TEST_F(Backups, ThatCannotBeMadeLeaveAnOlderStoreAsItIs)
{
    makeOldStore();
    writeFile(path("backups"), "no folder");
    open();
    EXPECT_FALSE(store().isOpen());
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("no backup can be made before it is changed")) << log[0];
    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("new")));
    EXPECT_EQ(0, countFiles("config.db."));
    close();
    EXPECT_EQ("1", sql(path("config.db"), "pragma user_version"));

    std::filesystem::remove(path("backups"));
    open();
    EXPECT_EQ(2u, store().DbGetUsrCnt());
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("new")));
}

TEST_F(Backups, OnAFullDiskLeaveAnOlderStoreAsItIs)
{
    makeOldStore();
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = 40000; // enough for the engine's index, not for a copy
    sql(path("config.db"), "create table filler (x); insert into filler values (zeroblob(100000));"
                           " pragma wal_checkpoint(truncate)");
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    open();
    EXPECT_FALSE(store().isOpen());
    const auto log = takeLog();
    ASSERT_FALSE(log.empty());
    EXPECT_NE(std::string::npos, log.back().find("no backup can be made before it is changed")) << log.back();
    EXPECT_TRUE(files().empty());
    limit.rlim_cur = before;
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    EXPECT_EQ("1", sql(path("config.db"), "pragma user_version"));
    open();
    EXPECT_EQ(2u, store().DbGetUsrCnt());
}

TEST_F(Backups, ADamagedOlderStoreIsKeptAsideWithoutOne)
{
    makeOldStore();
    sql(path("config.db"), "create table filler (x); insert into filler values (zeroblob(100000));"
                           " pragma journal_mode=delete");
    const auto page = std::stoul(sql(path("config.db"), "select rootpage from sqlite_master where type='index'"));
    std::string content = readFile(path("config.db"));
    content.replace((page - 1) * 4096, 4096, std::string(4096, '\xee'));
    writeFile(path("config.db"), content);
    open();
    EXPECT_TRUE(store().isOpen());
    EXPECT_EQ(1, countFiles("config.db.damaged-"));
    EXPECT_TRUE(files().empty());
}

// The steps that docs/store.md gives.
TEST_F(Backups, AreRestoredByPuttingThemInPlaceOfTheStore)
{
    makeStore(5);
    const std::string kept = makeBackup(plan(), always).file;
    ASSERT_EQ(kDbOk, store().DbDelUsrInfo("100000"));
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("later")));
    // The process ends without closing its files, as it always does: the log stays beside the database.
    const std::filesystem::path home = path("copy");
    std::filesystem::create_directory(home);
    for (const char* file : {"config.db", "config.db-wal", "config.db-shm", "runtime.db"})
        std::filesystem::copy(path(file), home / file);
    close();

    std::filesystem::create_directory(home / "before-restore");
    for (const char* file : {"config.db", "config.db-wal", "config.db-shm"})
        std::filesystem::rename(home / file, home / "before-restore" / file);
    std::filesystem::copy(kept, home / "config.db");
    setenv("PARLOVEX_HOME", home.c_str(), 1);
    open();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ(5u, store().DbGetUsrCnt());
    EXPECT_EQ(kDbHas, store().DbIsLocalUser("100000"));
    EXPECT_EQ(0u, store().DbIsLocalUser("later"));
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("after")));
    EXPECT_EQ(0600u, modeOf(home / "config.db"));
    // And back again.
    close();
    std::filesystem::remove(home / "config.db");
    for (const char* file : {"config.db", "config.db-wal", "config.db-shm"})
        std::filesystem::rename(home / "before-restore" / file, home / file);
    open();
    EXPECT_EQ(kDbHas, store().DbIsLocalUser("later"));
}
