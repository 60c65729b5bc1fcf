#include "cachedb2/store_fixture.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "bcl2/text.h"

#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <mutex>

namespace {

std::mutex logMutex;
std::vector<std::string> logLines;

void keepLogLine(void*, void* text, void*)
{
    const std::scoped_lock lock(logMutex);
    logLines.emplace_back(static_cast<const char*>(text));
}

} // namespace

StoreFixture::StoreFixture()
{
    setenv("PARLOVEX_HOME", homeFolder().c_str(), 1);
    BclSubEvent(kBclLogEvent, nullptr, &keepLogLine);
    BclOpenLog();
}

Cdb_fac_mgr& StoreFixture::open(const Cdb_options& options)
{
    _store.reset();
    _store = std::make_unique<Cdb_fac_mgr>(options);
    return *_store;
}

std::vector<std::string> StoreFixture::takeLog()
{
    const std::scoped_lock lock(logMutex);
    return std::exchange(logLines, {});
}

int StoreFixture::countFiles(const std::string& beginning) const
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(homeFolder()))
        count += entry.path().filename().string().starts_with(beginning) ? 1 : 0;
    return count;
}

void StoreFixture::writeFile(const std::filesystem::path& file, const std::string& content)
{
    std::ofstream(file, std::ios::binary) << content;
}

std::string StoreFixture::readFile(const std::filesystem::path& file)
{
    return TemporaryFolder::read(file.string());
}

std::string StoreFixture::sql(const std::filesystem::path& file, const std::string& statements)
{
    sqlite3* db = nullptr;
    std::string last;
    if (sqlite3_open(file.c_str(), &db) == SQLITE_OK) {
        const auto keep = [](void* context, int count, char** values, char**) {
            *static_cast<std::string*>(context) = values[count - 1] == nullptr ? "" : values[count - 1];
            return 0;
        };
        char* error = nullptr;
        if (sqlite3_exec(db, statements.c_str(), keep, &last, &error) != SQLITE_OK) {
            last = std::string("error: ") + error;
            sqlite3_free(error);
        }
    }
    sqlite3_close(db);
    return last;
}

Cdb_usr_info StoreFixture::user(const std::string& name)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    return record;
}
