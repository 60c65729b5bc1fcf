// Calls that ring at one telephone of a user and are taken with another one of his (RFC 3891 section 3).
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"

#include <algorithm>
#include <utility>

// A dialog that the server has begun, while the caller's offer has no answer yet: it is for the new telephone.
bool Call::mayBePickedUp(int place) const
{
    if (place == kCaller || _transaction == nullptr || _transaction->isAnswered() || _exchange || _joiner != nullptr)
        return false;
    const Branch& branch = *_branches[static_cast<size_t>(place)];
    return !branch.isFinal && !branch.isArrived && !branch.leg.dialog.remoteTag.empty() && _invite.body.isSdp() &&
           _caller.sent.isEmpty();
}

bool Call::hasArrival() const
{
    return std::any_of(_branches.begin(), _branches.end(),
                       [](const auto& branch) { return branch->isArrived && !branch->isFinal; });
}

Call::Branch* Call::arrivalOf(const ServerTransaction& invite) const
{
    for (const auto* all : {&_branches, &_dismissed})
        for (const auto& branch : *all)
            if (branch->arrival.get() == &invite)
                return branch.get();
    return nullptr;
}

// Two offers stand against each other: that of the caller, and that of the telephone that comes. The latter is answered
// without media, and gets the caller's once it has confirmed that (RFC 3725 section 4.3). The others ring until it has
// agreed.
void Call::pickUp(int place, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction)
{
    if (!mayBePickedUp(place) || !invite.body.isSdp()) {
        transaction->answer({481});
        return;
    }
    if (hasArrival()) {
        transaction->answer({491});
        return;
    }
    Branch& branch = addArrival(place, invite, *transaction);
    CallLeg& late = branch.leg;
    branch.isArrived = true;
    late.sent = {"application/sdp", {}, heldAnswer(invite.body.data, originOf(_invite.body.data))};
    late.origin = originOf(late.sent.data);
    CallAnswer answer{200};
    answer.headers = featuresFor(late, _caller) + headerLine("Server", kProduct);
    if (hasTimers())
        answer.headers += late.timer.accept(invite, _host.clock().steadyMs());
    answer.hasContact = true;
    answer.contactUser = late.dialog.contactUser;
    answer.body = late.sent;
    transaction->setListener(this);
    branch.arrival = std::move(transaction);
    branch.arrival->answer({100});
    branch.arrival->answer(answer);
}

void Call::onArrivalConfirmed(Branch& branch, bool isConfirmed)
{
    branch.arrival.reset();
    if (branch.isFinal) {
        sendBye(branch.leg, branch.goodbye);
        std::erase_if(_dismissed, [&branch](const auto& one) { return one.get() == &branch; });
        finishIfDone();
        return;
    }
    const auto it =
        std::find_if(_branches.begin(), _branches.end(), [&branch](const auto& one) { return one.get() == &branch; });
    const auto index = static_cast<size_t>(it - _branches.begin());
    if (isConfirmed) {
        inviteArrived(index);
    } else {
        leaveArrived(index, false);
    }
}

void Call::inviteArrived(size_t index)
{
    Branch& branch = *_branches[index];
    CallLeg& late = branch.leg;
    late.heardAtMs = _host.clock().steadyMs();
    branch.invite = _host.transport().send(ownInvite(late, _caller, _invite.body), answersOf(index));
}

void Call::onArrivedAnswer(size_t index, const CallMessage& response)
{
    if (!response.isFinal())
        return;
    Branch& branch = *_branches[index];
    if (response.isSuccess() && !response.body.isEmpty()) {
        branch.isFinal = true;
        branch.leg.heardAtMs = _host.clock().steadyMs();
        onSuccess(index, response);
        return;
    }
    if (response.isSuccess())
        confirm(branch, {});
    leaveArrived(index, response.status == 481);
}

// Nobody will hear whether they have confirmed what they got.
void Call::giveUpArrivals(bool isUdpOnly)
{
    for (const auto* all : {&_branches, &_dismissed})
        for (const auto& branch : *all)
            if (!isUdpOnly || branch->leg.dialog.peer.transport == kTransportUdp)
                branch->arrival.reset();
}

void Call::dismissArrived(Branch& branch, std::string_view headers, bool isGone)
{
    branch.isFinal = true;
    branch.invite.reset();
    _host.removeLeg(branch.leg.dialog);
    branch.leg.isGone = true;
    if (isGone)
        branch.arrival.reset();
    else if (branch.arrival != nullptr)
        branch.goodbye = headers; // RFC 3261 section 15: not before its ACK
    else
        sendBye(branch.leg, headers);
}

// It does not take the call: all is as it was before it came.
void Call::leaveArrived(size_t index, bool isGone)
{
    Branch& branch = *_branches[index];
    if (!branch.isFinal)
        dismissArrived(branch, {}, isGone);
    if (index + 1 == _branches.size() && branch.arrival == nullptr)
        _branches.pop_back();
    const bool isAll = std::all_of(_branches.begin(), _branches.end(), [](const auto& one) { return one->isFinal; });
    if (!_isEnded && _winner < 0 && isAll && !followRedirection())
        fail(_failures.answer());
    finishIfDone();
}
