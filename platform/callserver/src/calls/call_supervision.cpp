// What is due in a call: its limits, the refreshes of its session, and whether both sides are still there.
#include "calls/call.h"

#include "calls/call_words.h"

#include <algorithm>
#include <utility>

void Call::step()
{
    const int64_t now = _host.clock().steadyMs();
    if (_isEnded) {
        if (now < _goodbyeAtMs) {
            reschedule();
            return;
        }
        giveUpArrivals(false);
        giveUpBranches(); // whoever has not answered by now is gone
        _partings.clear();
        _owedBye.reset();
        finishIfDone();
        return;
    }
    if (_goodbyeAtMs != 0 && now >= _goodbyeAtMs) {
        _dismissed.clear();
        for (const auto& branch : _branches)
            if (_winner >= 0 && !branch->isFinal) {
                branch->isFinal = true;
                branch->invite.reset();
                _host.removeLeg(branch->leg.dialog);
            }
        _goodbyeAtMs = 0;
    }
    if (_exchange && _exchange->untilMs != 0 && now >= _exchange->untilMs)
        giveUpExchange();
    if (_referral && _referral->retryAtMs != 0 && now >= _referral->retryAtMs)
        goOnReferring();
    if (_isEnded)
        return;
    if (_refreshed && now >= _refreshUntilMs) {
        end(408, reasonLine(408, "The session was not refreshed"));
        return;
    }
    if (_ringUntilMs != 0 && now >= _ringUntilMs) {
        if (!hasArrival() && followRedirection())
            return;
        _failures.addSilence();
        fail(_failures.answer());
        return;
    }
    if (const int64_t until = talkUntilMs(); until != 0 && now >= until) {
        end(200, reasonLine(200, "The longest time of a call is over"));
        return;
    }
    if (_winner >= 0)
        for (const int side : {kCaller, _winner})
            if (!_isEnded && isSupervised(side)) {
                if (leg(side).puts.atMs != 0 && now >= leg(side).puts.atMs)
                    put(side);
                supervise(side, now);
            }
    reschedule();
}

bool Call::isSupervised(int number) const
{
    return !_isHandedOver && (number == kCaller ? _origin == nullptr && !_caller.isGone : !legAt(number)->isGone);
}

void Call::supervise(int number, int64_t now)
{
    CallLeg& side = leg(number);
    if (side.probe != nullptr)
        return;
    if (side.timer.dueMs() != 0 && now >= side.timer.dueMs()) {
        if (side.timer.isOurs())
            refresh(number);
        else
            end(408, reasonLine(408, "The session was not refreshed"));
        return;
    }
    if (now - side.heardAtMs >= kSilenceMs)
        probe(number);
}

void Call::probe(int number)
{
    CallLeg& side = leg(number);
    side.probe = _host.transport().send(requestTo(side, "OPTIONS"), [this, number](const CallMessage& response) {
        if (!response.isFinal())
            return;
        CallLeg& asked = leg(number);
        asked.probe.reset();
        asked.heardAtMs = _host.clock().steadyMs();
        // A connection that is gone may come again; once.
        const bool isUnsent = isOwn(response) && response.status != 408;
        const bool isGone = isDialogGone(response) || (isUnsent && asked.isLost);
        asked.isLost = isUnsent;
        if (isGone && !_isEnded)
            end(408, reasonLine(408, "The other side is gone"),
                response.status == 481 ? std::optional(number) : std::nullopt);
        else
            reschedule();
    });
}

void Call::refresh(int number)
{
    CallLeg& side = leg(number);
    const int64_t now = _host.clock().steadyMs();
    CallMessage peer;
    peer.allow = side.allow;
    const bool isInvite = side.allow.empty() || !peer.allows("UPDATE");
    if (isInvite && (isOfferPending() || (number == kCaller && !_isAcked))) {
        side.timer.postpone(now + kRefreshPauseMs);
        return;
    }
    _echoes = 0;
    if (isInvite)
        side.puts = {}; // it says the same
    sendRefresh(number, isInvite);
}

void Call::sendRefresh(int number, bool isInvite)
{
    CallLeg& side = leg(number);
    CallRequestOut request = requestTo(side, isInvite ? "INVITE" : "UPDATE");
    request.hasContact = true;
    request.headers = featuresFor(side, partnerOf(number)) + headerLine("User-Agent", kProduct);
    if (side.timer.isOn())
        request.headers += side.timer.offer();
    if (isInvite) {
        request.body = side.sent;
        side.inviteCseq = request.cseq;
        noteOwnInvite(number);
    }
    const uint64_t own = isInvite ? _refreshNumber : 0;
    side.probe = _host.transport().send(request, [this, number, isInvite, own](const CallMessage& response) {
        if (!isParted(own, response))
            refreshAnswered(number, isInvite, response);
    });
}

void Call::refreshAnswered(int number, bool isInvite, const CallMessage& response)
{
    if (!response.isFinal())
        return;
    CallLeg& side = leg(number);
    const int64_t now = _host.clock().steadyMs();
    if (isInvite) {
        _refreshed.reset();
        _refreshNumber = 0;
        if (response.isSuccess())
            _host.transport().sendAck(side.dialog.ack(side.inviteCseq), *side.probe);
    }
    side.probe.reset();
    if (_isEnded)
        return;
    if (response.isSuccess()) {
        side.heardAtMs = now;
        side.dialog.refreshTarget(response);
        side.timer.answered(response, now);
        if (isInvite) {
            side.puts = {};
            passChange(number, response.body);
        }
    } else if (isInvite && side.puts.left != 0 && !isDialogGone(response)) {
        side.heardAtMs = now;
        if (response.status == 491)
            side.puts.atMs = now + kPutPauseMs;
        else
            side.puts = {};
    } else if (!side.timer.isOurs() && !isDialogGone(response)) {
        side.heardAtMs = now; // the session was only put back
    } else if (!mayBeTriedAgain(response) || now >= side.timer.endMs()) {
        end(408, reasonLine(response.status, "The session was not refreshed"),
            response.status == 481 ? std::optional(number) : std::nullopt);
        return;
    } else {
        // There is time left.
        side.timer.raise(response.timer.minimum);
        side.timer.postpone(std::min(now + kRefreshPauseMs, side.timer.endMs()));
    }
    reschedule();
}

void Call::reschedule()
{
    if (_isFinished)
        return;
    int64_t next = INT64_MAX;
    const auto at = [&next](int64_t ms) {
        if (ms != 0)
            next = std::min(next, ms);
    };
    at(_goodbyeAtMs);
    if (!_isEnded) {
        at(_ringUntilMs);
        at(talkUntilMs());
        if (_exchange)
            at(_exchange->untilMs);
        if (_refreshed)
            at(_refreshUntilMs);
        if (_referral)
            at(_referral->retryAtMs);
        if (_winner >= 0)
            for (const int number : {kCaller, _winner})
                if (const CallLeg& side = leg(number); side.probe == nullptr && isSupervised(number)) {
                    at(side.puts.atMs);
                    at(side.timer.dueMs());
                    at(side.heardAtMs + kSilenceMs);
                }
    }
    if (next != INT64_MAX)
        _host.wake(*this, next);
}
