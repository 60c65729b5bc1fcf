// The record of an external line: an account that the server itself holds with an outside SIP server or gateway.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

// Bits of Cdb_ext_line_info::flags; the others are kept.
enum Eext_line_flag : uint32_t {
    kLineCallerAsUser = 0x1,
    kLineAutoAttendant = 0x4,
    kLineProxy = 0x8,
    kLineRelayMedia = 0x10,
    kLineEarlyMedia = 0x40,
    kLineKeepAlive = 0x80,
    kLineDtmfInband = 0x100,
    kLineNoRegister = 0x400,
    kLineAssertedIdentity = 0x800,
};

struct Cdb_ext_line_info {
    Cdb_ext_line_info() { Init(); }
    void Init();

    [[nodiscard]] bool hasFlag(Eext_line_flag flag) const { return (flags & flag) != 0; }

    uint32_t lineType;       // 0 provider account, 1 gateway that registers here
    uint32_t flags;          // Eext_line_flag
    uint32_t transport;      // 0 UDP, 1 TCP
    uint32_t timeCondId;     // 0 always
    uint32_t cldRefineGroup; // 0 none
    int32_t serverPort;
    int32_t noAnsTime;   // s, 0: the server's own
    int32_t maxOutCalls; // 0 or less: no limit
    int32_t maxDuration; // s, 0 or less: no limit
    int32_t maxCalls;    // 0 or less: no limit
    uint16_t proxyPort;  // with kLineProxy
    uint8_t state;       // run-time: 0 off, else on; not written by typed operations
    char extName[33];    // key: account name
    char password[68];
    char description[65];
    char serverAddr[65];
    char authName[33];    // empty: the line name
    char destination[33]; // of incoming calls; empty: as the request says
    char proxyAddr[65];   // with kLineProxy
    char uriParams[64];
    char nextLine[33]; // empty: none
    char reserved[2];  // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_ext_line_info>, "padding would break byte comparison");

void cdb_ext_line_get_full_data(const Cdb_query& query, Cdb_ext_line_info* record);
