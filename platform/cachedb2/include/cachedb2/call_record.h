// Which calls are recorded.
#pragma once

#include "bcl2/number.h"

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_call_record {
    Cdb_call_record() { init(); }
    void init();

    Cphone_number callerNbr; // prefix; key, with calledNbr
    Cphone_number calledNbr; // prefix
    char name[65];
    uint8_t recording; // 2 yes, 1 no
};
static_assert(std::has_unique_object_representations_v<Cdb_call_record>, "padding would break byte comparison");

void ldb_call_recording_get_full_data(const Cdb_query& query, Cdb_call_record* record);
