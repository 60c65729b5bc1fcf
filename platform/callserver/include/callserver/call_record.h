// Call detail records, as event 10002 carries them.
#pragma once

#include "bcl2/date.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// The moments of a call; each indexes the time stamps of a record.
enum Ecdr_time : unsigned { kCdrStart, kCdrRing, kCdrAnswer, kCdrEnd, kCdrTimes };

// Bits of Ccdr_record_data::flags: which time stamps are known, and which addresses.
constexpr uint32_t kCdrHasStart = 1U << kCdrStart;
constexpr uint32_t kCdrHasRing = 1U << kCdrRing;
constexpr uint32_t kCdrHasAnswer = 1U << kCdrAnswer;
constexpr uint32_t kCdrHasEnd = 1U << kCdrEnd;
constexpr uint32_t kCdrCalledAddr = 1U << 4;
constexpr uint32_t kCdrCallerAddr = 1U << 5;

// One leg of a call, as it stands at the moment. Plain bytes without hidden ones; its number travels beside it. Texts
// are NUL-terminated UTF-8. Who publishes it owns it; whoever hears of it copies it.
struct Ccdr_record_data {
    int32_t callId;       // shared by all legs of a call; from 1 in each run of the server
    char callerNbr[33];   // as sent on
    char dialedNbr[33];   // as it came from the caller
    char calledNbr[33];   // after all changes
    char extLine[33];     // name of the external line, empty: none
    int32_t peerServerId; // 0: none
    uint32_t releaseCode; // SIP status; 0 while in progress, 200 for a call that was answered and ended
    uint32_t flags;       // kCdr...
    uint32_t unused;      // keeps the time stamps aligned
    Cbcl_timestamp times[kCdrTimes];
    uint32_t duration; // s, from answer to end, or to now
    uint32_t reserved;
    char calledAddr[65]; // "address:port" of the far end, of the called side
    char callerAddr[65]; // and of the caller
    char fci[142];       // charging text, "key=value" parted by ";"

    Ccdr_record_data() { Init(); }
    // All bytes to zero.
    void Init() { std::memset(static_cast<void*>(this), 0, sizeof *this); }

    [[nodiscard]] bool has(uint32_t flag) const { return (flags & flag) != 0; }
    // The time stamp and its flag.
    void setTime(Ecdr_time moment, Cbcl_timestamp stamp)
    {
        times[moment] = stamp;
        flags |= 1U << moment;
    }
};
static_assert(sizeof(Ccdr_record_data) == 464);
static_assert(offsetof(Ccdr_record_data, callerNbr) == 4);
static_assert(offsetof(Ccdr_record_data, dialedNbr) == 37);
static_assert(offsetof(Ccdr_record_data, calledNbr) == 70);
static_assert(offsetof(Ccdr_record_data, extLine) == 103);
static_assert(offsetof(Ccdr_record_data, peerServerId) == 136);
static_assert(offsetof(Ccdr_record_data, releaseCode) == 140);
static_assert(offsetof(Ccdr_record_data, flags) == 144);
static_assert(offsetof(Ccdr_record_data, times) == 152);
static_assert(offsetof(Ccdr_record_data, duration) == 184);
static_assert(offsetof(Ccdr_record_data, calledAddr) == 192);
static_assert(offsetof(Ccdr_record_data, callerAddr) == 257);
static_assert(offsetof(Ccdr_record_data, fci) == 322);
static_assert(std::is_trivially_copyable_v<Ccdr_record_data>);
static_assert(std::has_unique_object_representations_v<Ccdr_record_data>, "padding would break byte comparison");
