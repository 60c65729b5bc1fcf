// The record of a local user.
#pragma once

#include "bcl2/bit_set.h"
#include "bcl2/number.h"

#include <cstdint>
#include <type_traits>

// Bits of Cdb_usr_info::flags. Bits without a name keep what Init() gives.
enum Eusr_flag : uint32_t {
    kUsrForwardBusy = 0x4,
    kUsrForwardNotRegistered = 0x8,
    kUsrVoiceMail = 0x10,
    kUsrPrepaid = 0x20,
    kUsrRelayMedia = 0x40,
    kUsrVideo = 0x80,
    kUsrCallShop = 0x100,
    kUsrForwardAll = 0x200,
    kUsrCallWaiting = 0x400,
    kUsrConference = 0x800,
    kUsrForwardNoAnswer = 0x1000,
    kUsrTransfer = 0x4000,
    kUsrHideNumber = 0x8000,
    kUsrRejectAnonymous = 0x10000,
    kUsrDtmfInfo = 0x40000,
    kUsrDtmfInband = 0x80000,
    kUsrRecordCalls = 0x100000,
    kUsrIpAuth = 0x200000,
    kUsrDoNotDisturb = 0x400000,
    kUsrMessages = 0x800000,
    kUsrMissedCallMail = 0x1000000,
};

// States of a user as events and tbl_sip_reg carry them.
enum Eusr_stage : uint8_t {
    kUsrOffline = 0,
    kUsrIdle = 1,
    kUsrRinging = 2,
    kUsrTalking = 3,
    kUsrCallingOut = 4,
};

// Plain bytes without padding: editors compare two records byte for byte, so texts are written with BclCopyStr only,
// which clears what is behind them.
struct Cdb_usr_info {
    Cdb_usr_info() { Init(); }

    // Every field to its default.
    void Init();
    // Only the call waiting limit, respectively only the follow-me fields.
    void InitV8();
    void InitV13();

    // Forward numbers: always, not registered, busy, no answer. At most 32 bytes; the flags are the caller's.
    void SetCFUNbr(const char* number) { cfuNbr.SetNbr(number); }
    void ClrCFUNbr() { cfuNbr.Init(); }
    void SetCFNCNbr(const char* number) { cfncNbr.SetNbr(number); }
    void ClrCFNCNbr() { cfncNbr.Init(); }
    void SetCFBNbr(const char* number) { cfbNbr.SetNbr(number); }
    void ClrCFBNbr() { cfbNbr.Init(); }
    void SetCFNANbr(const char* number) { cfnaNbr.SetNbr(number); }
    void ClrCFNANbr() { cfnaNbr.Init(); }

    // 1 to 4 seconds become 5: no telephone is picked up faster; 0 stays (the server's own time).
    void refineNoAnsTimer();
    // Takes over the run-time state of `stored`.
    void restorePreStatus(const Cdb_usr_info& stored);

    [[nodiscard]] bool hasFlag(Eusr_flag flag) const { return (flags & flag) != 0; }

    uint32_t flags;
    Cbcl_bit_set levels;      // bits 1 to 6: call levels that may be dialed
    uint32_t noAnsTime;       // s, 0: the server's own
    uint32_t expiryDate;      // YYYYMMDD, last valid day; 0 never
    uint32_t timeCondId;      // 0 always
    uint32_t ipPort;          // with kUsrIpAuth
    int32_t pickupGroup;      // 0 none
    int32_t maxDuration;      // s, 0 or less: no limit
    int32_t maxCalls;         // 0 or less: no limit
    int32_t maxOutCalls;      // 0 or less: no limit
    int32_t maxConfParties;   // 3 to 32
    uint16_t prePort;         // run-time: port of the last registration, 0 none
    uint8_t usrStage;         // run-time: Eusr_stage
    uint8_t callWaitingLimit; // waiting calls at a time
    uint8_t followMeType;     // 1 off, 2 one after another, 3 all at once
    uint8_t followMeTime;     // s per number
    char usrName[33];         // key: SIP user and directory number
    char password[33];        // empty: cannot register
    char description[65];
    char dispName[33];
    char email[65];
    char extLine[33]; // special external line, empty: none
    char dialPlan[33];
    char ipAddr[65]; // with kUsrIpAuth
    Cphone_number cfuNbr;
    Cphone_number cfncNbr;
    Cphone_number cfbNbr;
    Cphone_number cfnaNbr;
    char followMeNbr1[33];
    char followMeNbr2[33];
    char followMeNbr3[33];
    char preAddr[65]; // run-time: address of the last registration, empty: none
    char reserved[2]; // fills the last word; always zero
};

static_assert(std::is_trivially_copyable_v<Cdb_usr_info>);
static_assert(std::has_unique_object_representations_v<Cdb_usr_info>, "padding would break byte comparison");
