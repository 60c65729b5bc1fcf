// What the administrator says of the addresses that packets and connections come from.
#pragma once

#include "sip/ip_address.h"

#include "cachedb2/access_lists.h"
#include "cachedb2/snapshot.h"

#include <cstdint>
#include <string>
#include <vector>

enum class IpVerdict : uint8_t {
    None,  // served and watched
    Deny,  // not heard
    Allow, // heard however often it fails, and as often as it likes
};

// One version of the list, laid out for being asked for every packet: addresses in ascending ranges. Of the networks
// that an address is in the smallest counts; of two entries for the same network, the one that denies. Never changes.
// Any thread.
class IpList {
public:
    IpList() = default;
    explicit IpList(const Snapshot<Cdb_ip_bwlist>& entries);

    [[nodiscard]] IpVerdict of(const IpAddress& address) const;
    [[nodiscard]] bool isEmpty() const { return _ranges.empty(); }
    // Entries that are neither address nor network, in ascending order. They fit nothing.
    [[nodiscard]] const std::vector<std::string>& unreadable() const { return _unreadable; }

private:
    // To where the next one begins.
    struct Range {
        IpAddress first;
        IpVerdict verdict;
    };
    void begin(const IpAddress& first, IpVerdict verdict);

    std::vector<Range> _ranges;
    std::vector<std::string> _unreadable;
};
