// Who is at which end of a call: legs that move to another call, or make room for another telephone.
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"

#include <algorithm>
#include <utility>

void Call::handOver(int number, Call& to, int place)
{
    CallLeg& side = leg(number);
    if (number == _winner)
        takeCallAlong(side);
    to._isVideoAllowed = to._isVideoAllowed && _isVideoAllowed;
    forget(number);
    CallLeg& taken = to.leg(place);
    taken = std::move(side);
    to.shareOf(place) = std::move(shareOf(number));
    _host.moveLeg(taken.dialog, to, place);
    side = {};
    side.isGone = true;
    to.countPayers();
}

void Call::vacate(int place, std::string_view headers)
{
    CallLeg& side = leg(place);
    forget(place);
    if (!side.isGone)
        sendBye(side, headers);
    _host.removeLeg(side.dialog);
    endRecords(side, 200);
}

// A telephone that is in a call already wants the place of one of its sides: its user takes the call with another one
// of his (RFC 3891).
void Call::onReplace(int place, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction)
{
    if (_winner < 0 && !_isEnded) {
        pickUp(place, invite, std::move(transaction));
        return;
    }
    const std::optional<int> with = otherSide(place);
    const bool isEarlyWanted = invite.replaces && invite.replaces->isEarlyOnly;
    if (!isSettled() || !with || isOfferPending()) {
        transaction->answer({_winner >= 0 ? 491 : 481});
        return;
    }
    if (isEarlyWanted) {
        transaction->answer({486});
        return;
    }
    addArrival(place, invite, *transaction).isFinal = true;
    Exchange exchange;
    exchange.from = static_cast<int>(_branches.size()) - 1;
    exchange.to = *with;
    exchange.place = place;
    exchange.request = invite;
    exchange.isInvite = true;
    CallLeg& other = leg(*with);
    if (other.origin.empty())
        other.origin = originOf(other.sent.data);
    transaction->answer({100});
    passOffer(std::move(exchange), std::move(transaction));
    reschedule();
}

// A telephone that comes by itself, for the same user and with the same number as the one at that place.
Call::Branch& Call::addArrival(int place, const CallMessage& invite, ServerTransaction& transaction)
{
    Branch& branch = *_branches.emplace_back(std::make_unique<Branch>());
    CallLeg& late = branch.leg;
    const CallLeg& there = leg(place);
    late.dialog = dialogOfCaller(invite, randomTag());
    late.user = there.user;
    late.number = there.number;
    late.display = there.display;
    late.isAnonymous = there.isAnonymous;
    late.allow = invite.allow;
    late.isTimerSupported = invite.isTimerSupported;
    late.heardAtMs = _host.clock().steadyMs();
    findBinding(late, invite.contact);
    transaction.setTag(late.dialog.localTag);
    _host.addLeg(late.dialog, *this, static_cast<int>(_branches.size()) - 1);
    return branch;
}

// The one that came for it has got it.
void Call::movePlace(int from, int place)
{
    CallLeg& late = leg(from);
    CallLeg& side = leg(place);
    // It is still the same user's call.
    late.records = std::exchange(side.records, {});
    late.payers = std::exchange(side.payers, {});
    late.untilMs = side.untilMs;
    if (!side.isGone)
        sendBye(side, reasonLine(200, "Call completed elsewhere"));
    _host.removeLeg(side.dialog);
    side = std::move(late);
    _host.moveLeg(leg(place).dialog, *this, place);
    late = {};
    late.isGone = true;
    if (static_cast<size_t>(from) + 1 == _branches.size())
        _branches.pop_back();
}
