// Number transitions, analysis and refinement.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>
#include <type_traits>

class Cdb_query;

// Type of a number transition.
enum Enbr_trans_type : uint32_t { kTransAdd = 1, kTransReplace, kTransDelete };

struct Cdb_nbr_trans_data {
    Cdb_nbr_trans_data() { Init(); }
    void Init();

    // ID from 1, type 1 to 3, start position up to 31, length up to 32.
    [[nodiscard]] bool IsValid() const;
    // Non-zero when the two differ, or when there is no other.
    [[nodiscard]] unsigned Comp(const Cdb_nbr_trans_data* other) const;
    // "ID: +digits", "ID: [start,length]=digits" or "ID: -[start,length]"
    void ToString(Cbcl_tmp_str& text) const;

    uint32_t transid;  // key, from 1
    uint32_t type;     // an Enbr_trans_type
    uint32_t startPos; // 0 is the leftmost digit
    uint32_t length;
    char digits[33];
    char description[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_nbr_trans_data>, "padding would break byte comparison");

// What a call is sent to.
enum Ert_type : uint32_t {
    kRtLocalUser = 0,
    kRtExtLine = 1,
    kRtSipTrunk = 2,
    kRtReject = 4,
    kRtGroup = 6,
};

struct Cdb_nbr_cld_ana_data {
    Cdb_nbr_cld_ana_data() { Init(); }
    void Init();
    void InitV6(); // only the dial plan

    uint32_t routeType;     // an Ert_type
    uint32_t peerServerId;  // with route type 2
    uint32_t calledChanged; // 1: transId is applied
    uint32_t transId;
    uint32_t transOption; // 1: the changed number is analyzed again
    uint32_t level;       // 0 to 6
    uint32_t maxDuration; // s, 0: no limit
    uint32_t clrRefineGroup;
    uint32_t rtGroupId; // with route type 6
    uint32_t serviceType;
    char calledPrefix[33]; // key, with dialPlan
    char extLine[33];      // with route type 1
    char dialPlan[33];
    char description[65];
};
static_assert(std::has_unique_object_representations_v<Cdb_nbr_cld_ana_data>, "padding would break byte comparison");

struct Cdb_nbr_clr_ana_data {
    Cdb_nbr_clr_ana_data() { Init(); }
    void Init();
    void InitV1(); // only the dial plan

    uint32_t transId;      // 0: no change
    char callerPrefix[33]; // key
    char dialPlan[33];     // empty: the plan of the source
    char description[65];
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_nbr_clr_ana_data>, "padding would break byte comparison");

struct Cdb_nbr_clr_refine_data {
    Cdb_nbr_clr_refine_data() { Init(); }
    void Init();

    uint32_t groupID; // key, with callerPrefix; not 0
    uint32_t transId; // 0: the number is kept
    char callerPrefix[33];
    char description[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_nbr_clr_refine_data>, "padding would break byte comparison");

struct Cdb_nbr_cld_refine {
    Cdb_nbr_cld_refine() { init(); }
    void init();

    uint32_t groupID;      // key, with calledPrefix; not 0
    uint32_t transId;      // 0: the number is kept
    char calledPrefix[33]; // empty: every number
    char description[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_nbr_cld_refine>, "padding would break byte comparison");

void ldb_nbr_trans_get_full_data(const Cdb_query& query, Cdb_nbr_trans_data* record);
void ldb_nbr_cld_ana_get_full_data(const Cdb_query& query, Cdb_nbr_cld_ana_data* record);
void ldb_nbr_clr_ana_get_full_data(const Cdb_query& query, Cdb_nbr_clr_ana_data* record);
void ldb_nbr_clr_refine_get_full_data(const Cdb_query& query, Cdb_nbr_clr_refine_data* record);
void ldb_nbr_cld_refine_get_full_data(const Cdb_query& query, Cdb_nbr_cld_refine* record);
