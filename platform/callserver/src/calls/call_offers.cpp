// What the sides of a call say within it: offers, refreshes, texts, good-bye.
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"

#include <algorithm>
#include <cstddef>
#include <utility>

void Call::onRequest(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    if (from != kCaller)
        (void)listenTo(static_cast<size_t>(from), request.from.tag);
    CallLeg& side = leg(from);
    side.heardAtMs = _host.clock().steadyMs();
    side.isLost = false;
    side.dialog.remoteCseq = request.cseq;
    noteSource(side, request.source);
    switch (request.method) {
    case SipMethod::Bye:
        onBye(from, request, *transaction);
        break;
    case SipMethod::Invite:
        onOffer(from, request, std::move(transaction));
        break;
    case SipMethod::Update:
        if (request.body.isEmpty())
            acceptRefresh(from, request, *transaction);
        else
            onOffer(from, request, std::move(transaction));
        break;
    case SipMethod::Options: {
        CallAnswer answer{200};
        answer.headers = featuresFor(side, partnerOf(from)) + headerLine("Server", kProduct) +
                         headerLine("Accept", "application/sdp");
        transaction->answer(answer);
        break;
    }
    case SipMethod::Message:
        if (!mayWrite(side) || !mayWrite(partnerOf(from))) {
            transaction->answer({403});
            break;
        }
        [[fallthrough]];
    case SipMethod::Info:
        pass(from, request, std::move(transaction));
        break;
    case SipMethod::Refer:
        onRefer(from, request, *transaction);
        break;
    case SipMethod::Subscribe:
        onSubscribe(from, request, *transaction);
        break;
    default:
        transaction->answer({481}); // a PRACK for an answer that nobody gave, a NOTIFY of nothing
    }
    reschedule();
}

void Call::onBye(int from, const CallMessage& bye, ServerTransaction& transaction)
{
    CallAnswer done{200};
    done.headers = headerLine("Server", kProduct);
    transaction.answer(done);
    if (_exchange && _exchange->place && _exchange->from == from) {
        if (!_exchange->server->isAnswered())
            _exchange->server->answer({487});
        cancelExchange({});
        return;
    }
    if (from != kCaller && from != _winner) {
        leave(static_cast<size_t>(from));
        return;
    }
    if (_winner >= 0) {
        // Who has asked for a transfer, or is to be replaced, may leave before it is done.
        const bool isReplaced =
            (_joiner != nullptr && _joiner->_referral->place == from) || (_exchange && _exchange->place == from);
        if ((_referral && _referral->by == from) || isReplaced)
            leaveReferring(from);
        else
            end(200, bye.passed, from);
        return;
    }
    // A caller may leave a dialog that is not confirmed yet (RFC 3261 section 15).
    if (_joiner != nullptr)
        leaveToJoiner();
    else
        fail({487});
}

// A telephone hung up before its answer got here; the others ring on.
void Call::leave(size_t index)
{
    Branch& branch = *_branches[index];
    if (branch.isArrived) {
        leaveArrived(index, true);
        return;
    }
    if (std::exchange(branch.isFinal, true))
        return;
    CallMessage gone;
    gone.status = 480;
    onFailure(index, gone);
}

std::optional<int> Call::openOffer() const
{
    if (_exchange)
        return _exchange->isGiven() ? _exchange->to : _exchange->from;
    const std::optional<int> relayed = relayedOffer();
    return relayed ? relayed : _initialOffer;
}

std::optional<int> Call::relayedOffer() const
{
    const auto it = std::find_if(_relays.begin(), _relays.end(), [](const auto& one) { return one->before; });
    return it == _relays.end() ? std::nullopt : std::optional((*it)->from);
}

// RFC 3261 section 14.2, RFC 3311 section 5.2: 500 on top of the own INVITE or offer, 491 against those of the other
// side, which had to pass here.
int Call::refusalOfOffer(int from, bool isInvite) const
{
    constexpr int kLater = 500;
    constexpr int kPending = 491;
    const bool isOther = _exchange ? _exchange->isInvite && _exchange->from != from : from != kCaller && !_isAcked;
    if (isInvite && (isOther || _winner < 0))
        return isOther ? kPending : kLater;
    if (const std::optional<int> offerer = openOffer(); offerer)
        return offerer == from ? kLater : kPending;
    return isOfferPending() || !otherSide(from) ? kPending : 0;
}

void Call::onOffer(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    const bool isInvite = request.method == SipMethod::Invite;
    const std::optional<int> to = otherSide(from);
    if (const int refusal = refusalOfOffer(from, isInvite); refusal != 0) {
        const bool isLater = refusal == 500;
        transaction->answer(
            {refusal, {}, isLater ? headerLine("Retry-After", std::to_string(kRetryAfter)) : std::string()});
        return;
    }
    if (keepsTime(leg(from)) && LegTimer::isTooShort(request)) {
        transaction->answer({422, {}, headerLine("Min-SE", std::to_string(LegTimer::kMinimum))});
        return;
    }
    CallMessage peer;
    peer.allow = leg(*to).allow;
    if (!isInvite && !peer.allows("UPDATE")) {
        transaction->answer({405, {}, headerLine("Allow", allowFor(leg(from), leg(*to)))});
        return;
    }
    leg(from).dialog.refreshTarget(request);
    Exchange exchange;
    exchange.from = from;
    exchange.to = *to;
    exchange.request = request;
    exchange.isInvite = isInvite;
    passOffer(std::move(exchange), std::move(transaction));
}

void Call::passOffer(Exchange&& exchange, std::unique_ptr<ServerTransaction> transaction)
{
    transaction->setListener(this);
    exchange.before = leg(exchange.to).sent;
    exchange.server = std::move(transaction);
    exchange.untilMs = _host.clock().steadyMs() + kOfferMs;
    exchange.isLateOffer = exchange.isInvite && exchange.request.body.isEmpty();
    _exchange.emplace(std::move(exchange));
    sendOffer();
}

void Call::sendOffer()
{
    const CallMessage& request = _exchange->request;
    CallLeg& other = leg(_exchange->to);
    CallRequestOut passed = requestTo(other, request.methodName);
    passed.hasContact = true;
    passed.headers = passedHeaders(_exchange->from, request) + featuresFor(other, leg(_exchange->from)) +
                     headerLine("User-Agent", kProduct);
    if (other.isTimerSupported && other.timer.isOn())
        passed.headers += other.timer.offer();
    passed.body = bodyFor(other, request.body);
    if (_exchange->isInvite)
        other.inviteCseq = passed.cseq;
    _exchange->number = ++_requests;
    _exchange->client = _host.transport().send(passed, [this, number = _exchange->number](const CallMessage& response) {
        if (!isParted(number, response))
            onOfferAnswer(response);
    });
}

void Call::cancelExchange(const std::string& headers)
{
    _exchange->isCancelled = true;
    // A success that is under way has to be confirmed (RFC 3261 section 9.1).
    if (_exchange->untilMs != 0)
        _exchange->untilMs = std::max(_exchange->untilMs, _host.clock().steadyMs() + kGoodbyeMs);
    if (_exchange->client != nullptr && _exchange->isInvite)
        _exchange->client->cancel(headers);
}

// Whoever was to get a place by it does not; whoever has left it meanwhile has left the call.
void Call::closeExchange()
{
    if (!_exchange)
        return;
    const std::optional<int> place = _exchange->place;
    const int late = _exchange->from;
    partFromExchange();
    _exchange.reset();
    if (!place)
        return;
    _host.removeLeg(leg(late).dialog);
    leg(late).isGone = true;
    if (static_cast<size_t>(late) + 1 == _branches.size() && late != _winner)
        _branches.pop_back();
    if (leg(*place).isGone && !_isEnded)
        end(200, {});
}

// Its transaction confirms a refusal, and takes care of a success.
void Call::part(uint64_t request, const CallLeg& side, std::unique_ptr<ClientTransaction> client)
{
    if (client != nullptr)
        _partings.push_back({request, side.dialog.ack(side.inviteCseq), std::move(client)});
}

void Call::partFromExchange()
{
    if (_exchange && _exchange->isInvite && !_exchange->isFinal)
        part(_exchange->number, leg(_exchange->to), std::move(_exchange->client));
}

void Call::dropProbe(int number)
{
    CallLeg& side = leg(number);
    if (_refreshed == number) {
        if (_refreshNumber != 0)
            part(std::exchange(_refreshNumber, 0), side, std::move(side.probe));
        _refreshed.reset();
    }
    side.probe.reset();
}

bool Call::isParted(uint64_t request, const CallMessage& response)
{
    const auto it = std::find_if(_partings.begin(), _partings.end(),
                                 [request](const Parting& one) { return one.number == request; });
    if (it == _partings.end())
        return false;
    if (response.isFinal()) {
        const Parting done = std::move(*it);
        _partings.erase(it);
        if (response.isSuccess())
            _host.transport().sendAck(done.ack, *done.client);
        finishIfDone();
    }
    return true;
}

void Call::forget(int number)
{
    for (size_t i = 0; i < _relays.size();) {
        if (_relays[i]->from != number && _relays[i]->to != number) {
            ++i;
            continue;
        }
        // Who stays would take 481 for the end of his own dialog (RFC 3261 section 12.2.1.2).
        _relays[i]->server->answer({_relays[i]->from == number ? 481 : 480});
        _relays.erase(_relays.begin() + static_cast<std::ptrdiff_t>(i));
    }
    dropProbe(number);
    if (!_exchange || (_exchange->from != number && _exchange->to != number))
        return;
    const bool isAnswered = _exchange->server->isAnswered();
    if (isAnswered && _exchange->isGiven())
        confirmLateOffer(_exchange->before);
    else if (!isAnswered && _exchange->from == number)
        _exchange->server->answer({487});
    else if (!isAnswered)
        _exchange->server->answer({500, {}, headerLine("Retry-After", std::to_string(kRetryAfter))});
    // Who was asked and stays takes no offer of one who has left.
    if (!isAnswered && _exchange->to != number)
        cancelExchange({});
    else
        closeExchange();
}

void Call::onOfferAnswer(const CallMessage& response)
{
    if (!_exchange || !response.isFinal())
        return;
    const int from = _exchange->from;
    const int to = _exchange->to;
    CallLeg& other = leg(to);
    const int64_t now = _host.clock().steadyMs();
    if (!isOwn(response))
        other.heardAtMs = now;
    // Its session timer is none of the other side's business.
    if (response.status == 422 && response.timer.minimum > LegTimer::kMinimum && other.timer.isOn() &&
        !_exchange->isCancelled && !std::exchange(_exchange->isRaised, true)) {
        other.timer.raise(response.timer.minimum);
        sendOffer();
        return;
    }
    _exchange->isFinal = true;
    if (!response.isSuccess()) {
        other.sent = _exchange->before;
        if (!_exchange->isCancelled)
            _exchange->server->answer(toldWithin(response));
        closeExchange();
        // Before the answer it is the INVITE that tells whether somebody is there.
        if (isDialogGone(response) && _winner >= 0)
            end(408, reasonLine(response.status, "The other side is gone"),
                response.status == 481 ? std::optional(to) : std::nullopt);
        return;
    }
    other.dialog.refreshTarget(response);
    other.puts = {};
    leg(from).puts = {};
    if (!response.allow.empty())
        other.allow = response.allow;
    if (other.timer.isOn())
        other.timer.answered(response, now);
    if (_exchange->isCancelled) {
        takeBack(to);
        return;
    }
    if (_exchange->isInvite && !_exchange->isLateOffer)
        _host.transport().sendAck(other.dialog.ack(other.inviteCseq), *_exchange->client);
    CallAnswer answer = passedAnswer(response, to, from);
    if (keepsTime(leg(from)))
        answer.headers += leg(from).timer.accept(_exchange->request, now);
    _exchange->server->answer(answer);
    if (const std::optional<int> place = std::exchange(_exchange->place, std::nullopt); place) {
        movePlace(from, *place);
        _exchange->from = *place;
        _exchange->isTaking = true;
    }
    _exchange->untilMs = 0; // the stack says when nobody confirms it
    if (!_exchange->isInvite)
        _exchange.reset();
    reschedule();
}

// A side took an offer that had been cancelled meanwhile: it gets again what held before.
void Call::takeBack(int number)
{
    CallLeg& side = leg(number);
    const Exchange done = std::move(*_exchange);
    _exchange->place = done.place;
    if (done.isInvite) {
        CallRequestOut ack = side.dialog.ack(side.inviteCseq);
        if (done.isLateOffer)
            ack.body = done.before;
        _host.transport().sendAck(ack, *done.client);
    }
    // What it gets again is newer than what it has (RFC 3264 section 8).
    if (!done.isLateOffer && side.origin.empty())
        side.origin = originOf(side.sent.data);
    if (done.isLateOffer)
        side.sent = done.before;
    closeExchange();
    if (_isEnded)
        return;
    if (!done.isLateOffer)
        restore(number, done.before);
    reschedule();
}

void Call::acceptRefresh(int from, const CallMessage& request, ServerTransaction& transaction)
{
    CallLeg& side = leg(from);
    if (keepsTime(side) && LegTimer::isTooShort(request)) {
        transaction.answer({422, {}, headerLine("Min-SE", std::to_string(LegTimer::kMinimum))});
        return;
    }
    side.dialog.refreshTarget(request);
    CallAnswer answer{200};
    answer.headers = featuresFor(side, partnerOf(from)) + headerLine("Server", kProduct);
    if (keepsTime(side))
        answer.headers += side.timer.accept(request, _host.clock().steadyMs());
    answer.hasContact = true;
    answer.contactUser = side.dialog.contactUser;
    transaction.answer(answer);
}

void Call::pass(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction, bool isOffer)
{
    const std::optional<int> to = otherSide(from);
    if (!to || _isEnded) {
        // While several telephones ring there is nobody to tell, but the call goes on.
        transaction->answer({_isEnded ? 481 : 480});
        return;
    }
    if (_relays.size() >= kMaxRelays) {
        transaction->answer({500, {}, headerLine("Retry-After", std::to_string(kRetryAfter))});
        return;
    }
    CallLeg& other = leg(*to);
    CallRequestOut passed = requestTo(other, request.methodName);
    passed.headers = passedHeaders(from, request);
    auto relay = std::make_unique<Relay>();
    if (isOffer)
        relay->before = other.sent;
    // Whatever else carries a description makes no session of it.
    relay->isSession = request.method == SipMethod::Prack;
    passed.body = relay->isSession ? bodyFor(other, request.body) : request.body;
    relay->server = std::move(transaction);
    relay->number = ++_requests;
    relay->from = from;
    relay->to = *to;
    relay->client = _host.transport().send(
        passed, [this, number = relay->number](const CallMessage& response) { onRelayAnswer(number, response); });
    _relays.push_back(std::move(relay));
}

void Call::onRelayAnswer(uint64_t number, const CallMessage& response)
{
    const auto it =
        std::find_if(_relays.begin(), _relays.end(), [number](const auto& one) { return one->number == number; });
    if (it == _relays.end() || !response.isFinal())
        return;
    // The answer may end the call.
    const std::unique_ptr<Relay> relay = std::move(*it);
    _relays.erase(it);
    CallLeg& asked = leg(relay->to);
    if (relay->before && !response.isSuccess())
        asked.sent = *relay->before;
    CallAnswer answer{response.status, response.phrase, response.passed};
    // Its sender would end his dialog when nobody answers in time; the call goes on (RFC 3261 section 12.2.1.2).
    if (!response.isSuccess())
        answer = response.status == 408 ? CallAnswer{500} : toldWithin(response);
    answer.body = relay->isSession && response.isSuccess() ? bodyFor(leg(relay->from), response.body) : response.body;
    relay->server->answer(answer);
    if (isOwn(response))
        return;
    asked.heardAtMs = _host.clock().steadyMs();
    if (response.status == 481 && _winner >= 0)
        end(408, reasonLine(481, "The other side is gone"), relay->to);
}

// A side holds an offer without an answer. The call is as it was before; an answer that comes late is taken back.
void Call::giveUpExchange()
{
    Exchange& late = *_exchange;
    if (late.isCancelled) {
        leg(late.to).sent = late.before;
        late.isFinal = true;
        closeExchange();
        return;
    }
    late.server->answer({500, {}, headerLine("Retry-After", std::to_string(kRetryAfter))});
    cancelExchange({});
}
