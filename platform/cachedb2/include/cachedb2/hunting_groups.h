// Hunting groups, their operators, and which calls go to which group.
#pragma once

#include "bcl2/number.h"

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_hunting_group_cfg_data {
    Cdb_hunting_group_cfg_data() { Init(); }
    void Init();

    // The group ID lies in 1 to 100: others are neither stored nor shown.
    [[nodiscard]] bool IsUsed() const;

    uint32_t groupID;       // key
    int32_t strategy;       // 1 by operator number, after the last tried; 2 longest idle first
    uint32_t operatorTime;  // s that an operator rings, from 10
    uint16_t queueDuration; // s, 0: no limit
    uint8_t isQueueOn;
    uint8_t queueCounter; // waiting calls, 0: no limit
    char name[65];
    char reserved[3]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_hunting_group_cfg_data>,
              "padding would break byte comparison");

struct Cdb_hunting_group_operator_data {
    Cdb_hunting_group_operator_data() { Init(); }
    void Init();

    uint32_t groupID;
    Cphone_number operatorNbr; // key over all groups
    uint8_t isExternal;        // 1: reached through plan "default"
    char reserved[2];          // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_hunting_group_operator_data>,
              "padding would break byte comparison");

struct Cdb_hunting_group_detect_data {
    Cdb_hunting_group_detect_data() { Init(); }
    void Init();

    uint32_t groupID;
    char dialPlan[33];  // key, with calledNbr
    char calledNbr[33]; // prefix
    char reserved[2];   // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_hunting_group_detect_data>,
              "padding would break byte comparison");

void ldb_hg_group_get_full_data(const Cdb_query& query, Cdb_hunting_group_cfg_data* record);
void cdb_hg_operator_get_full_data(const Cdb_query& query, Cdb_hunting_group_operator_data* record);
void ldb_hg_detect_get_full_data(const Cdb_query& query, Cdb_hunting_group_detect_data* record);
