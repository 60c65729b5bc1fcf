// Every call by which a write reaches the disk fails once, and from then on.
#include "bcl2/text.h"
#include "cachedb2/store_content.h"
#include "cachedb2/store_fixture.h"
#include "support/fault_vfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <functional>
#include <ostream>

namespace {

using Store = Cdb_fac_mgr;

struct NamedFault {
    const char* name;
    FileFault fault;
    // The disk takes what it says it did not: then only the next write, or none, tells which content a start finds.
    bool isSilent = false;

    friend void PrintTo(const NamedFault& given, std::ostream* out) { *out << given.name; }
};

const std::array<NamedFault, 18> kFaults = {{
    {"open fails once", {FileCall::Open, SQLITE_CANTOPEN}},
    {"delete fails", {FileCall::Delete, SQLITE_IOERR_DELETE, true}},
    {"write fails once", {FileCall::Write, SQLITE_IOERR_WRITE}},
    {"write fails", {FileCall::Write, SQLITE_IOERR_WRITE, true}},
    {"write stops half way once", {FileCall::Write, SQLITE_IOERR_WRITE, false, true}},
    {"disk is full once", {FileCall::Write, SQLITE_FULL}},
    {"disk is full", {FileCall::Write, SQLITE_FULL, true}},
    {"disk fills up within a write", {FileCall::Write, SQLITE_FULL, true, true}},
    {"sync fails once", {FileCall::Sync, SQLITE_IOERR_FSYNC}},
    {"sync fails", {FileCall::Sync, SQLITE_IOERR_FSYNC, true}, true},
    {"read fails once", {FileCall::Read, SQLITE_IOERR_READ}},
    {"read fails", {FileCall::Read, SQLITE_IOERR_READ, true}},
    {"truncate fails", {FileCall::Truncate, SQLITE_IOERR_TRUNCATE, true}},
    {"size cannot be told", {FileCall::FileSize, SQLITE_IOERR_FSTAT, true}},
    {"lock fails", {FileCall::Lock, SQLITE_IOERR_LOCK, true}},
    {"index cannot be mapped", {FileCall::MapIndex, SQLITE_IOERR_SHMMAP, true}},
    {"index cannot be locked once", {FileCall::LockIndex, SQLITE_IOERR_SHMLOCK}},
    {"index cannot be locked", {FileCall::LockIndex, SQLITE_IOERR_SHMLOCK, true}},
}};

// Far above the calls of any operation here.
constexpr unsigned kMaxCalls = 5000;

// Bytes of a log that the engine folds into the file within the next writes: it does so at 1,000 pages.
constexpr uintmax_t kLongLog = uintmax_t{985} * 4120;

template <class Record, class Fill>
Record made(Fill&& fill)
{
    Record record;
    fill(record);
    return record;
}

Cdb_ext_line_info line(const char* name)
{
    return made<Cdb_ext_line_info>([&](auto& record) { BclCopyStr(record.extName, name); });
}

Cdb_time_cond timeCondition(unsigned id, const char* text)
{
    return made<Cdb_time_cond>([&](auto& record) {
        record.ID = id;
        BclCopyStr(record.description, text);
    });
}

Cdb_speed_dial_data speedDial(const char* caller, const char* destination)
{
    return made<Cdb_speed_dial_data>([&](auto& record) {
        record.callerNbr.SetNbr(caller);
        record.dialedNbr.SetNbr("7");
        record.destination.SetNbr(destination);
    });
}

Cdb_route_group routeGroup(unsigned id, const char* text)
{
    return made<Cdb_route_group>([&](auto& record) {
        record.groupID = id;
        BclCopyStr(record.description, text);
    });
}

Cdb_route route(unsigned group, unsigned peer)
{
    return made<Cdb_route>([&](auto& record) {
        record.groupID = group;
        record.routeType = 2;
        record.peerServerId = peer;
    });
}

Cdb_usr_info describedUser(const char* name, const std::string& text)
{
    return made<Cdb_usr_info>([&](auto& record) {
        BclCopyStr(record.usrName, name);
        BclCopyStr(record.description, text.c_str());
    });
}

Cdb_nbr_cld_ana_data called(const char* prefix, const char* text)
{
    return made<Cdb_nbr_cld_ana_data>([&](auto& record) {
        BclCopyStr(record.dialPlan, "default");
        BclCopyStr(record.calledPrefix, prefix);
        BclCopyStr(record.description, text);
    });
}

// Each changes the store that makeBase() made.
struct Operation {
    const char* name;
    std::function<unsigned(Store&)> run;

    friend void PrintTo(const Operation& given, std::ostream* out) { *out << given.name; }
};

const std::vector<Operation>& operations()
{
    static const auto& all = *new std::vector<Operation>{
        {"SetNewUser", [](Store& s) { return s.DbSetLocalUserData(describedUser("new", "new")); }},
        {"SetUser", [](Store& s) { return s.DbSetLocalUserData(describedUser("1000", std::string(60, 'x'))); }},
        {"DeleteUser", [](Store& s) { return s.DbDelUsrInfo("1000"); }},
        {"AddManyUsers", [](Store& s) { return s.DbAddUserMany(1000, 300, "p"); }},
        {"SetLine", [](Store& s) { return s.DbExtLineSet(line("new")); }},
        {"DeleteLine", [](Store& s) { return s.DbExtLineDel("line"); }},
        {"SetCalled", [](Store& s) { return s.DbNbrCldAnaSet(called("0", "new")); }},
        {"DeleteCalled", [](Store& s) { return s.DbNbrCldAnaDel("default", "0"); }},
        {"AddTimeCondition", [](Store& s) { return s.DbTimeConditionAdd(timeCondition(2, "new")); }},
        {"UpdateTimeCondition", [](Store& s) { return s.DbTimeConditionUpdate(timeCondition(1, "new")); }},
        {"DeleteTimeCondition", [](Store& s) { return s.DbTimeConditionDel(1); }},
        {"AddSpeedDial", [](Store& s) { return s.DbAddSpeedDial(speedDial("new", "1")); }},
        {"UpdateSpeedDial", [](Store& s) { return s.DbUpdateSpeedDial(speedDial("1000", "new")); }},
        {"DeleteSpeedDial", [](Store& s) { return s.DbDelSpeedDial(speedDial("1000", "")); }},
        {"AddRoute", [](Store& s) { return s.DbRouteAdd(route(3, 99)); }},
        {"UpdateRouteGroup", [](Store& s) { return s.DbRouteGroupUpdate(routeGroup(3, "new")); }},
        {"DeleteRouteGroupWithRoutes", [](Store& s) { return s.DbRouteGroupDelete(3); }},
        {"SetSystem",
         [](Store& s) {
             Cdb_sys_data system = *s.system().get();
             system.udpPort = 5099;
             return s.DbSetSysData(system);
         }},
        {"SetVoiceMail", [](Store& s) { return s.DbSetVmsMode(5); }},
    };
    return all;
}

} // namespace

class StoreFaults : public StoreFixture {
protected:
    // A store with something of everything that the operations change.
    void makeBase()
    {
        installFaultVfs("config.db");
        open();
        ASSERT_EQ(kDbOk, store().DbAddUserMany(1000, 20, "p"));
        ASSERT_EQ(kDbOk, store().DbExtLineSet(line("line")));
        ASSERT_EQ(kDbOk, store().DbNbrCldAnaSet(called("0", "old")));
        ASSERT_EQ(kDbOk, store().DbTimeConditionAdd(timeCondition(1, "old")));
        ASSERT_EQ(kDbOk, store().DbAddSpeedDial(speedDial("1000", "old")));
        ASSERT_EQ(kDbOk, store().DbRouteGroupAdd(routeGroup(3, "old")));
        for (unsigned peer = 1; peer <= 30; ++peer)
            ASSERT_EQ(kDbOk, store().DbRouteAdd(route(3, peer)));
        ASSERT_EQ(kDbOk, store().DbRouteAdd(route(4, 1)));
        close();
        _base = readFile(path("config.db"));
    }

    // That store again, whatever was done to it.
    void openBase()
    {
        placeFile(_base);
        writeFile(path("config.db-wal"), _baseLog);
        open();
        ASSERT_TRUE(store().isOpen());
        takeLog();
    }

    // Another content of the file, with no log.
    void placeFile(const std::string& content)
    {
        close();
        std::filesystem::remove(path("config.db-wal"));
        std::filesystem::remove(path("config.db-shm"));
        writeFile(path("config.db"), content);
    }

    // Makes the log of that store so long that the next writes fold it into the file.
    void lengthenLog()
    {
        openBase();
        for (int i = 0; std::filesystem::file_size(path("config.db-wal")) < kLongLog; ++i) {
            ASSERT_LT(i, 2000);
            ASSERT_EQ(kDbOk, store().DbSetLocalUserData(describedUser("1001", std::to_string(i))));
        }
        const std::string base = readFile(path("config.db"));
        _baseLog = readFile(path("config.db-wal"));
        close();
        _base = base;
    }

    StoreContent afterDeath() { return contentAfterDeath(path("config.db"), path("after-death")); }

    // The operation with the fault at its first call, at its second one, ... until it does not meet it.
    void checkFault(const Operation& operation, const NamedFault& given)
    {
        const StoreContent before = contentOf(store());
        ASSERT_EQ(before, contentOf(path("config.db")));
        for (unsigned nth = 1; nth < kMaxCalls; ++nth) {
            SCOPED_TRACE(std::string(given.name) + ", call " + std::to_string(nth));
            armFault(given.fault, nth);
            const unsigned result = operation.run(store());
            const bool isMet = disarmFault();
            const StoreContent died = afterDeath();
            if (result != kDbOk) {
                ASSERT_TRUE(isMet);
                ASSERT_EQ(before, contentOf(store()));
                ASSERT_EQ(before, contentOf(path("config.db")));
                ASSERT_TRUE(before == died || given.isSilent);
                continue;
            }
            const StoreContent after = contentOf(store());
            ASSERT_NE(before, after);
            ASSERT_EQ(after, contentOf(path("config.db")));
            ASSERT_EQ(after, afterDeath());
            if (!isMet)
                return;
            openBase();
            ASSERT_EQ(before, contentOf(store()));
        }
        FAIL() << "there is no end to it";
    }

    void checkFaults(const Operation& operation)
    {
        for (const NamedFault& given : kFaults) {
            openBase();
            checkFault(operation, given);
            if (HasFatalFailure())
                return;
        }
    }

    // Opens the store with the fault at the first call, at the second one, ... until it is not met. `prepare` puts the
    // files in place, `check` looks at a store that is open.
    void checkOpening(const NamedFault& given, const std::function<void()>& prepare, const std::function<void()>& check)
    {
        bool isMet = true;
        for (unsigned nth = 1; isMet; ++nth) {
            SCOPED_TRACE(std::string(given.name) + ", call " + std::to_string(nth));
            ASSERT_LT(nth, kMaxCalls);
            prepare();
            armFault(given.fault, nth);
            open();
            isMet = disarmFault();
            ASSERT_TRUE(isMet || store().isOpen());
            ASSERT_EQ(0, countFiles("config.db."));
            if (store().isOpen())
                check();
            open();
            ASSERT_TRUE(store().isOpen());
            check();
            ASSERT_EQ(0, countFiles("config.db."));
            if (HasFatalFailure())
                return;
        }
    }

    [[nodiscard]] const std::string& base() const { return _base; }

private:
    std::string _base, _baseLog;
};

class EveryOperation : public StoreFaults, public testing::WithParamInterface<Operation> {};

TEST_P(EveryOperation, IsWholeOrNotAtAllWhicheverCallFails)
{
    makeBase();
    checkFaults(GetParam());
}

TEST_P(EveryOperation, IsWholeOrNotAtAllWhenTheLogIsFoldedIntoTheFile)
{
    makeBase();
    lengthenLog();
    checkFaults(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Store, EveryOperation, testing::ValuesIn(operations()),
                         [](const auto& given) { return std::string(given.param.name); });

class EveryFault : public StoreFaults, public testing::WithParamInterface<NamedFault> {};

TEST_P(EveryFault, AtTheStartLeavesTheStoreWhereItIs)
{
    makeBase();
    openBase();
    const StoreContent content = contentOf(store());
    checkOpening(
        GetParam(), [this] { placeFile(base()); }, [&] { ASSERT_EQ(content, contentOf(store())); });
}

TEST_P(EveryFault, InAMigrationLeavesAStoreThatCanBeMigrated)
{
    installFaultVfs("config.db");
    sql(path("config.db"), readFile(TEST_DATA "/store/version-1.sql"));
    const std::string old = readFile(path("config.db"));
    checkOpening(
        GetParam(), [&] { placeFile(old); },
        [this] {
            ASSERT_EQ(2u, store().DbGetUsrCnt());
            ASSERT_EQ(5070, store().system().get()->udpPort);
        });
}

INSTANTIATE_TEST_SUITE_P(Store, EveryFault, testing::ValuesIn(kFaults), [](const auto& given) {
    std::string name = given.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});
