// Time conditions.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

// Hours and minutes are kept as they were typed, also those that no clock shows.
struct Cdb_time_cond {
    Cdb_time_cond() { init(); }
    void init();

    uint32_t ID; // key, from 1
    uint8_t startHour;
    uint8_t startMinute;
    uint8_t endHour;
    uint8_t endMinute;
    uint8_t weekdays; // bits 0 to 6
    char description[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_time_cond>, "padding would break byte comparison");

void ldb_time_condition_get_full_data(const Cdb_query& query, Cdb_time_cond* record);
