// The record of a peer server: another SIP server that calls are trunked to and accepted from.
#pragma once

#include <cstdint>
#include <type_traits>

class Cdb_query;

constexpr uint8_t kPeerRelayMedia = 0x1; // bit of Cdb_sip_domain_data::flags; the others are kept

struct Cdb_sip_domain_data {
    Cdb_sip_domain_data() { Init(); }
    void Init();

    // Non-zero when the two differ.
    [[nodiscard]] unsigned Comp(const Cdb_sip_domain_data& other) const;

    int32_t peerPort;
    uint32_t cldRefineGroup; // 0 none
    uint32_t timeCondId;     // 0 always
    uint32_t backupSid;      // 0 none
    uint16_t transport;      // 0 UDP, 1 TCP
    uint16_t maxOutCalls;    // 0: no limit
    uint16_t maxInCalls;     // 0: no limit
    uint8_t flags;
    char description[65];
    char outCallerNbr[33]; // replaces the caller number; empty: not
    char dialPlan[33];     // of the peer's calls
    char peerAddr[65];
    char uriParams[64];
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_sip_domain_data>, "padding would break byte comparison");

// A stored peer server: the identifier is no part of the record that editors handle.
struct Cdb_peer_server : Cdb_sip_domain_data {
    uint32_t sid = 0; // key, from 1
};

void ldb_peer_server_get_full_data(const Cdb_query& query, unsigned& sid, Cdb_sip_domain_data* record);
