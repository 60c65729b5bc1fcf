// Who may call or connect, and what a caller is shown as.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_sys_black_item {
    Cdb_sys_black_item() { Init(); }
    void Init();

    // Not both prefixes empty, code 0 or 400 to 699. Others are not stored.
    [[nodiscard]] bool IsValid() const;

    int32_t code;       // SIP status of the refusal; 0: 403
    char callerNbr[33]; // prefix; key, with calledNbr; one of the two may be empty: every number
    char calledNbr[33];
    char name[65];
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_sys_black_item>, "padding would break byte comparison");

struct Cdb_ip_bwlist {
    Cdb_ip_bwlist() { init(); }
    void init();

    uint32_t action; // 0 deny, 1 allow
    char ipAddr[65]; // key; address or address/bits
    char name[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_ip_bwlist>, "padding would break byte comparison");

struct Cdb_clr_rewriting_info {
    Cdb_clr_rewriting_info() { init(); }
    void init();

    char callerNbr[33]; // key; ".": every caller
    char displayName[33];
    uint8_t isAnonymous; // 1: the number is hidden
};
static_assert(std::has_unique_object_representations_v<Cdb_clr_rewriting_info>, "padding would break byte comparison");

struct Cdb_evt_channel_auth {
    Cdb_evt_channel_auth() { init(); }
    void init();

    char ipAddr[65]; // key
};
static_assert(std::has_unique_object_representations_v<Cdb_evt_channel_auth>, "padding would break byte comparison");

void ldb_sys_black_list_get_full_data(const Cdb_query& query, Cdb_sys_black_item* record);
void ldb_ip_bwlist_get_full_data(const Cdb_query& query, Cdb_ip_bwlist* record);
void ldb_clr_rewrite_get_full_data(const Cdb_query& query, Cdb_clr_rewriting_info* record);
void ldb_evt_channel_auth_get_full_data(const Cdb_query& query, Cdb_evt_channel_auth* record);
