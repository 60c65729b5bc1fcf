#include "cachedb2/access_lists.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_sys_blacklist.
using SysBlackItem = Cdb_sys_black_item;
constexpr std::array kSysBlackItemFields = {
    field<&SysBlackItem::callerNbr>("callerNbr").key().orEmpty(),
    field<&SysBlackItem::calledNbr>("calledNbr").key().orEmpty(),
    field<&SysBlackItem::name>("name"),
    field<&SysBlackItem::code>("code"),
};

// Stored order of tbl_ip_bwlist.
using IpBwlist = Cdb_ip_bwlist;
constexpr std::array kIpBwlistFields = {
    field<&IpBwlist::ipAddr>("ipAddr").key(),
    field<&IpBwlist::name>("name"),
    field<&IpBwlist::action>("action"),
};

// Stored order of tbl_clr_rewrite.
using ClrRewritingInfo = Cdb_clr_rewriting_info;
constexpr std::array kClrRewritingInfoFields = {
    field<&ClrRewritingInfo::callerNbr>("callerNbr").key(),
    field<&ClrRewritingInfo::displayName>("displayName"),
    field<&ClrRewritingInfo::isAnonymous>("isAnonymous"),
};

// Stored order of tbl_evt_channel_auth.
using EvtChannelAuth = Cdb_evt_channel_auth;
constexpr std::array kEvtChannelAuthFields = {
    field<&EvtChannelAuth::ipAddr>("ipAddr").key(),
};

} // namespace

template <>
const Table& tableOf<Cdb_sys_black_item>()
{
    static const Table& table = *new Table("tbl_sys_blacklist", kSysBlackItemFields, Edb_table::BlackList);
    return table;
}

void Cdb_sys_black_item::Init()
{
    resetRecord(*this);
}

void ldb_sys_black_list_get_full_data(const Cdb_query& query, Cdb_sys_black_item* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_ip_bwlist>()
{
    static const Table& table = *new Table("tbl_ip_bwlist", kIpBwlistFields, Edb_table::IpLists);
    return table;
}

void Cdb_ip_bwlist::init()
{
    resetRecord(*this);
}

void ldb_ip_bwlist_get_full_data(const Cdb_query& query, Cdb_ip_bwlist* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_clr_rewriting_info>()
{
    static const Table& table = *new Table("tbl_clr_rewrite", kClrRewritingInfoFields, Edb_table::CallerRewriting);
    return table;
}

void Cdb_clr_rewriting_info::init()
{
    resetRecord(*this);
}

void ldb_clr_rewrite_get_full_data(const Cdb_query& query, Cdb_clr_rewriting_info* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_evt_channel_auth>()
{
    static const Table& table = *new Table("tbl_evt_channel_auth", kEvtChannelAuthFields, Edb_table::EventChannel);
    return table;
}

void Cdb_evt_channel_auth::init()
{
    resetRecord(*this);
}

void ldb_evt_channel_auth_get_full_data(const Cdb_query& query, Cdb_evt_channel_auth* record)
{
    mapRow(query, record);
}

bool Cdb_sys_black_item::IsValid() const
{
    constexpr int32_t kFirstRefusal = 400; // RFC 3261 section 7.2: 4xx to 6xx
    constexpr int32_t kLastRefusal = 699;
    const bool isCode = code == 0 || (code >= kFirstRefusal && code <= kLastRefusal);
    return isCode && (callerNbr[0] != '\0' || calledNbr[0] != '\0');
}

unsigned Cdb_fac_mgr::DbClrReWriteAdd(const Cdb_clr_rewriting_info* record)
{
    return record == nullptr ? kDbFailed : _impl->add(*record);
}

unsigned Cdb_fac_mgr::DbClrReWriteUpdate(const Cdb_clr_rewriting_info* record)
{
    return record == nullptr ? kDbFailed : _impl->update(*record);
}

unsigned Cdb_fac_mgr::DbClrReWriteGet(Cdb_clr_rewriting_info* record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbClrReWriteDel(const Cdb_clr_rewriting_info* record)
{
    return _impl->del(keyOf(record));
}

unsigned Cdb_fac_mgr::DbSysBlackListAdd(const Cdb_sys_black_item* record)
{
    return record != nullptr && record->IsValid() ? _impl->add(*record) : kDbFailed;
}

unsigned Cdb_fac_mgr::DbSysBlackListUpdate(const Cdb_sys_black_item* record)
{
    return record != nullptr && record->IsValid() ? _impl->update(*record) : kDbFailed;
}

unsigned Cdb_fac_mgr::DbSysBlackListGet(Cdb_sys_black_item& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbSysBlackListDel(const Cdb_sys_black_item* record)
{
    return _impl->del(keyOf(record));
}

unsigned Cdb_fac_mgr::DbIPBWListGet(Cdb_ip_bwlist& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbIPBWListSet(const Cdb_ip_bwlist& record)
{
    return _impl->set(record);
}

unsigned Cdb_fac_mgr::DbIPBWListDel(const char* ipAddr)
{
    return _impl->del(keyOf<Cdb_ip_bwlist, &Cdb_ip_bwlist::ipAddr>(ipAddr));
}

unsigned Cdb_fac_mgr::DbEvtChannelAuthAdd(Cdb_evt_channel_auth record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbEvtChannelAuthDel(const char* ipAddr)
{
    return _impl->del(keyOf<Cdb_evt_channel_auth, &Cdb_evt_channel_auth::ipAddr>(ipAddr));
}
