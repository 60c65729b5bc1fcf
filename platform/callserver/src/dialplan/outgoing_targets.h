// The external lines and trunks that a call is tried on, in their order.
#pragma once

#include "dialplan/analysis.h"

#include <cstdint>
#include <set>
#include <string>

// Lives for one call; adds targets to its answer. Each line and each peer server is tried once.
class OutgoingTargets {
public:
    explicit OutgoingTargets(Analysis& analysis) : _analysis(analysis) {}

    // The line, then its next lines. An empty name: the first line by name that is on and free.
    void addLine(const std::string& name);
    // The peer server, then its backups.
    void addPeer(uint32_t peerId);
    // The routes of a routing group.
    void addGroup(uint32_t groupId);

private:
    // Why the line takes no call now, empty when it does. An emergency call finds no line full when it `mayPush`
    // others.
    std::string whyNot(const Cdb_ext_line_info& line, bool mayPush);
    std::string whyNot(const Cdb_peer_server& peer);
    std::string firstFreeLine();
    void addTarget(const Cdb_ext_line_info& line);
    void addTarget(const Cdb_peer_server& peer);

    Analysis& _analysis;
    std::set<std::string> _triedLines;
    std::set<uint32_t> _triedPeers;
};
