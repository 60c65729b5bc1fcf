#include "support/bare_engine.h"

#include <sqlite3.h>

#include <stdexcept>

namespace {

std::string quoted(const std::string& text)
{
    return "'" + text + "'"; // paths of temporary folders: no quote in them
}

void bindText(sqlite3_stmt* statement, int index, const std::string& text)
{
    sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()), SQLITE_STATIC);
}

} // namespace

void BareEngine::Closing::operator()(sqlite3* handle) const
{
    sqlite3_close_v2(handle);
}

void BareEngine::Closing::operator()(sqlite3_stmt* statement) const
{
    sqlite3_finalize(statement);
}

BareEngine::BareEngine(const std::string& file)
{
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &handle,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    _connection.reset(handle);
    if (code != SQLITE_OK)
        throw std::runtime_error("the engine cannot open " + file);
}

void BareEngine::run(const std::string& sql)
{
    if (sqlite3_exec(_connection.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(_connection.get()));
}

BareEngine::Statement BareEngine::prepare(const std::string& sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(_connection.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(_connection.get()));
    return Statement(statement);
}

BareEngine BareEngine::likeUsersOf(const std::string& store, const std::string& file)
{
    BareEngine engine(file);
    engine.run("pragma journal_mode=wal; pragma synchronous=full");
    engine.run("attach database " + quoted(store) + " as store");
    const Statement form = engine.prepare("select sql from store.sqlite_master where name='tbl_local_users'");
    if (sqlite3_step(form.get()) != SQLITE_ROW)
        throw std::runtime_error("the store has no table of users");
    engine.run(reinterpret_cast<const char*>(sqlite3_column_text(form.get(), 0)));
    engine.run("create temp table pattern as select * from store.tbl_local_users limit 1");
    // The columns after the first, which is the name, with the description given.
    const Statement columns =
        engine.prepare("select name from pragma_table_info('tbl_local_users') where name<>'usrName'");
    std::string names;
    std::string values;
    while (sqlite3_step(columns.get()) == SQLITE_ROW) {
        const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(columns.get(), 0));
        const Statement value = engine.prepare("select quote(" + name + ") from pattern");
        if (sqlite3_step(value.get()) != SQLITE_ROW)
            throw std::runtime_error("the store has no user");
        names += ", " + name;
        values += name == "description"
                      ? std::string(", ?2")
                      : ", " + std::string(reinterpret_cast<const char*>(sqlite3_column_text(value.get(), 0)));
    }
    engine._replace =
        engine.prepare("insert or replace into main.tbl_local_users (usrName" + names + ") values (?1" + values + ")");
    return engine;
}

BareEngine BareEngine::reading(const std::string& config, const std::string& runtime)
{
    BareEngine engine(config);
    engine.run("attach database " + quoted(runtime) + " as runtime");
    engine._readUser = engine.prepare("select * from tbl_local_users where usrName=?1");
    return engine;
}

void BareEngine::replaceUser(const std::string& name, const std::string& description)
{
    sqlite3_stmt* statement = _replace.get();
    bindText(statement, 1, name);
    bindText(statement, 2, description);
    // A statement outside a transaction is one.
    if (sqlite3_step(statement) != SQLITE_DONE)
        throw std::runtime_error(sqlite3_errmsg(_connection.get()));
    sqlite3_reset(statement);
}

void BareEngine::replaceUsers(unsigned first, unsigned count)
{
    run("begin immediate");
    for (unsigned user = first; user < first + count; ++user)
        replaceUser(std::to_string(user), "");
    run("commit");
}

unsigned BareEngine::readAll(sqlite3_stmt* statement, size_t& bytes)
{
    unsigned rows = 0;
    for (; sqlite3_step(statement) == SQLITE_ROW; ++rows) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            (void)sqlite3_column_text(statement, column);
            bytes += static_cast<size_t>(sqlite3_column_bytes(statement, column));
        }
    }
    return rows;
}

unsigned BareEngine::readRows(const std::string& sql)
{
    size_t bytes = 0;
    return readAll(prepare(sql).get(), bytes);
}

size_t BareEngine::readUser(const std::string& name)
{
    size_t bytes = 0;
    bindText(_readUser.get(), 1, name);
    readAll(_readUser.get(), bytes);
    sqlite3_reset(_readUser.get());
    return bytes;
}
