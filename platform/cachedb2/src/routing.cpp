#include "cachedb2/routing.h"

#include "bcl2/text.h"
#include "row_mapper.h"
#include "store.h"
#include "tables.h"

#include <array>

namespace {

// Stored order of tbl_route_group.
using RouteGroup = Cdb_route_group;
constexpr std::array kRouteGroupFields = {
    field<&RouteGroup::groupID>("groupID").key(),
    field<&RouteGroup::description>("description"),
};

// Stored order of tbl_route. The key begins with what no page is ordered by: else its index would order the routes of a
// group by their names.
using Route = Cdb_route;
constexpr std::array kRouteFields = {
    field<&Route::groupID>("groupID").key(1),
    field<&Route::routeType>("routeType").key(1),
    field<&Route::extLine>("extLine").key().orEmpty(),
    field<&Route::peerServerId>("peerServerId").key().orEmpty(),
};

bool hasTarget(const Cdb_route& route)
{
    return (route.routeType == kRouteExtLine && !BclTrimmed(route.extLine.view()).empty()) ||
           (route.routeType == kRouteTrunk && route.peerServerId != 0);
}

} // namespace

template <>
const Table& tableOf<Cdb_route_group>()
{
    static const Table& table = *new Table("tbl_route_group", kRouteGroupFields, Edb_table::RouteGroups);
    return table;
}

void Cdb_route_group::init()
{
    resetRecord(*this);
}

void ldb_route_group_get_full_data(const Cdb_query& query, Cdb_route_group* record)
{
    mapRow(query, record);
}

template <>
const Table& tableOf<Cdb_route>()
{
    static const Table& table = *new Table("tbl_route", kRouteFields, Edb_table::Routes, "groupID, routeType");
    return table;
}

void Cdb_route::init()
{
    resetRecord(*this);
}

void ldb_route_get_full_data(const Cdb_query& query, Cdb_route* record)
{
    mapRow(query, record);
}

unsigned Cdb_fac_mgr::DbRouteGroupAdd(Cdb_route_group record)
{
    return _impl->add(record);
}

unsigned Cdb_fac_mgr::DbRouteGroupGet(Cdb_route_group& record)
{
    return _impl->get(record);
}

unsigned Cdb_fac_mgr::DbRouteGroupUpdate(Cdb_route_group record)
{
    return _impl->update(record);
}

unsigned Cdb_fac_mgr::DbRouteGroupDelete(unsigned groupID)
{
    return _impl->delWithOwned<&Cdb_route::groupID>(keyOf<Cdb_route_group, &Cdb_route_group::groupID>(groupID),
                                                    "groupID", groupID);
}

unsigned Cdb_fac_mgr::DbRouteAdd(Cdb_route record)
{
    return hasTarget(record) ? _impl->add(record) : kDbFailed;
}

unsigned Cdb_fac_mgr::DbRouteDel(Cdb_route record)
{
    return _impl->del(keyOf(&record));
}
