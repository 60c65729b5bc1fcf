#include "cachedb2/peer_server.h"

#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>
#include <cstring>
#include <span>

namespace {

using D = Cdb_sip_domain_data;

constexpr int kSipPort = 5060; // RFC 3261 section 19.1.2
constexpr int kDefaultCalls = 30;

// Stored order of tbl_peer_server. The identifier comes first; behind it is the record that editors handle, which lies
// at the beginning of the stored one.
constexpr std::array kFields = {
    field<&Cdb_peer_server::sid>("sid").key(),
    field<&D::description>("description"),
    field<&D::peerPort>("peerPort").def(kSipPort),
    field<&D::outCallerNbr>("outCallerNbr"),
    field<&D::dialPlan>("dialPlan").def("default"),
    field<&D::transport>("transport"),
    field<&D::cldRefineGroup>("cldRefineGroup"),
    field<&D::peerAddr>("peerAddr"),
    field<&D::timeCondId>("timeCondId"),
    field<&D::maxOutCalls>("maxOutCalls").def(kDefaultCalls),
    field<&D::maxInCalls>("maxInCalls").def(kDefaultCalls),
    field<&D::flags>("flags"),
    field<&D::backupSid>("backupSid"),
    field<&D::uriParams>("uriParams"),
};

Cdb_peer_server rowOf(unsigned sid, const Cdb_sip_domain_data& record)
{
    Cdb_peer_server row;
    static_cast<Cdb_sip_domain_data&>(row) = record;
    row.sid = sid;
    return row;
}

} // namespace

template <>
const Table& tableOf<Cdb_peer_server>()
{
    static const Table& table = *new Table("tbl_peer_server", kFields, Edb_table::PeerServers);
    return table;
}

void Cdb_sip_domain_data::Init()
{
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    initFields(std::span(kFields).subspan(1), this);
}

unsigned Cdb_sip_domain_data::Comp(const Cdb_sip_domain_data& other) const
{
    return std::memcmp(this, &other, sizeof *this) != 0 ? 1 : 0;
}

void ldb_peer_server_get_full_data(const Cdb_query& query, unsigned& sid, Cdb_sip_domain_data* record)
{
    Cdb_peer_server row;
    if (record == nullptr || !query.mapRow(tableOf<Cdb_peer_server>(), &row))
        return;
    sid = row.sid;
    *record = row;
}

unsigned Cdb_fac_mgr::DbPeerServerGet(unsigned sid, Cdb_sip_domain_data& record)
{
    Cdb_peer_server row = rowOf(sid, record);
    const unsigned result = _impl->get(row);
    record = row;
    return result;
}

unsigned Cdb_fac_mgr::DbPeerServerSet(unsigned sid, const Cdb_sip_domain_data& record)
{
    return _impl->set(rowOf(sid, record));
}

unsigned Cdb_fac_mgr::DbPeerServerDel(unsigned sid)
{
    return _impl->del(keyOf<Cdb_peer_server, &Cdb_peer_server::sid>(sid));
}
