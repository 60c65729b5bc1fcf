// Calling cards: their balances and rates. Money is in cents.
#pragma once

#include <cstdint>
#include <type_traits>

// Which rate a call of a card has.
struct Ctbl_callingcard_fee_matrix {
    Ctbl_callingcard_fee_matrix() { Init(); }
    void Init();

    uint32_t nRateId;
    char cDialPlan[33]; // key with
    char cRouteNbr[33]; // the prefix of the called number
    char reserved[2];   // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Ctbl_callingcard_fee_matrix>,
              "padding would break byte comparison");

struct Ctbl_callingcard_balance {
    Ctbl_callingcard_balance() { Init(); }
    void Init();

    // 1: calls of the card are analyzed in the record's dial plan, 0: in "default".
    void setDialPlanInd(uint32_t indicator = 1) { nDialPlanInd = indicator; }

    int32_t nBalance;
    uint32_t nMaxCalls; // at the same time
    uint32_t nExpiry;   // last valid day, YYYYMMDD; 0: never
    uint32_t nDialPlanInd;
    char cCard[33]; // digits; key
    char cPin[33];
    char cDialPlan[33];
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Ctbl_callingcard_balance>,
              "padding would break byte comparison");
