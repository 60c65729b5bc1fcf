#include "dbproxy2/remote_db.h"

#include "account.h"
#include "remote_core.h"
#include "remote_table.h"

#include <limits>
#include <utility>

Cdb_remote::Cdb_remote(std::string dataFolder) : _core(std::make_unique<RemoteCore>(std::move(dataFolder))) {}

Cdb_remote::~Cdb_remote() = default;

void Cdb_remote::apply(const Cdb_remote_settings& settings)
{
    _core->apply(settings);
}

bool Cdb_remote::isActive() const
{
    return _core->isActive();
}

unsigned Cdb_remote::get(const RemoteTable& table, void* record)
{
    if (!isKeyValid(table.fields(), record))
        return kDbFailed;
    SqlRows rows;
    if (!_core->run(table.name(), table.select(), table.keyValues(record), &rows).isDone() || rows.count() != 1)
        return kDbFailed;
    table.map(rows, record);
    return kDbOk;
}

unsigned Cdb_remote::write(const RemoteTable& table, void* record, bool isNew)
{
    if (!isKeyValid(table.fields(), record))
        return kDbFailed;
    normaliseFields(table.fields(), record);
    const std::string& statement = isNew ? table.insert() : table.replace();
    return _core->run(table.name(), statement, table.values(record), nullptr).isDone() ? kDbOk : kDbFailed;
}

unsigned Cdb_remote::rewrite(const RemoteTable& table, void* stored, void* record, const std::function<void()>& merge)
{
    if (!isKeyValid(table.fields(), record))
        return kDbFailed;
    normaliseFields(table.fields(), record);
    const SqlResult result = _core->transact(table.name(), {}, [&](const SqlRun& run) {
        SqlRows rows;
        SqlResult found = run(table.select() + run.dialect().forUpdate, table.keyValues(record), &rows);
        if (!found.isDone())
            return found;
        if (rows.count() == 1) {
            table.map(rows, stored);
            merge();
        }
        return run(table.replace(), table.values(record));
    });
    return result.isDone() ? kDbOk : kDbFailed;
}

unsigned Cdb_remote::del(const RemoteTable& table, const void* key)
{
    if (!isKeyValid(table.fields(), key))
        return kDbFailed;
    const SqlResult result = _core->run(table.name(), table.remove(), table.keyValues(key), nullptr);
    return result.isDone() && result.affected > 0 ? kDbOk : kDbFailed;
}

unsigned Cdb_remote::has(const RemoteTable& table, const void* key)
{
    SqlRows rows;
    if (!isKeyValid(table.fields(), key) ||
        !_core->run(table.name(), table.has(), table.keyValues(key), &rows).isDone())
        return 0;
    return rows.count() == 1 && numberOfCell(rows.cells.front()) == 1 ? kDbHas : 0;
}

unsigned Cdb_remote::count(const RemoteTable& table)
{
    SqlRows rows;
    if (!_core->run(table.name(), table.count(), {}, &rows).isDone() || rows.count() != 1)
        return 0;
    return static_cast<unsigned>(numberOfCell(rows.cells.front()));
}

unsigned Cdb_remote::debit(const Cdb_balance_key& account, int64_t cents)
{
    if (cents < 0 || cents > std::numeric_limits<int32_t>::max())
        return kDbFailed;
    const SqlValue values[] = {cents, std::string_view(account.name), cents};
    const SqlResult result = _core->run("a debit", debitStatement(account.kind), values, nullptr);
    return result.isDone() && result.affected == 1 ? kDbOk : kDbFailed;
}
