// Transfers: a side has the other one talk to somebody else (RFC 3515, RFC 5589). The server carries them out by
// itself: the side that is transferred hears of them as offers within its call.
#include "calls/call.h"

#include "calls/call_words.h"
#include "sip/uri_text.h"

#include <algorithm>
#include <strings.h>
#include <utility>

// Both sides talk, and nobody is about to leave or to be replaced.
bool Call::isSettled() const
{
    return !(_exchange && _exchange->place) && !_isEnded && _winner >= 0 && _isAcked && _origin == nullptr &&
           !_isHandedOver && !_referral && _joiner == nullptr;
}

CallAnswer Call::referRefusal(int from, const CallMessage& request) const
{
    const auto user = _host.findUser(legAt(from)->user);
    if (user == nullptr || !user->hasFlag(kUsrTransfer))
        return {403};
    const bool isCall = request.referTo && request.referTo->isReadable &&
                        (request.referTo->method.empty() || strcasecmp(request.referTo->method.c_str(), "INVITE") == 0);
    if (!isCall || (request.referTo->user.empty() && !request.referTo->replaces))
        return {400, "Bad Refer-To"};
    if (!isSettled() || !otherSide(from))
        return {491};
    return {};
}

void Call::onRefer(int from, const CallMessage& request, ServerTransaction& transaction)
{
    if (CallAnswer refusal = referRefusal(from, request); refusal.status != 0) {
        refusal.headers = headerLine("Server", kProduct);
        transaction.answer(refusal);
        return;
    }
    CallLeg& side = leg(from);
    CallAnswer accepted{202};
    accepted.headers = headerLine("Server", kProduct);
    if (request.isReferSilent)
        accepted.headers += headerLine("Refer-Sub", "false");
    accepted.hasContact = true;
    accepted.contactUser = side.dialog.contactUser;
    transaction.answer(accepted);
    _referral.emplace();
    _referral->serial = ++_referrals;
    _referral->by = from;
    _referral->other = *otherSide(from);
    _referral->event = referEvent(++side.referrals == 1, request.cseq);
    _referral->isSilent = request.isReferSilent;
    _referral->subscribe(Referral::kExpires, _host.clock().steadyMs());
    notify({100});
    const ReferTo& target = *request.referTo;
    if (target.replaces)
        joinReferred(*target.replaces);
    else
        dialReferred(target.user);
}

// Its side may end being told, or ask to be told again (RFC 3515 section 2.4.4).
void Call::onSubscribe(int from, const CallMessage& request, ServerTransaction& transaction)
{
    if (!request.event || strcasecmp(request.event->type.c_str(), "refer") != 0) {
        transaction.answer({489, {}, headerLine("Allow-Events", "refer")});
        return;
    }
    const bool isOfIt = _referral && _referral->by == from && !_referral->isSilent &&
                        (request.event->id.empty() || _referral->event == "refer;id=" + request.event->id);
    if (!isOfIt) {
        transaction.answer({481});
        return;
    }
    const uint32_t expires = std::min(request.expires.value_or(Referral::kExpires), Referral::kExpires);
    CallAnswer done{200, {}, headerLine("Expires", std::to_string(expires))};
    done.hasContact = true;
    done.contactUser = leg(from).dialog.contactUser;
    transaction.answer(done);
    _referral->subscribe(expires, _host.clock().steadyMs());
    notify(_referral->state);
    _referral->isSilent = expires == 0;
}

void Call::notify(const CallAnswer& state)
{
    _referral->state = state;
    if (_referral->isSilent)
        return;
    const uint32_t left = _referral->secondsLeft(_host.clock().steadyMs());
    CallRequestOut request = requestTo(leg(_referral->by), "NOTIFY");
    request.hasContact = true;
    request.headers = notifyHeaders(_referral->event, state.status >= 200, left) + headerLine("User-Agent", kProduct);
    _referral->isSilent = left == 0;
    request.body = notifyBody(state);
    _lastNotify = _host.transport().send(request, [this](const CallMessage& response) {
        // Now that it knows, it is told good-bye, unless it has said so itself.
        if (response.isFinal() && _isHandedOver && !_isEnded)
            end(200, reasonLine(200, "Transferred"));
    });
}

// The new side is called as if the one who asks had dialed it.
void Call::dialReferred(const std::string& number)
{
    const CallLeg& by = leg(_referral->by);
    const CallLeg& other = leg(_referral->other);
    CallMessage invite;
    invite.method = SipMethod::Invite;
    invite.methodName = "INVITE";
    invite.source = other.dialog.peer;
    invite.requestUser = number;
    invite.from.user = other.number;
    invite.callId = other.dialog.callId;
    invite.allow = other.allow;
    if (!by.isAnonymous)
        invite.passed = headerLine("Referred-By", "<" + sipUri(by.number, hostFor(other.dialog.peer)) + ">");
    DialAnswer answer = _host.analyzeFor(by.user, number, *this, OneCallLess(_host.users(), shareOf(_referral->by)));
    showAs(answer, other);
    Call& attempt = _host.add(std::make_unique<Call>(_host, _host.log().nextCall(), *this, invite,
                                                     CallSource{SourceKind::User, by.user}, std::move(answer)));
    // It may have come to nothing when this returns.
    attempt.begin();
}

// The new side is in another call with the one who asks, and stays in it.
void Call::joinReferred(const ReplacedDialog& wanted)
{
    int place = kCaller;
    Call* const found = _host.findLeg(wanted, place);
    const bool isOwn = found != nullptr && found != this && found->leg(place).user == leg(_referral->by).user;
    const bool isReady = isOwn && found->isSettled() && found->otherSide(place);
    if (!isReady && (!isOwn || !found->mayBeAwaited(place))) {
        failReferral(isOwn && found->_winner >= 0 ? 491 : 481);
        return;
    }
    if (wanted.isEarlyOnly) {
        failReferral(486);
        return;
    }
    found->_joiner = this;
    _referral->joined = found;
    _referral->place = place;
    goOnReferring();
}

// It is joined when somebody has answered it, not before: what he agrees to is an answer to this caller's offer.
bool Call::mayBeAwaited(int place) const
{
    return place == kCaller && !_isEnded && !_isAcked && _transaction != nullptr && _invite.body.isSdp() &&
           _joiner == nullptr && !hasArrival();
}

void Call::leaveToJoiner()
{
    _transaction->answer({487});
    _transaction.reset();
    // Nobody else does.
    for (size_t i = 0; i < _branches.size(); ++i)
        for (const ReliableAnswer& open : std::exchange(_branches[i]->rseqs, {})) {
            (void)listenTo(i, open.tag);
            confirmProgress(i, open.rseq);
        }
    leaveReferring(kCaller);
}

void Call::confirmProgress(size_t index, uint32_t rseq)
{
    CallLeg& side = _branches[index]->leg;
    CallRequestOut prack = requestTo(side, "PRACK");
    prack.headers = headerLine("RAck", std::to_string(rseq) + " " + std::to_string(side.inviteCseq) + " INVITE");
    // The stack repeats it until it is answered.
    (void)_host.transport().send(prack, [](const CallMessage&) {});
}

void Call::attemptRings(const CallMessage& response)
{
    if (response.status != _referral->state.status)
        notify({response.status, response.phrase});
}

void Call::attemptAnswered(const SipBody& offer)
{
    _referral->offer = offer;
    if (offer.isEmpty())
        failReferral(488);
    else
        goOnReferring();
}

void Call::attemptEnded(int status)
{
    _referral->attempt = nullptr;
    failReferral(status < 300 ? 487 : status);
}

// Somebody has answered: the other side is asked to talk to him.
void Call::goOnReferring()
{
    _referral->retryAtMs = 0;
    if (_referral->joined != nullptr && !_referral->joined->isJoinable())
        return;
    if (isOfferPending() || (_referral->joined != nullptr && _referral->joined->isOfferPending()))
        retryReferring();
    else
        offerOther(_referral->offer);
}

void Call::retryReferring()
{
    if (++_referral->offers > Referral::kMaxOffers) {
        failReferral(491);
        return;
    }
    _referral->retryAtMs = _host.clock().steadyMs() + Referral::kOfferRetryMs;
    reschedule();
}

void Call::offerOther(const SipBody& body)
{
    const Referral& referral = *_referral;
    const int other = referral.other;
    const CallLeg& shown = referral.joined == nullptr
                               ? referral.attempt->leg(referral.attempt->_winner)
                               : referral.joined->leg(*referral.joined->otherSide(referral.place));
    offer(other, body, shown,
          [this, other, serial = referral.serial, isLate = body.isEmpty(), before = leg(other).sent](
              const CallMessage& response) { onOtherAnswer(other, serial, isLate, before, response); });
}

void Call::onOtherAnswer(int other, unsigned serial, bool isLate, const SipBody& before, const CallMessage& response)
{
    // The transfer may have come to nothing meanwhile.
    const bool isWanted = _referral && _referral->serial == serial;
    if (!response.isSuccess()) {
        if (isWanted && response.status == 491)
            retryReferring();
        else if (isWanted)
            failReferral(response.status);
        return;
    }
    if (isLate && isWanted && !response.body.isEmpty()) {
        _referral->isAnswerOwed = true;
        _referral->before = before;
        // Its sides may have begun something meanwhile.
        if (_referral->joined->isOfferPending()) {
            giveOwedAnswer(before);
            retryReferring();
        } else {
            _referral->joined->offerPlace(response.body);
        }
        return;
    }
    acknowledge(other, isLate ? before : SipBody{});
    if (isWanted && !response.body.isEmpty()) {
        Call& attempt = *std::exchange(_referral->attempt, nullptr);
        handOver(other, attempt, kCaller);
        attempt.completeFor(response.body);
        finishReferral();
        return;
    }
    if (!isLate)
        restore(other, before);
    if (isWanted)
        failReferral(488);
}

// The side in the other call is asked to talk to the one that comes into it.
void Call::offerPlace(const SipBody& body)
{
    const Referral& referral = *_joiner->_referral;
    const int with = *otherSide(referral.place);
    offer(with, body, _joiner->leg(referral.other),
          [this, with, joiner = _joiner->number(), serial = referral.serial,
           before = leg(with).sent](const CallMessage& response) {
              const bool isWanted =
                  _joiner != nullptr && _joiner->number() == joiner && _joiner->_referral->serial == serial;
              onPlaceAnswer(with, isWanted, before, response);
          });
}

void Call::onPlaceAnswer(int with, bool isWanted, const SipBody& before, const CallMessage& response)
{
    if (!response.isSuccess()) {
        if (isWanted && response.status == 491) {
            _joiner->giveOwedAnswer(_joiner->_referral->before);
            _joiner->retryReferring();
        } else if (isWanted) {
            _joiner->failReferral(response.status);
        }
        return;
    }
    acknowledge(with, {});
    if (isWanted && !response.body.isEmpty()) {
        std::exchange(_joiner, nullptr)->completeJoin(response.body);
        return;
    }
    restore(with, before);
    if (isWanted)
        _joiner->failReferral(488);
}

void Call::completeJoin(const SipBody& answer)
{
    giveOwedAnswer(answer);
    Call& to = *std::exchange(_referral->joined, nullptr);
    const int place = _referral->place;
    to.vacate(place, reasonLine(200, "Transferred"));
    handOver(_referral->other, to, place);
    to.reschedule();
    finishReferral();
}

void Call::giveOwedAnswer(const SipBody& body)
{
    if (std::exchange(_referral->isAnswerOwed, false))
        acknowledge(_referral->other, body);
}

// A call that was made for a transfer has its caller now.
void Call::completeFor(const SipBody& answer)
{
    _origin = nullptr;
    _isAcked = true;
    _initialOffer.reset();
    confirm(*_branches[static_cast<size_t>(_winner)], answer);
    reschedule();
}

void Call::finishReferral()
{
    _isHandedOver = true;
    shareOf(_referral->by).end();
    _payers.clear();
    const bool isHeard = !_referral->isSilent && !leg(_referral->by).isGone;
    notify({200});
    _referral.reset();
    if (!isHeard)
        end(200, reasonLine(200, "Transferred"));
}

// All is as it was before. Who asked and left meanwhile has left.
void Call::failReferral(int status)
{
    giveOwedAnswer(_referral->before);
    notify({status});
    const bool hasLeft = leg(_referral->by).isGone;
    abandonReferral();
    if (hasLeft)
        end(200, reasonLine(status, "Not transferred"));
    else
        reschedule();
}

// Nothing is awaited for it any more.
void Call::abandonReferral()
{
    if (_joiner != nullptr)
        std::exchange(_joiner, nullptr)->placeEnded(481);
    if (!_referral)
        return;
    giveOwedAnswer(_referral->before);
    if (_isEnded && _referral->state.status < 200)
        notify({487});
    const Referral over = *_referral;
    _referral.reset();
    if (over.attempt != nullptr) {
        over.attempt->_origin = nullptr;
        over.attempt->_caller.isGone = true;
        over.attempt->release(487, "Not transferred");
    }
    if (over.joined != nullptr) {
        over.joined->_joiner = nullptr;
        if (over.joined->leg(over.place).isGone)
            over.joined->end(over.joined->_winner >= 0 ? 200 : 487, {});
    }
}

// The call whose side was to talk to ours is over.
void Call::placeEnded(int status)
{
    _referral->joined = nullptr;
    failReferral(status);
}

void Call::leaveReferring(int number)
{
    CallLeg& side = leg(number);
    side.isGone = true;
    _host.removeLeg(side.dialog);
    // Who takes the call from it is the same user.
    if (!_exchange || _exchange->place != number) {
        shareOf(number).end();
        // For the call to a new side he pays already.
        if (!_referral || _referral->attempt == nullptr)
            countPayers();
    }
    forget(number);
}
