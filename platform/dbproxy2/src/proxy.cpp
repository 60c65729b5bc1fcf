#include "dbproxy2/proxy.h"

#include "bcl2/text.h"
#include "remote_core.h"
#include "remote_table.h"

#include <strings.h>

namespace {

bool isSelect(const char* sql)
{
    constexpr std::string_view kWord = "select ";
    const std::string_view text = BclTrimmed(sql);
    return text.size() > kWord.size() && strncasecmp(text.data(), kWord.data(), kWord.size()) == 0;
}

} // namespace

Cdb_proxy::Cdb_proxy(Cdb_remote* database) : _database(database) {}

Cdb_proxy::~Cdb_proxy() = default;

unsigned Cdb_proxy::query(const char* sql)
{
    _rows.reset();
    _fetched = 0;
    if (_database == nullptr || sql == nullptr || !isSelect(sql))
        return kDbFailed;
    if (_database->_watch)
        _database->_watch(sql);
    auto rows = std::make_unique<SqlRows>();
    if (!_database->_core->run("a page", sql, {}, rows.get()).isDone())
        return kDbFailed;
    _rows = std::move(rows);
    return kDbOk;
}

unsigned Cdb_proxy::getRecordsCnt() const
{
    return _rows ? static_cast<unsigned>(_rows->count()) : 0;
}

unsigned Cdb_proxy::fetchRow()
{
    if (_fetched > getRecordsCnt()) // past the end already
        return kDbFailed;
    ++_fetched;
    return _fetched <= getRecordsCnt() ? kDbOk : kDbFailed;
}

const std::string* Cdb_proxy::cell(unsigned column) const
{
    if (!_rows || _fetched == 0 || _fetched > _rows->count() || column >= _rows->columns)
        return nullptr;
    return &_rows->cells[(_fetched - 1) * _rows->columns + column];
}

const char* Cdb_proxy::getRow(unsigned column) const
{
    const std::string* text = cell(column);
    return text == nullptr ? "" : text->c_str();
}

uint32_t Cdb_proxy::getRowU32Val(unsigned column) const
{
    const std::string* text = cell(column);
    return text == nullptr ? 0 : static_cast<uint32_t>(numberOfCell(*text));
}

int32_t Cdb_proxy::getRowIntVal(unsigned column) const
{
    return static_cast<int32_t>(getRowU32Val(column));
}
