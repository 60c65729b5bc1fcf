#include "calls/dialog.h"

#include "sip/hex_text.h"
#include "sip/uri_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <openssl/rand.h>
#include <utility>

namespace {

// RFC 3261 section 12.2.1.1: a first route without this parameter takes the place of the Request-URI.
bool isLoose(const std::string& route)
{
    const size_t end = std::min(route.find('>'), route.size());
    return route.substr(0, end).find(";lr") != std::string::npos;
}

std::string uriOf(const std::string& route)
{
    const size_t begin = route.find('<');
    const size_t end = route.find('>');
    return begin == std::string::npos || end == std::string::npos || end < begin
               ? route.substr(0, route.find(';'))
               : route.substr(begin + 1, end - begin - 1);
}

// Many at a time: the source takes as long for one.
uint64_t randomNumber()
{
    thread_local std::array<uint64_t, 64> numbers{};
    thread_local size_t left = 0;
    if (left == 0) {
        // Where there is no randomness no nonce was made either, and no call gets here.
        (void)RAND_bytes(reinterpret_cast<unsigned char*>(numbers.data()), sizeof numbers);
        left = numbers.size();
    }
    return numbers[--left];
}

} // namespace

std::string randomTag()
{
    return hexText(randomNumber());
}

CallRequestOut Dialog::common(std::string_view method) const
{
    CallRequestOut request;
    request.method = method;
    request.uri = remoteTarget;
    request.from = localParty + ";tag=" + localTag;
    request.to = remoteTag.empty() ? remoteParty : remoteParty + ";tag=" + remoteTag;
    request.callId = callId;
    request.routes = routes;
    request.contactUser = contactUser;
    request.destination = peer;
    if (!routes.empty() && !isLoose(routes.front())) {
        request.routes.erase(request.routes.begin());
        request.routes.push_back("<" + remoteTarget + ">");
        request.uri = uriOf(routes.front());
    }
    return request;
}

CallRequestOut Dialog::request(std::string_view method)
{
    CallRequestOut request = common(method);
    request.cseq = ++localCseq;
    return request;
}

CallRequestOut Dialog::ack(uint32_t inviteCseq) const
{
    CallRequestOut request = common("ACK");
    request.cseq = inviteCseq;
    return request;
}

void Dialog::refreshTarget(const CallMessage& message)
{
    if (!message.contact.empty())
        remoteTarget = message.contact;
}

void Dialog::learn(const CallMessage& response)
{
    if (response.to.tag.empty())
        return;
    remoteTag = response.to.tag;
    refreshTarget(response);
    routes.assign(response.routes.rbegin(), response.routes.rend());
}

Dialog dialogOfStray(const CallMessage& success)
{
    Dialog dialog;
    dialog.callId = success.callId;
    dialog.localTag = success.from.tag;
    dialog.localParty = nameAddr(success.from.display, success.from.uri);
    dialog.remoteParty = nameAddr(success.to.display, success.to.uri);
    dialog.remoteTarget = success.to.uri;
    dialog.localCseq = success.cseq;
    dialog.peer = success.source;
    dialog.learn(success);
    return dialog;
}

Dialog dialogOfCaller(const CallMessage& invite, std::string localTag)
{
    Dialog dialog;
    dialog.callId = invite.callId;
    dialog.localTag = std::move(localTag);
    dialog.remoteTag = invite.from.tag;
    dialog.localParty = nameAddr(invite.to.display, invite.to.uri);
    dialog.remoteParty = nameAddr(invite.from.display, invite.from.uri);
    dialog.remoteTarget = invite.contact;
    dialog.routes = invite.routes;
    dialog.remoteCseq = invite.cseq;
    dialog.peer = invite.source;
    dialog.contactUser = invite.requestUser;
    return dialog;
}
