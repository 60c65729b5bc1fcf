// Members of ring groups, and which calls ring which group. A group exists as soon as a record names it.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_rg_user {
    Cdb_rg_user() { init(); }
    void init();

    uint32_t groupID; // key, with user; not 0
    char user[33];
    char reserved[3]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_rg_user>, "padding would break byte comparison");

struct Cdb_rg_detection_index {
    Cdb_rg_detection_index() { init(); }
    void init();

    // The called number is not empty.
    [[nodiscard]] bool isValid() const;

    char dialPlan[33];
    char cldNbr[33];
};
static_assert(std::has_unique_object_representations_v<Cdb_rg_detection_index>, "padding would break byte comparison");

struct Cdb_rg_detection {
    Cdb_rg_detection() { init(); }
    void init();

    [[nodiscard]] Cdb_rg_detection_index index() const;

    uint32_t groupID;  // not 0
    char dialPlan[33]; // key, with cldNbr
    char cldNbr[33];   // the whole number
    char name[65];
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_rg_detection>, "padding would break byte comparison");

void ldb_rg_user_get_full_data(const Cdb_query& query, Cdb_rg_user* record);
void ldb_rg_detect_get_full_data(const Cdb_query& query, Cdb_rg_detection* record);
