// Which connection of a telephone belongs to which connection of the SIP stack.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <unordered_map>

// The stack sees one local connection for each telephone's; this tells whose it is. Written by the thread of the
// connections, read by the SIP thread. Any thread.
class FlowTable {
public:
    // `stackPort` is the port of 127.0.0.1 from which the stack sees the connection, `local` our end of it.
    void add(uint16_t stackPort, const SipSource& peer, const SipSource& local);
    void remove(uint16_t stackPort);

    [[nodiscard]] std::optional<SipSource> peerOf(uint16_t stackPort) const;
    struct Way {
        uint16_t stackPort = 0; // 0: there is none
        SipSource local;
    };
    // The open connection to this very peer.
    [[nodiscard]] Way wayTo(const SipSource& peer) const;

    // A user was authenticated on it: from now on it is no stranger's.
    void setKnown(const SipSource& peer);
    [[nodiscard]] bool isKnown(uint16_t stackPort) const;

private:
    struct Flow {
        SipSource peer;
        SipSource local;
        bool isKnown = false;
    };
    mutable std::mutex _mutex; // held for look-ups only
    std::unordered_map<uint16_t, Flow> _flows;
    std::unordered_map<std::string, uint16_t> _ports; // by peer
};
