// Routing groups and their routes.
#pragma once

#include "bcl2/number.h"

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_route_group {
    Cdb_route_group() { init(); }
    void init();

    uint32_t groupID; // key, not 0
    char description[65];
    char reserved[3]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_route_group>, "padding would break byte comparison");

// Type of a route.
enum Eroute_type : uint8_t { kRouteExtLine = 1, kRouteTrunk = 2 };

// All fields together are the key. The routes of a group are tried by type, those of a type in the order in which they
// were added.
struct Cdb_route {
    Cdb_route() { init(); }
    void init();

    uint32_t groupID;      // not 0
    uint32_t peerServerId; // with route type 2, then not 0
    uint8_t routeType;     // an Eroute_type
    Cphone_number extLine; // with route type 1, then not blank
    char reserved[2];      // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_route>, "padding would break byte comparison");

void ldb_route_group_get_full_data(const Cdb_query& query, Cdb_route_group* record);
void ldb_route_get_full_data(const Cdb_query& query, Cdb_route* record);
