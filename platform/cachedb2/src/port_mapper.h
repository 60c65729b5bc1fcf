// Port mappings on the UPnP router of the local network (AddPortMapping and DeletePortMapping of WANIPConnection:1).
#pragma once

#include "bcl2/background.h"

#include <cstdint>
#include <set>
#include <string>
#include <tuple>

struct Cdb_sys_data;

struct MappedPort {
    bool isMedia; // signalling is mapped first
    uint16_t port;
    bool isTcp;
    bool operator==(const MappedPort&) const = default;
    bool operator<(const MappedPort& other) const
    {
        return std::tie(isMedia, port, isTcp) < std::tie(other.isMedia, other.port, other.isTcp);
    }
};
using MappedPorts = std::set<MappedPort>;

// What a router is to map for these settings; nothing when they say so. At most kMaxMediaPorts of the media ports, from
// the first one on.
[[nodiscard]] MappedPorts portsToMap(const Cdb_sys_data& settings);

// A small router's table is full at some hundred mappings, and each costs it a request: enough for 256 media streams.
constexpr unsigned kMaxMediaPorts = 512;

// The work of a Cbcl_latest thread: from each request on exactly its ports are mapped, and mapped again before their
// lease ends. What came of it is in the log.
class PortMapper {
public:
    // `discoverySocket`: of a minissdpd that knows the routers; empty: the system's, else a search in the network.
    explicit PortMapper(std::string discoverySocket) : _discoverySocket(std::move(discoverySocket)) {}

    unsigned work(const MappedPorts* request, const std::function<bool()>& isStale);

private:
    std::string _discoverySocket;
    MappedPorts _wanted;
    MappedPorts _mapped;
};
