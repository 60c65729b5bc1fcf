#include "cachedb2/ext_line.h"

#include "line_state.h"
#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

constexpr int kSipPort = 5060; // RFC 3261 section 19.1.2
constexpr int kDefaultCalls = 20;

// Stored order of tbl_ext_line.
using ExtLineInfo = Cdb_ext_line_info;
constexpr std::array kExtLineInfoFields = {
    field<&ExtLineInfo::extName>("extName").key(),
    field<&ExtLineInfo::lineType>("lineType"),
    field<&ExtLineInfo::password>("password"),
    field<&ExtLineInfo::description>("description"),
    field<&ExtLineInfo::serverAddr>("serverAddr"),
    field<&ExtLineInfo::serverPort>("serverPort").def(kSipPort),
    field<&ExtLineInfo::authName>("authName"),
    field<&ExtLineInfo::flags>("flags").def(kLineEarlyMedia),
    field<&ExtLineInfo::destination>("destination"),
    field<&ExtLineInfo::proxyAddr>("proxyAddr"),
    field<&ExtLineInfo::proxyPort>("proxyPort").def(kSipPort),
    field<&ExtLineInfo::transport>("transport"),
    field<&ExtLineInfo::uriParams>("uriParams"),
    field<&ExtLineInfo::timeCondId>("timeCondId"),
    field<&ExtLineInfo::cldRefineGroup>("cldRefineGroup"),
    field<&ExtLineInfo::noAnsTime>("noAnsTime"),
    field<&ExtLineInfo::maxOutCalls>("maxOutCalls").def(kDefaultCalls),
    field<&ExtLineInfo::maxDuration>("maxDuration"),
    field<&ExtLineInfo::nextLine>("nextLine"),
    field<&ExtLineInfo::maxCalls>("maxCalls").def(kDefaultCalls),
};

constexpr std::array kStateFields = {
    field<&ExtLineState::extName>("extName").key(),
    field<&ExtLineState::state>("state"),
};

} // namespace

template <>
const Table& tableOf<Cdb_ext_line_info>()
{
    static const Table& table = *new Table("tbl_ext_line", kExtLineInfoFields, Edb_table::ExtLines);
    return table;
}

void Cdb_ext_line_info::Init()
{
    resetRecord(*this);
}

const Table& extLineStatesTable()
{
    static const Table& table = *new Table("tbl_ext_line_state", kStateFields);
    return table;
}

std::string extLineViewStatement()
{
    std::string columns;
    for (const FieldDesc& field : kExtLineInfoFields)
        columns += std::string("line.") + field.column + ", ";
    return "create temp view tbl_ext_line as select " + columns +
           "coalesce(live.state, 0) as state from main.tbl_ext_line as line"
           " left join runtime.tbl_ext_line_state as live on live.extName=line.extName";
}

void cdb_ext_line_get_full_data(const Cdb_query& query, Cdb_ext_line_info* record)
{
    if (record == nullptr || !query.mapRow(tableOf<Cdb_ext_line_info>(), record))
        return;
    record->state = static_cast<uint8_t>(query.getRowU32Val(kExtLineInfoFields.size()));
}

unsigned Cdb_fac_mgr::DbExtLineGet(Cdb_ext_line_info& record)
{
    if (_impl->get(record) != kDbOk)
        return kDbFailed;
    ExtLineState live{};
    BclCopyText(live.extName, sizeof live.extName, BclFieldText(record.extName), sizeof live.extName);
    record.state = _impl->readState(extLineStatesTable(), live) ? live.state : uint8_t{0};
    return kDbOk;
}

unsigned Cdb_fac_mgr::DbExtLineSet(const Cdb_ext_line_info& record)
{
    Cdb_ext_line_info stored = record;
    stored.state = 0; // versions hold what is stored, not run-time state
    return _impl->set(stored);
}

unsigned Cdb_fac_mgr::DbExtLineHas(const char* name)
{
    return _impl->has(keyOf<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(name));
}

unsigned Cdb_fac_mgr::DbExtLineDel(const char* name)
{
    const auto key = keyOf<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(name);
    if (_impl->has(key) == 1) {
        // First: a line of the same name that comes after this one may be on before anything else can be written.
        ExtLineState live{};
        (void)setKey(live.extName, name);
        const std::scoped_lock lock(_impl->runtimeMutex);
        const auto forget = [&live](DbConnection& db) {
            return extLineStatesTable().del(db, &live) || db.fault() == DbFault::None;
        };
        (void)Impl::transact(_impl->runtime.get(), "the state of an external line", forget);
    }
    return _impl->del(key);
}

unsigned Cdb_fac_mgr::DbClearExtLineStates()
{
    const std::scoped_lock lock(_impl->runtimeMutex);
    const auto clear = [](DbConnection& db) { return db.exec("delete from tbl_ext_line_state"); };
    return Impl::transact(_impl->runtime.get(), "the states of the external lines", clear) ? kDbOk : kDbFailed;
}

unsigned Cdb_fac_mgr::DbExtLineGetCnt()
{
    return _impl->count<Cdb_ext_line_info>();
}

unsigned Cdb_fac_mgr::DbWriteExtLineState(const char* name, unsigned state)
{
    ExtLineState live{};
    if (!setKey(live.extName, name) || !extLineStatesTable().isKeyValid(&live))
        return kDbFailed;
    live.state = state == 0 ? 0 : 1;
    const std::scoped_lock lock(_impl->runtimeMutex);
    const auto write = [&live](DbConnection& db) { return extLineStatesTable().set(db, &live); };
    return Impl::transact(_impl->runtime.get(), "the state of an external line", write) ? kDbOk : kDbFailed;
}
