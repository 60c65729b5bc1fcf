#include "dbproxy2/remote_fixture.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"

#include <sqlite3.h>

#include <algorithm>
#include <mutex>
#include <utility>

namespace {

std::mutex logMutex;
std::vector<std::string> logLines;

void keepLogLine(void*, void* text, void*)
{
    const std::scoped_lock lock(logMutex);
    logLines.emplace_back(static_cast<const char*>(text));
}

std::string embeddedSql(const std::string& file, const std::string& statements)
{
    sqlite3* db = nullptr;
    std::string last;
    if (sqlite3_open(file.c_str(), &db) == SQLITE_OK) {
        sqlite3_busy_timeout(db, 5000);
        const auto keep = [](void* context, int, char** values, char**) {
            *static_cast<std::string*>(context) = values[0] == nullptr ? "" : values[0];
            return 0;
        };
        char* error = nullptr;
        if (sqlite3_exec(db, statements.c_str(), keep, &last, &error) != SQLITE_OK) {
            ADD_FAILURE() << statements << ": " << error;
            sqlite3_free(error);
        }
    }
    sqlite3_close(db);
    return last;
}

} // namespace

RemoteFixture::RemoteFixture()
{
    BclSubEvent(kBclLogEvent, nullptr, &keepLogLine);
    BclOpenLog();
}

RemoteFixture::~RemoteFixture() = default;

MariaServer& RemoteFixture::startServer(std::vector<std::string> options)
{
    _server = std::make_unique<MariaServer>(std::move(options));
    _server->start();
    return *_server;
}

Cdb_remote_settings RemoteFixture::settings(Engine engine) const
{
    if (engine == Engine::Embedded)
        return {"local", 0, "", "", ""};
    return {"127.0.0.1", _server->port(), MariaServer::kUser, MariaServer::kPassword, MariaServer::kDatabase};
}

Cdb_remote& RemoteFixture::open(const Cdb_remote_settings& settings)
{
    _remote.reset();
    _remote = std::make_unique<Cdb_remote>(folder());
    _remote->apply(settings);
    return *_remote;
}

bool RemoteFixture::waitForActive() const
{
    return waitUntil([this] { return _remote->isActive(); });
}

bool RemoteFixture::waitForInactive() const
{
    return waitUntil([this] { return !_remote->isActive(); });
}

std::string RemoteFixture::sql(Engine engine, const std::string& statements) const
{
    return engine == Engine::Embedded ? embeddedSql(path("billing.db"), statements) : _server->sql(statements);
}

std::vector<std::string> RemoteFixture::takeLog()
{
    const std::scoped_lock lock(logMutex);
    return std::exchange(logLines, {});
}

bool RemoteFixture::waitForLog(const std::string& text)
{
    return waitUntil([&text] {
        const std::scoped_lock lock(logMutex);
        const auto found = std::find_if(logLines.begin(), logLines.end(), [&text](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
        if (found == logLines.end())
            return false;
        logLines.erase(logLines.begin(), found + 1);
        return true;
    });
}

void OnEachEngine::SetUp()
{
    if (GetParam() == Engine::MariaDb)
        startServer();
    open(settings(GetParam()));
    ASSERT_TRUE(waitForActive());
    // A server's line follows the moment in which it can be used.
    if (GetParam() == Engine::MariaDb) {
        ASSERT_TRUE(waitForLog("is connected"));
    }
}

std::string engineName(const testing::TestParamInfo<Engine>& info)
{
    return info.param == Engine::Embedded ? "Embedded" : "MariaDb";
}
