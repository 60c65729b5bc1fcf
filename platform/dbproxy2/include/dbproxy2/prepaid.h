// Rates, and the balances of local users. Money is in cents.
#pragma once

#include <cstdint>
#include <type_traits>

struct Ctbl_prepaid_rate {
    Ctbl_prepaid_rate() { Init(); }
    void Init();

    uint32_t rate_id;         // key
    uint32_t tariff_interval; // s
    uint32_t tariff;          // for each started interval
    uint32_t onetime_fee;     // for each answered call
};
static_assert(sizeof(Ctbl_prepaid_rate) == 16, "compared as one block");

struct Ctbl_sub_balance {
    Ctbl_sub_balance() { Init(); }
    void Init();

    int32_t nBalance;
    char cSubName[61]; // name of a local user; key
    char reserved[3];  // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Ctbl_sub_balance>, "padding would break byte comparison");

// Which rate a call of a user has.
struct Ctbl_caller_prepaid {
    Ctbl_caller_prepaid() { Init(); }
    void Init();

    uint32_t nRateId;
    char cSubscriber[61]; // or "."; key with
    char cRouteNbr[61];   // the prefix of the called number
    char reserved[2];     // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Ctbl_caller_prepaid>, "padding would break byte comparison");
