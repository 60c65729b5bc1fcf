// Rates of the call shop.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_call_shop_fee_rate_info {
    Cdb_call_shop_fee_rate_info() { Init(); }
    void Init();

    uint32_t interval;  // s, 0: free
    uint32_t fee;       // cents per interval
    char calledNbr[33]; // prefix; key
    char description[65];
    char reserved[2]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_call_shop_fee_rate_info>,
              "padding would break byte comparison");

void ldb_call_shop_get_full_data(const Cdb_query* query, Cdb_call_shop_fee_rate_info* record);
