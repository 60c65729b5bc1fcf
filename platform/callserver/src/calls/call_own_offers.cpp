// Offers that the server makes by itself within a call, for those that are to talk to somebody else.
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"
#include "calls/sdp_part.h"
#include "sip/uri_text.h"

#include <utility>

CallRequestOut Call::ownInvite(CallLeg& side, const CallLeg& shown, const SipBody& body)
{
    CallRequestOut request = requestTo(side, "INVITE");
    request.hasContact = true;
    request.headers =
        featuresFor(side, shown) + headerLine("User-Agent", kProduct) + identityLine(shown, side.dialog.peer);
    if (side.timer.isOn())
        request.headers += side.timer.offer();
    if (!body.isEmpty())
        request.body = bodyFor(side, body);
    side.inviteCseq = request.cseq;
    return request;
}

void Call::offer(int number, const SipBody& body, const CallLeg& shown, std::function<void(const CallMessage&)> onFinal)
{
    CallLeg& side = leg(number);
    // Its telephone knows one session, whoever describes it (RFC 3264 section 8).
    if (side.origin.empty())
        side.origin = originOf(side.sent.data);
    const SipBody before = side.sent;
    const CallRequestOut request = ownInvite(side, shown, body);
    noteOwnInvite(number);
    side.probe = _host.transport().send(request, [this, number, before, own = _refreshNumber,
                                                  onFinal = std::move(onFinal)](const CallMessage& response) {
        if (isParted(own, response) || !response.isFinal())
            return;
        _refreshNumber = 0;
        CallLeg& asked = leg(number);
        const int64_t now = _host.clock().steadyMs();
        if (!isOwn(response))
            asked.heardAtMs = now;
        if (response.isSuccess()) {
            asked.dialog.refreshTarget(response);
            asked.puts = {};
            asked.timer.answered(response, now);
        } else {
            asked.sent = before;
            asked.probe.reset();
            _refreshed.reset();
            if (isDialogGone(response)) {
                end(408, reasonLine(response.status, "The other side is gone"),
                    response.status == 481 ? std::optional(number) : std::nullopt);
                return;
            }
        }
        onFinal(response);
        if (!_isEnded)
            reschedule();
    });
    reschedule();
}

void Call::acknowledge(int number, const SipBody& body)
{
    CallLeg& side = leg(number);
    CallRequestOut ack = side.dialog.ack(side.inviteCseq);
    if (!body.isEmpty())
        ack.body = bodyFor(side, body);
    _host.transport().sendAck(ack, *side.probe);
    side.probe.reset();
    _refreshed.reset();
}

void Call::noteOwnInvite(int number)
{
    _refreshed = number;
    _refreshNumber = ++_requests;
    _refreshUntilMs = _host.clock().steadyMs() + kOfferMs;
}

void Call::restore(int number, const SipBody& before)
{
    if (before.isEmpty())
        return;
    CallLeg& side = leg(number);
    side.sent = bodyFor(side, before);
    side.puts = {kMaxPuts, 0};
    put(number);
}

// What the side is to have is what it got last. Another offer may be in the way (RFC 3261 section 14.1).
void Call::put(int number)
{
    CallLeg& side = leg(number);
    if (isOfferPending() || (number == kCaller && !_isAcked)) {
        side.puts.atMs = _host.clock().steadyMs() + kPutPauseMs;
        reschedule();
        return;
    }
    side.puts.atMs = 0;
    --side.puts.left;
    sendRefresh(number, true);
}

// The answer to a description that the side had already may be new to the other one.
void Call::passChange(int number, const SipBody& said)
{
    const std::optional<int> to = otherSide(number);
    if (!to || !hasSdp(said))
        return;
    const std::string wanted = _isVideoAllowed ? std::string(sdpOf(said)) : withoutVideo(sdpOf(said));
    if (withOrigin(wanted, {}) == withOrigin(sdpOf(leg(*to).sent), {}))
        _echoes = 0;
    else if (++_echoes <= kMaxEchoes)
        restore(*to, said);
}

// Telephones show by it whom they talk to now (RFC 3325).
std::string Call::identityLine(const CallLeg& shown, const SipSource& peer)
{
    if (shown.isAnonymous || shown.number.empty())
        return {};
    return headerLine("P-Asserted-Identity", nameAddr(shown.display, sipUri(shown.number, hostFor(peer))));
}
