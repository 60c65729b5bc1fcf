#include "streams/flow_table.h"

#include <string>

namespace {

std::string keyOf(const SipSource& peer)
{
    return std::to_string(peer.transport) + ' ' + std::to_string(peer.port) + ' ' + peer.address;
}

} // namespace

void FlowTable::add(uint16_t stackPort, const SipSource& peer, const SipSource& local)
{
    const std::lock_guard guard(_mutex);
    _flows.insert_or_assign(stackPort, Flow{peer, local, false});
    _ports.insert_or_assign(keyOf(peer), stackPort);
}

void FlowTable::remove(uint16_t stackPort)
{
    const std::lock_guard guard(_mutex);
    const auto it = _flows.find(stackPort);
    if (it == _flows.end())
        return;
    // A newer connection from the same port may have taken its place.
    const auto port = _ports.find(keyOf(it->second.peer));
    if (port != _ports.end() && port->second == stackPort)
        _ports.erase(port);
    _flows.erase(it);
}

std::optional<SipSource> FlowTable::peerOf(uint16_t stackPort) const
{
    const std::lock_guard guard(_mutex);
    const auto it = _flows.find(stackPort);
    return it == _flows.end() ? std::nullopt : std::optional(it->second.peer);
}

FlowTable::Way FlowTable::wayTo(const SipSource& peer) const
{
    const std::lock_guard guard(_mutex);
    const auto it = _ports.find(keyOf(peer));
    return it == _ports.end() ? Way{} : Way{it->second, _flows.at(it->second).local};
}

void FlowTable::setKnown(const SipSource& peer)
{
    const std::lock_guard guard(_mutex);
    if (const auto it = _ports.find(keyOf(peer)); it != _ports.end())
        _flows[it->second].isKnown = true;
}

bool FlowTable::isKnown(uint16_t stackPort) const
{
    const std::lock_guard guard(_mutex);
    const auto it = _flows.find(stackPort);
    return it != _flows.end() && it->second.isKnown;
}
