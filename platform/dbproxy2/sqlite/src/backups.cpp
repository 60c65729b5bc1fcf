#include "dbsqlite/backups.h"

#include "bcl2/background.h"
#include "bcl2/log.h"
#include "dbsqlite/connection.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kKept = 10;
constexpr Cbcl_timestamp kDay = 86400;
constexpr Cbcl_timestamp kRetry = 3600;              // seconds after a failure
constexpr std::chrono::seconds kLookEvery{60};       // a day has passed at some minute of it
constexpr std::chrono::milliseconds kPause{2};       // between the steps of a daily backup
constexpr int kStepPages = 64;                       // a step lasts less than a millisecond
constexpr int kCheckOps = 20000;                     // engine instructions between two looks whether to go on
constexpr int64_t kReserve = int64_t{8} << 20;       // bytes that a backup leaves for the running store
constexpr const char* kUnfinished = ".part";         // ends the name of a copy that is not yet a backup
constexpr const char* kStampForm = "%Y%m%dT%H%M%SZ"; // UTC: names keep their order when the clocks are put back

using Question = std::function<bool()>;

std::string systemReason(const char* what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

class Descriptor {
public:
    explicit Descriptor(int fd) : _fd(fd) {}
    ~Descriptor()
    {
        if (_fd >= 0)
            ::close(_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return _fd; }

private:
    const int _fd;
};

bool syncPath(const std::string& path)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.get() >= 0 && fsync(file.get()) == 0;
}

struct FileName {
    Cbcl_timestamp stamp; // when the copy was begun
    std::string_view end; // ".db", or that of a file on the way to a backup
};

// None for a file that is not ours.
std::optional<FileName> parse(const BackupPlan& plan, const std::string& file)
{
    const auto skipDigits = [](const char* at) { return at + std::strspn(at, "0123456789"); };
    const std::string beginning = plan.name + "-";
    if (!file.starts_with(beginning))
        return std::nullopt;
    tm moment{};
    const char* at = strptime(file.c_str() + beginning.size(), kStampForm, &moment);
    if (at == nullptr || std::strncmp(at, "-v", 2) != 0)
        return std::nullopt;
    const char* end = skipDigits(at + 2);
    if (*end == '-')
        end = skipDigits(end + 1);
    const std::string_view rest = end;
    if (rest != ".db" && !rest.starts_with(std::string(".db") + kUnfinished))
        return std::nullopt;
    return FileName{timegm(&moment), rest};
}

std::vector<std::string> filesOf(const std::string& folder)
{
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        files.push_back(it->path().filename().string());
    return files;
}

void removeUnfinished(const BackupPlan& plan)
{
    for (const std::string& file : filesOf(plan.folder))
        if (const auto name = parse(plan, file); name && name->end != ".db")
            (void)unlink((plan.folder + file).c_str());
}

// Those of days to come are the first to go: the clock was wrong when they were made.
void removeOldest(const BackupPlan& plan, const std::string& made)
{
    const Cbcl_timestamp now = plan.clock();
    std::vector<std::tuple<bool, Cbcl_timestamp, std::string>> others; // whether its day has come, when, which file
    for (const std::string& file : filesOf(plan.folder))
        if (const auto name = parse(plan, file); name && name->end == ".db" && plan.folder + file != made)
            others.emplace_back(name->stamp <= now, name->stamp, file);
    std::sort(others.begin(), others.end(), std::greater<>());
    for (size_t i = kKept - 1; i < others.size(); ++i)
        (void)unlink((plan.folder + std::get<std::string>(others[i])).c_str());
}

std::string newName(const BackupPlan& plan, int64_t version)
{
    const time_t now = plan.clock();
    tm moment{};
    gmtime_r(&now, &moment);
    char stamp[32];
    const size_t length = strftime(stamp, sizeof stamp, kStampForm, &moment);
    const std::string base =
        plan.folder + plan.name + "-" + std::string(stamp, length) + "-v" + std::to_string(version);
    std::string path = base + ".db";
    for (int i = 2; access(path.c_str(), F_OK) == 0 && i < 1000; ++i)
        path = base + "-" + std::to_string(i) + ".db";
    return path;
}

// While it lives, no other process makes backups in the folder, so that a copy that is unfinished there is left over.
std::optional<std::string> lockFolder(const Descriptor& folder, const Question& mayGoOn)
{
    if (folder.get() < 0)
        return systemReason("the folder of the backups cannot be opened");
    constexpr int kAttempts = 500; // five seconds
    for (int i = 0; flock(folder.get(), LOCK_EX | LOCK_NB) != 0; ++i) {
        if (errno != EWOULDBLOCK || i == kAttempts)
            return systemReason("the folder of the backups cannot be locked");
        if (!mayGoOn())
            return std::string();
        usleep(10000);
    }
    return std::nullopt;
}

// What the database is at the moment that is copied.
struct Moment {
    int64_t version = -1;
    int64_t bytes = -1;
    std::string tables;
};

// Begins to read: from here on `db` sees one moment of the file.
std::optional<Moment> beginMoment(DbConnection& db)
{
    if (!db.exec("begin"))
        return std::nullopt;
    Moment moment;
    DbStatement* tables = db.cached("select coalesce(group_concat(name), '') from sqlite_master where type='table'");
    if (tables == nullptr || !tables->stepRow())
        return std::nullopt;
    moment.tables = tables->text(0);
    tables->reset();
    moment.version = db.number("pragma user_version", -1);
    moment.bytes = db.number("pragma page_count", -1) * db.number("pragma page_size", -1);
    return moment.version < 0 || moment.bytes < 0 ? std::nullopt : std::optional(moment);
}

// True when all was copied. False without an error of `to`: it was not to go on.
bool copyPages(DbConnection& from, DbConnection& to, const Question& mayGoOn)
{
    sqlite3_backup* backup = sqlite3_backup_init(to.handle(), "main", from.handle(), "main");
    if (backup == nullptr)
        return false;
    int code = SQLITE_OK;
    while ((code = sqlite3_backup_step(backup, kStepPages)) == SQLITE_OK)
        if (!mayGoOn())
            break;
    return sqlite3_backup_finish(backup) == SQLITE_OK && code == SQLITE_DONE;
}

// The moment of `from` as one file of its own, on disk.
bool writeCopy(DbConnection& from, const std::string& path, const Question& mayGoOn, std::string& reason)
{
    auto to = DbConnection::open(path, DbConnection::Mode::Writer, reason);
    if (!to)
        return false;
    // Nobody reads the copy before it is whole: it needs no journal, and is brought to the disk once, at the end.
    const bool isCopied = to->exec("pragma journal_mode=off; pragma synchronous=off") && copyPages(from, *to, mayGoOn);
    if (!isCopied || !to->exec("pragma journal_mode=delete")) {
        if (to->fault() != DbFault::None)
            reason = to->reason();
        return false;
    }
    to.reset();
    if (syncPath(path))
        return true;
    reason = systemReason("it cannot be written");
    return false;
}

// A copy that is given up, with what the engine keeps beside it.
void removeCopy(const std::string& path)
{
    for (const char* companion : {"", "-journal", "-wal", "-shm"})
        (void)unlink((path + companion).c_str());
}

bool publishCopy(const BackupPlan& plan, const std::string& unfinished, const std::string& path, std::string& reason)
{
    if (rename(unfinished.c_str(), path.c_str()) == 0 && syncPath(plan.folder))
        return true;
    reason = systemReason("it cannot be given its name");
    return false;
}

BackupResult copyDatabase(const BackupPlan& plan, const Question& mayGoOn)
{
    BackupResult result;
    auto from = DbConnection::open(plan.path, DbConnection::Mode::Reader, result.reason);
    if (!from)
        return result;
    const auto moment = from->lockForReading() ? beginMoment(*from) : std::nullopt;
    if (!moment) {
        result.reason = from->reason();
        return result;
    }
    if (const int64_t room = plan.room(plan.folder); room >= 0 && room < moment->bytes + kReserve) {
        result.reason = "the disk has not enough room, " + std::to_string((moment->bytes + kReserve) / 1000000 + 1) +
                        " MB are needed";
        return result;
    }
    const std::string path = newName(plan, moment->version);
    const std::string unfinished = path + kUnfinished;
    if (writeCopy(*from, unfinished, mayGoOn, result.reason) &&
        isBackupWhole(plan, unfinished, moment->version, moment->tables, mayGoOn, result.reason) &&
        publishCopy(plan, unfinished, path, result.reason)) {
        result.file = path;
        removeOldest(plan, path);
    } else {
        removeCopy(unfinished);
    }
    return result;
}

std::vector<std::string> partsOf(const std::string& list)
{
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = 0; begin < list.size(); begin = end + 1) {
        end = std::min(list.find(',', begin), list.size());
        parts.push_back(list.substr(begin, end - begin));
    }
    return parts;
}

bool hasText(DbConnection& db, const std::string& sql, std::string_view wanted, std::string& found)
{
    DbStatement* statement = db.cached(sql);
    found = statement != nullptr && statement->stepRow() ? std::string(statement->text(0)) : db.reason();
    if (statement != nullptr)
        statement->reset();
    return found == wanted;
}

bool isReadable(DbConnection& db, const std::string& table)
{
    DbStatement* statement = db.cached("select * from \"" + table + "\"");
    if (statement == nullptr)
        return false;
    bool isRow = true;
    while (isRow)
        isRow = statement->stepRow();
    const bool isWhole = db.fault() == DbFault::None;
    statement->reset();
    return isWhole;
}

int isToEnd(void* question)
{
    return (*static_cast<const Question*>(question))() ? 0 : 1;
}

} // namespace

int64_t freeBytes(const std::string& folder)
{
    struct statvfs room {};
    if (statvfs(folder.c_str(), &room) != 0)
        return -1;
    return static_cast<int64_t>(room.f_bavail) * static_cast<int64_t>(room.f_frsize);
}

bool isBackupWhole(const BackupPlan& plan, const std::string& copy, int64_t version, const std::string& tables,
                   const Question& mayGoOn, std::string& reason)
{
    auto db = DbConnection::open(copy, DbConnection::Mode::Reader, reason);
    if (!db || !db->lockForReading())
        return false;
    sqlite3_progress_handler(db->handle(), kCheckOps, &isToEnd, const_cast<Question*>(&mayGoOn)); // NOLINT: C interface
    std::string found;
    const auto refuse = [&](const std::string& why) {
        if (mayGoOn())
            reason = "the copy is not whole (" + why + ")";
        return false;
    };
    if (!hasText(*db, "pragma integrity_check(1)", "ok", found))
        return refuse(found);
    if (!hasText(*db, "pragma journal_mode", "delete", found))
        return refuse("journal mode " + found);
    if (!hasText(*db, "pragma application_id", std::to_string(plan.applicationId), found))
        return refuse("application id " + found);
    if (!hasText(*db, "pragma user_version", std::to_string(version), found))
        return refuse("version " + found);
    for (const std::string& table : partsOf(tables))
        if (!isReadable(*db, table))
            return refuse(table + ": " + db->reason());
    return true;
}

BackupResult makeBackup(const BackupPlan& plan, const Question& mayGoOn)
{
    if (mkdir(plan.folder.c_str(), 0700) != 0 && errno != EEXIST)
        return {{}, systemReason("the folder of the backups cannot be made")};
    const Descriptor folder(open(plan.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (const auto refusal = lockFolder(folder, mayGoOn))
        return {{}, *refusal};
    removeUnfinished(plan);
    return copyDatabase(plan, mayGoOn);
}

Cbcl_timestamp lastBackup(const BackupPlan& plan)
{
    const Cbcl_timestamp now = plan.clock();
    Cbcl_timestamp last = 0;
    for (const std::string& file : filesOf(plan.folder))
        if (const auto name = parse(plan, file); name && name->end == ".db" && name->stamp <= now)
            last = std::max(last, name->stamp);
    return last;
}

DailyBackup::DailyBackup(BackupPlan plan, std::chrono::seconds firstLook)
    : _plan(std::move(plan)),
      _thread(BclStartThread("backups", [this, firstLook](const std::stop_token& stop) { run(stop, firstLook); }))
{}

DailyBackup::~DailyBackup() = default;

void DailyBackup::lookNow()
{
    std::unique_lock lock(_mutex);
    const uint64_t mine = ++_asked;
    _changed.notify_all();
    _changed.wait(lock, [&] { return _done >= mine || !_thread.joinable(); });
}

void DailyBackup::run(const std::stop_token& stop, std::chrono::seconds firstLook)
{
    // The system's lowest, for this thread only: telephones go first.
    (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 19);
    std::unique_lock lock(_mutex);
    std::chrono::seconds pause = firstLook;
    while (true) {
        _changed.wait_for(lock, stop, pause, [this] { return _asked > _done; });
        if (stop.stop_requested())
            return;
        const uint64_t asked = _asked;
        lock.unlock();
        look(stop);
        lock.lock();
        _done = asked;
        _changed.notify_all();
        pause = kLookEvery;
    }
}

void DailyBackup::look(const std::stop_token& stop)
{
    const Cbcl_timestamp now = _plan.clock();
    const bool isTooSoon = _failedAt != 0 && now >= _failedAt && now < _failedAt + kRetry;
    if (isTooSoon || now < lastBackup(_plan) + kDay)
        return;
    const BackupResult result = makeBackup(_plan, [&stop] {
        std::this_thread::sleep_for(kPause);
        return !stop.stop_requested();
    });
    _failedAt = result.file.empty() ? now : 0;
    if (!result.file.empty())
        BclLog("A backup was made: %s.", result.file.c_str());
    else if (!result.reason.empty())
        BclLog("No backup of %s could be made: %s. It is tried again in an hour.", _plan.path.c_str(),
               result.reason.c_str());
}
