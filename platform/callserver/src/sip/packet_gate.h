// What strangers send over UDP, looked at before the stack is.
#pragma once

#include "clock.h"
#include "sip/ip_list.h"
#include "sip/source_guard.h"
#include "sip/stack_sockets.h"

// Which calls are in progress.
class CallIndex {
public:
    CallIndex() = default;
    virtual ~CallIndex() = default;
    CallIndex(const CallIndex&) = delete;
    CallIndex& operator=(const CallIndex&) = delete;

    // One with this Call-ID, of which that address is a side.
    [[nodiscard]] virtual bool has(std::string_view callId, const SourceKey& source) const = 0;
};

// Drops what comes from denied addresses, what is no SIP, what comes from silenced sources, and requests without
// credentials that come too often; costs one look at the text. From allowed addresses all SIP is admitted. SIP thread.
class PacketGate final : public PacketFilter {
public:
    PacketGate(SnapshotReader<IpList>& ipList, SourceGuard& guard, const Clock& clock, const CallIndex& calls)
        : _ipList(ipList), _guard(guard), _clock(clock), _calls(calls)
    {}

    [[nodiscard]] bool admits(const sockaddr& source, std::string_view packet) override;

private:
    [[nodiscard]] IpVerdict verdictOf(const sockaddr& source);

    SnapshotReader<IpList>& _ipList;
    SourceGuard& _guard;
    const Clock& _clock;
    const CallIndex& _calls;
};

// Whether the stack may parse it: one that would take too long does not get there.
[[nodiscard]] bool isParsable(std::string_view packet);
// Whether it is a request that carries none, of those that are answered by them.
[[nodiscard]] bool lacksCredentials(std::string_view packet);
