// SIP over TCP and TLS: accepts connections, bounds what they cost, and passes whole messages to the stack.
#pragma once

#include "clock.h"
#include "sip/ip_list.h"
#include "streams/flow_table.h"
#include "streams/stream_limits.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct StreamSettings {
    std::string address;  // a literal; empty: every address of the machine
    uint16_t tcpPort = 0; // 0: off
    uint16_t tlsPort = 0;
    std::vector<std::string> names; // for a certificate that has to be made

    friend bool operator==(const StreamSettings&, const StreamSettings&) = default;
};

// Has a thread of its own: TLS costs time, and connections of strangers shall cost the SIP thread nothing before they
// have said something whole. Never destroyed once run() was called.
class StreamServer {
public:
    // `folder`: of certificate and key, with a separator at its end.
    StreamServer(const Clock& clock, std::string folder, const StreamLimits& limits = {});
    ~StreamServer();
    StreamServer(const StreamServer&) = delete;
    StreamServer& operator=(const StreamServer&) = delete;

    // The body of the thread. Does not return.
    void run();

    // Where the stack listens on 127.0.0.1; connections before that are closed. Any thread.
    void setStackPort(uint16_t port);
    // Serves this from now on and says in the log what became of it. What cannot be had leaves what was served before,
    // and is tried again every few seconds; open connections stay. Any thread.
    void serve(StreamSettings settings);
    // Ends all connections of the address (a literal) and refuses new ones until then (Clock::steadyMs()). Any thread.
    // Addresses that are allowed are not shut out.
    void shutOut(const std::string& address, int64_t untilMs);
    // Ends all connections of the addresses that it denies, and refuses new ones. Any thread.
    void setIpList(std::shared_ptr<const IpList> list);

    // Any thread.
    [[nodiscard]] FlowTable& flows();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
