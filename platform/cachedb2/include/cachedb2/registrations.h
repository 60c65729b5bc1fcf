// Run-time records of registrations, written by the call server only.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

// What the console shows of a registered user: one row a user, from the contact registered last.
struct Cdb_sip_reg {
    Cdb_sip_reg() { Init(); }
    void Init();

    uint16_t prePort;  // 0 none
    uint8_t usrStage;  // Eusr_stage
    char userName[33]; // key
    char preAddr[65];
    char userAgent[129];
};
static_assert(std::has_unique_object_representations_v<Cdb_sip_reg>);

// One contact of a user.
struct Cdb_sip_contact {
    Cdb_sip_contact() { Init(); }
    void Init();

    int64_t registeredAt; // seconds since 1970, last refresh
    int64_t expiresAt;    // seconds since 1970
    uint32_t cseq;
    uint16_t srcPort;  // where the registration came from
    uint8_t transport; // 0 UDP, 1 TCP, 2 TLS
    uint8_t priority;  // q value in percent, 0 to 100
    char userName[33]; // key, with contact
    char contact[512]; // URI as registered
    char callId[256];
    char srcAddr[65];
    char userAgent[129];
    char reserved[5]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_sip_contact>);

// All that is known of one user's registrations at a moment.
struct Cdb_user_bindings {
    std::string userName;
    bool hasRow = false; // false: no row in tbl_sip_reg
    Cdb_sip_reg row;
    std::vector<Cdb_sip_contact> contacts;
    bool isRowOnly = false;   // the contacts of the user stay as they are stored
    bool isStageOnly = false; // so does the rest of his row, which is there: usrStage is all that is told of it

    // Makes it what a later one leaves of it.
    void follow(Cdb_user_bindings&& later)
    {
        if (later.isStageOnly) {
            row.usrStage = later.row.usrStage;
            return;
        }
        if (later.isRowOnly) {
            later.contacts = std::move(contacts);
            later.isRowOnly = isRowOnly;
        }
        *this = std::move(later);
    }
};
