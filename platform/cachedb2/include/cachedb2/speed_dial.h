// Short numbers.
#pragma once

#include "bcl2/number.h"

#include <type_traits>

class Cdb_query;

struct Cdb_speed_dial_data {
    Cdb_speed_dial_data() { init(); }
    void init();

    Cphone_number callerNbr; // key, with dialedNbr; ".": every caller
    Cphone_number dialedNbr;
    char name[65];
    Cphone_number destination;
};
static_assert(std::has_unique_object_representations_v<Cdb_speed_dial_data>, "padding would break byte comparison");

void ldb_speed_dial_get_full_data(const Cdb_query& query, Cdb_speed_dial_data* record);
