// Where what is said to the sides of a call goes: to where their messages come from, or to where their telephones have
// registered since.
#include "calls/call.h"

CallRequestOut Call::requestTo(CallLeg& side, std::string_view method)
{
    followBinding(side);
    return side.dialog.request(method);
}

// Datagrams need none.
bool Call::hasWayTo(const SipSource& peer)
{
    return peer.transport == kTransportUdp || !_host.transport().localHost(peer).empty();
}

void Call::findBinding(CallLeg& side, const std::string& contact)
{
    if (!side.user.empty())
        side.binding = knownBinding(_host.contactsOf(side.user), contact, side.dialog.peer);
}

// A telephone that registers from elsewhere, or by another connection, takes its calls with it.
void Call::followBinding(CallLeg& side)
{
    const Binding* now = side.binding.uri.empty() ? nullptr : bindingNow(_host.contactsOf(side.user), side.binding);
    if (now == nullptr || isSameEnd(now->source, side.dialog.peer))
        return;
    const bool hasMoved = !isSameEnd(now->source, side.binding.source);
    if ((!hasMoved && hasWayTo(side.dialog.peer)) || !hasWayTo(now->source))
        return;
    side.binding = {now->uri.text, now->callId, now->source};
    side.dialog.peer = now->source;
}

// A router may have given it another port meanwhile. A large request may come by a connection of its own, which is soon
// gone (RFC 3261 section 18.1.1); it leaves the dialog where it was.
void Call::noteSource(CallLeg& side, const SipSource& source)
{
    followBinding(side);
    if (source.transport == side.dialog.peer.transport || !hasWayTo(side.dialog.peer))
        side.dialog.peer = source;
}
