#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"
#include "calls/sdp_part.h"
#include "calls/shown_caller.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"

#include <algorithm>
#include <utility>

namespace {

bool isOverUdp(const CallLeg& leg)
{
    return leg.dialog.peer.transport == kTransportUdp;
}

} // namespace

Call::Call(CallHost& host, int number, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction,
           const CallSource& source, DialAnswer answer)
    : _host(host),
      _number(number),
      _callId(number),
      _invite(invite),
      _source(source),
      _answer(std::move(answer)),
      _isAnonymous(isHidden(_answer, _invite)),
      _transaction(std::move(transaction))
{
    _caller.dialog = dialogOfCaller(_invite, randomTag());
    _caller.user = _source.kind == SourceKind::User ? _source.name : std::string();
    _caller.allow = _invite.allow;
    _caller.isTimerSupported = _invite.isTimerSupported;
    _caller.heardAtMs = _host.clock().steadyMs();
    findBinding(_caller, _invite.contact);
    if (hasSdp(_invite.body))
        _initialOffer = kCaller;
}

Call::Call(CallHost& host, int number, Call& origin, const CallMessage& invite, const CallSource& source,
           DialAnswer answer)
    : Call(host, number, invite, nullptr, source, std::move(answer))
{
    const CallLeg& awaited = origin.leg(origin._referral->other);
    _origin = &origin;
    _origin->_referral->attempt = this;
    _callId = origin._callId;
    // Its telephone has a dialog already; it comes with it once somebody has answered.
    _caller.dialog = {};
    _caller.dialog.callId = awaited.dialog.callId;
    _caller.dialog.peer = awaited.dialog.peer;
    _caller.user = awaited.user;
    countPayers();
}

Call::~Call() = default;

const CallLeg* Call::legAt(int leg) const
{
    if (leg == kCaller)
        return &_caller;
    return static_cast<size_t>(leg) < _branches.size() ? &_branches[static_cast<size_t>(leg)]->leg : nullptr;
}

const Dialog* Call::dialogWith(int leg, const std::string& remoteTag) const
{
    const CallLeg* side = legAt(leg);
    if (side == nullptr || side->dialog.remoteTag == remoteTag)
        return side == nullptr ? nullptr : &side->dialog;
    if (leg == kCaller)
        return nullptr;
    for (const EarlyDialog& one : _branches[static_cast<size_t>(leg)]->early)
        if (one.dialog.remoteTag == remoteTag)
            return &one.dialog;
    return nullptr;
}

std::vector<const CallRecord*> Call::records() const
{
    std::vector<const CallRecord*> all;
    if (_record.id != 0)
        all.push_back(&_record);
    const auto add = [&all](const CallLeg& side) {
        for (const CallRecord& record : side.records)
            all.push_back(&record);
    };
    add(_caller);
    for (const auto& branch : _branches)
        add(branch->leg);
    return all;
}

bool Call::usesUdp() const
{
    return (!_caller.isGone && isOverUdp(_caller)) ||
           std::any_of(_branches.begin(), _branches.end(),
                       [](const auto& branch) { return !branch->leg.isGone && isOverUdp(branch->leg); });
}

std::optional<int> Call::otherSide(int number) const
{
    if (_origin != nullptr)
        return std::nullopt;
    if (number != kCaller) {
        const bool isOnly = number == _winner || (_winner < 0 && _branches.size() == 1);
        return isOnly && !_caller.isGone ? std::optional(kCaller) : std::nullopt;
    }
    if (_winner >= 0)
        return _branches[static_cast<size_t>(_winner)]->leg.isGone ? std::nullopt : std::optional(_winner);
    // Before the answer there is somebody only where one telephone rings, and has said so.
    return _branches.size() == 1 && !_branches[0]->leg.dialog.remoteTag.empty() ? std::optional(0) : std::nullopt;
}

bool Call::hasTimers() const
{
    return (_host.system().callFlags & kSysSessionTimers) != 0;
}

void Call::begin()
{
    if (_transaction != nullptr) {
        _transaction->setTag(_caller.dialog.localTag);
        _transaction->setListener(this);
        _transaction->answer({100});
        _host.addLeg(_caller.dialog, *this, kCaller);
        _callerShare.begin(_host.users(), _caller.user, true);
    }
    _caller.number = _answer.caller;
    _caller.display = shownName(_answer, _invite);
    _caller.isAnonymous = _isAnonymous;
    beginRecord(_invite.requestUser);
    if (_answer.status != 0)
        fail({_answer.status});
    else
        tryTargets();
}

void Call::beginRecord(const std::string& dialed)
{
    _record = {};
    _record.isStrangers = _source.kind == SourceKind::Unknown;
    _record.data.callId = _callId;
    BclCopyStr(_record.data.callerNbr, _answer.caller.c_str());
    BclCopyStr(_record.data.dialedNbr, dialed.c_str());
    BclCopyStr(_record.data.calledNbr, _answer.called.c_str());
    BclCopyStr(_record.data.callerAddr, addressText(_invite.source).c_str());
    _record.data.flags |= kCdrCallerAddr;
    _host.log().begin(_record);
}

void Call::setNumbers(const DialTarget& target)
{
    BclCopyStr(_record.data.callerNbr, target.caller.c_str());
    BclCopyStr(_record.data.calledNbr, target.called.c_str());
}

void Call::tryTargets()
{
    if (_target >= _answer.targets.size()) {
        fail({503});
        return;
    }
    const DialTarget& target = _answer.targets[_target];
    setNumbers(target);
    if (target.kind != DialTarget::Kind::LocalUser) {
        _host.refused(target.caller, _invite.source,
                      "503, " +
                          (target.kind == DialTarget::Kind::Line    ? std::string("external lines are")
                           : target.kind == DialTarget::Kind::Trunk ? std::string("peer servers are")
                                                                    : "the service \"" + target.name + "\" is") +
                          " not served yet (called: " + target.called + ")");
        fail({503});
        return;
    }
    const auto user = _host.findUser(target.name);
    if (user == nullptr) {
        refuse(target, {404, "does not exist any more"});
        return;
    }
    if (const Refusal refusal = refusalOf(*user); refusal.status != 0) {
        refuse(target, refusal);
        return;
    }
    const std::vector<Telephone> telephones = telephonesFor(*user);
    if (telephones.empty()) {
        refuse(target, {480, "has no telephone that could ring"});
        return;
    }
    _calledShare.begin(_host.users(), target.name, false);
    const auto caller = _host.findUser(_caller.user);
    _isVideoAllowed = user->hasFlag(kUsrVideo) && (caller == nullptr || caller->hasFlag(kUsrVideo));
    const int64_t own = user->noAnsTime * kMsPerSecond;
    _ringUntilMs = _host.clock().steadyMs() + (own == 0 ? kRingMs : own);
    for (const Telephone& telephone : telephones)
        addBranch(telephone, target);
    for (size_t i = 0; i < _branches.size() && !_isEnded; ++i)
        invite(i);
    reschedule();
}

void Call::refuse(const DialTarget& target, const Refusal& refusal)
{
    _host.traceStep(*this, "Refused with " + std::to_string(refusal.status) + ": local user " + target.name + " " +
                               refusal.why + ".");
    fail({refusal.status});
}

Call::Refusal Call::refusalOf(const Cdb_usr_info& user) const
{
    const std::string name(BclFieldText(user.usrName));
    const UserCalls& calls = _host.users();
    if (user.hasFlag(kUsrRejectAnonymous) && (_isAnonymous || _answer.caller.empty()))
        return {433, "does not want anonymous calls"};
    if (user.hasFlag(kUsrDoNotDisturb))
        return {486, "is not to be disturbed"};
    if (user.maxCalls > 0 && calls.ofUser(name) >= static_cast<unsigned>(user.maxCalls))
        return {486, "has reached his limit of calls"};
    return calls.mayRing(user) ? Refusal{} : Refusal{486, "is busy, and no more calls may wait"};
}

// The telephone that calls does not ring itself.
std::vector<Telephone> Call::telephonesFor(const Cdb_usr_info& user)
{
    const std::string name(BclFieldText(user.usrName));
    std::vector<Telephone> telephones = telephonesOf(user, _host.contactsOf(name));
    if (name == _caller.user)
        std::erase_if(telephones, [this](const Telephone& one) { return isSameEnd(one.destination, _invite.source); });
    return telephones;
}

// The domain of the server, or its address as that peer knows it.
std::string Call::hostFor(const SipSource& peer)
{
    const std::string domain(BclTrimmed(BclFieldText(_host.system().sipDomain)));
    return domain.empty() ? _host.transport().localHost(peer) : domain;
}

void Call::addBranch(const Telephone& contact, const DialTarget& target)
{
    auto branch = std::make_unique<Branch>();
    CallLeg& leg = branch->leg;
    leg.user = target.name;
    leg.number = target.called;
    if (const auto user = _host.findUser(target.name); user != nullptr)
        leg.display = BclFieldText(user->dispName);
    leg.isTimerSupported = true;
    leg.heardAtMs = _host.clock().steadyMs();
    Dialog& dialog = leg.dialog;
    const std::string host = hostFor(contact.destination);
    dialog.callId = randomTag() + randomTag();
    dialog.localTag = randomTag();
    dialog.localParty = shownParty(_answer, _invite, target.caller, host);
    dialog.remoteParty = "<" + sipUri(target.called, host) + ">";
    dialog.remoteTarget = contact.uri;
    dialog.peer = contact.destination;
    dialog.contactUser = _isAnonymous ? "anonymous" : target.caller;
    findBinding(leg, contact.uri);
    _branches.push_back(std::move(branch));
    _host.addLeg(dialog, *this, static_cast<int>(_branches.size()) - 1);
}

std::string Call::allowFor(const CallLeg& side, const CallLeg& other) const
{
    std::string allow = "INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK";
    if (const auto user = _host.findUser(side.user); user != nullptr && user->hasFlag(kUsrTransfer))
        allow += ", REFER, SUBSCRIBE";
    CallMessage peer;
    peer.allow = other.allow;
    for (const char* method : {"UPDATE", "INFO"})
        if (peer.allows(method))
            allow.append(", ").append(method);
    if (peer.allows("MESSAGE") && mayWrite(side) && mayWrite(other))
        allow += ", MESSAGE";
    return allow;
}

// Whether texts may come from the user there, and go to him.
bool Call::mayWrite(const CallLeg& side) const
{
    const auto user = _host.findUser(side.user);
    return user == nullptr || user->hasFlag(kUsrMessages);
}

std::string Call::passedHeaders(int from, const CallMessage& request) const
{
    const bool isStranger = from == kCaller && _source.kind == SourceKind::Unknown;
    return shownHeaders(request.passed, legAt(from)->isAnonymous, isStranger);
}

void Call::invite(size_t index)
{
    Branch& branch = *_branches[index];
    CallRequestOut request = requestTo(branch.leg, "INVITE");
    branch.leg.inviteCseq = request.cseq;
    request.hasContact = true;
    request.maxForwards = _invite.maxForwards > 0 ? _invite.maxForwards - 1 : 0;
    request.headers = passedHeaders(kCaller, _invite) + headerLine("Allow", allowFor(branch.leg, _caller));
    // Several telephones that ring together have no one session before the answer.
    const bool isReliable = _branches.size() == 1 && _invite.isReliableSupported && !_hasFormerSession;
    std::string supported = isReliable ? "100rel, replaces" : "replaces";
    if (hasTimers()) {
        supported += ", timer";
        request.headers += branch.leg.timer.offer(branch.minTimer);
    }
    request.headers += headerLine("Supported", supported);
    if (_isAnonymous)
        request.headers += headerLine("Privacy", "id");
    request.headers += headerLine("User-Agent", kProduct);
    request.body = bodyFor(branch.leg, _invite.body);
    branch.invite = _host.transport().send(request, answersOf(index));
}

ResponseHandler Call::answersOf(size_t index)
{
    return [this, index, &branch = *_branches[index]](const CallMessage& response) {
        if (index < _branches.size() && _branches[index].get() == &branch)
            onBranchAnswer(index, response);
        else
            onDismissedAnswer(branch, response);
    };
}

SipBody Call::bodyFor(CallLeg& leg, const SipBody& body)
{
    const std::string_view sdp = sdpOf(body);
    if (sdp.empty())
        return body;
    if (_isVideoAllowed && leg.origin.empty()) {
        leg.sent = body;
        return body;
    }
    std::string changed = _isVideoAllowed ? std::string(sdp) : withoutVideo(sdp);
    if (!leg.origin.empty()) {
        leg.origin = nextOrigin(leg.origin);
        changed = withOrigin(changed, leg.origin);
    }
    leg.sent = withSdp(body, changed);
    return leg.sent;
}

void Call::fail(const CallAnswer& answer)
{
    if (_transaction != nullptr) {
        CallAnswer told = answer;
        told.headers += headerLine("Server", kProduct);
        _transaction->answer(told);
        _transaction.reset();
    }
    end(answer.status, {});
}

void Call::sendBye(CallLeg& leg, std::string_view headers)
{
    CallRequestOut bye = requestTo(leg, "BYE");
    bye.headers = headers;
    // The stack repeats it until it is answered, whoever still listens.
    (void)_host.transport().send(bye, [](const CallMessage&) {});
}

void Call::end(int status, std::string_view headers, std::optional<int> exceptLeg)
{
    if (std::exchange(_isEnded, true))
        return;
    const bool wasAnswered = _winner >= 0;
    std::optional<int> unconfirmed; // who has not confirmed the success of his INVITE
    if (_exchange) {
        if (!_exchange->server->isAnswered()) {
            _exchange->server->answer({_exchange->isInvite ? 487 : 481});
        } else if (_exchange->isTaking && !_exchange->isCancelled && exceptLeg != _exchange->from) {
            unconfirmed = _exchange->from;
            _transaction = std::move(_exchange->server);
            _owedBye = OwedBye{*unconfirmed, std::string(headers)};
            if (_exchange->isLateOffer)
                confirmLateOffer(_exchange->before);
        } else if (_exchange->isGiven()) {
            confirmLateOffer(_exchange->before);
        }
        partFromExchange();
        _exchange.reset();
    }
    for (const auto& relay : _relays)
        relay->server->answer({481});
    _relays.clear();
    if (_joiner != nullptr)
        std::exchange(_joiner, nullptr)->placeEnded(wasAnswered ? 481 : status);
    abandonReferral();
    dropProbe(kCaller);
    if (wasAnswered && exceptLeg != kCaller && unconfirmed != kCaller && !_caller.isGone && _origin == nullptr) {
        if (_isAcked)
            sendBye(_caller, headers);
        else
            _owedBye = OwedBye{kCaller, std::string(headers)};
    }
    if (wasAnswered) {
        Branch& branch = *_branches[static_cast<size_t>(_winner)];
        dropProbe(_winner);
        if (branch.isConfirmable)
            confirm(branch, {});
        if (exceptLeg != _winner && unconfirmed != _winner && !branch.leg.isGone)
            sendBye(branch.leg, headers);
    }
    cancelBranches(wasAnswered ? static_cast<size_t>(_winner) : _branches.size(), std::string(headers));
    _host.removeLeg(_caller.dialog);
    endRecords(_caller, status);
    for (const auto& branch : _branches) {
        _host.removeLeg(branch->leg.dialog);
        endRecords(branch->leg, status);
    }
    _callerShare.end();
    _calledShare.end();
    _payers.clear();
    _host.log().end(_record, status);
    _goodbyeAtMs = _host.clock().steadyMs() + kGoodbyeMs;
    if (Call* const origin = std::exchange(_origin, nullptr); origin != nullptr)
        origin->attemptEnded(status);
    finishIfDone();
}

void Call::endRecords(CallLeg& leg, int status)
{
    for (CallRecord& record : leg.records)
        _host.log().end(record, status);
    leg.records.clear();
}

void Call::sendOwedBye()
{
    if (const std::optional<OwedBye> owed = std::exchange(_owedBye, std::nullopt); owed)
        sendBye(leg(owed->leg), owed->headers);
}

void Call::finishIfDone()
{
    if (!_isEnded || _isFinished)
        return;
    const bool isWaiting = _owedBye || !_dismissed.empty() || !_partings.empty() ||
                           std::any_of(_branches.begin(), _branches.end(), [](const auto& branch) {
                               return (!branch->isFinal && branch->invite != nullptr) || branch->arrival != nullptr;
                           });
    if (isWaiting) {
        reschedule();
        return;
    }
    _isFinished = true;
    _host.finished(*this);
}

void Call::release(int status, std::string_view reason)
{
    if (_isEnded)
        return;
    if (_winner >= 0)
        end(200, reasonLine(status, reason));
    else
        fail({status});
}

void Call::drop()
{
    if (!_isEnded)
        release(503, "The server changes its address");
    // Who is connected still hears his good-bye.
    if (_owedBye && isOverUdp(leg(_owedBye->leg)))
        _owedBye.reset();
    giveUpArrivals(true);
    giveUpBranches();
    _partings.clear();
    finishIfDone();
}

// With the answer to the offer that came within the call.
void Call::confirmLateOffer(const SipBody& answer)
{
    CallLeg& other = leg(_exchange->to);
    CallRequestOut ack = other.dialog.ack(other.inviteCseq);
    ack.body = bodyFor(other, answer);
    _host.transport().sendAck(ack, *_exchange->client);
}

void Call::onAck(ServerTransaction& invite, const CallMessage& ack)
{
    if (_exchange && &invite == _exchange->server.get()) {
        if (_exchange->isCancelled)
            return; // it confirms the failure
        _caller.heardAtMs = _exchange->from == kCaller ? _host.clock().steadyMs() : _caller.heardAtMs;
        if (_exchange->isLateOffer)
            confirmLateOffer(ack.body);
        _exchange.reset();
        return;
    }
    if (Branch* const arrived = arrivalOf(invite); arrived != nullptr) {
        onArrivalConfirmed(*arrived, true);
        return;
    }
    if (&invite != _transaction.get())
        return;
    _isAcked = true;
    _initialOffer.reset();
    _caller.heardAtMs = _host.clock().steadyMs();
    if (_winner >= 0 && _branches[static_cast<size_t>(_winner)]->isConfirmable)
        confirm(*_branches[static_cast<size_t>(_winner)], ack.body);
    _transaction.reset();
    sendOwedBye();
    if (_caller.puts.atMs != 0 && !_isEnded)
        put(kCaller);
    if (_joiner != nullptr && !_isEnded)
        _joiner->goOnReferring();
    finishIfDone();
}

void Call::onCancel(ServerTransaction& invite, const CallMessage& cancel)
{
    if (_exchange && &invite == _exchange->server.get()) {
        cancelExchange(cancel.passed);
        return;
    }
    if (&invite != _transaction.get())
        return;
    if (_joiner != nullptr && _winner < 0) {
        leaveToJoiner();
        return;
    }
    // It has not seen a success yet, else the stack would not ask.
    _transaction->answer({487});
    _transaction.reset();
    end(487, cancel.passed, _winner >= 0 ? std::optional(kCaller) : std::nullopt);
}

void Call::onUnconfirmed(ServerTransaction& invite)
{
    if (Branch* const arrived = arrivalOf(invite); arrived != nullptr) {
        onArrivalConfirmed(*arrived, false);
        return;
    }
    // To a reliable answer that was not confirmed the stack itself gives 503; a success that waited for it was not
    // seen.
    const bool isCaller = &invite == _transaction.get();
    const bool isRefused = isCaller && !invite.isAnswered();
    if (isCaller) {
        _transaction.reset();
        _isAcked = true;
        if (isRefused)
            _owedBye.reset();
        sendOwedBye();
    }
    if (_exchange && &invite == _exchange->server.get())
        _exchange->isTaking = false; // its BYE waits no longer
    if (_isEnded)
        finishIfDone();
    else
        end(408, reasonLine(408, "Nobody confirmed the answer"),
            isRefused && _winner >= 0 ? std::optional(kCaller) : std::nullopt);
}

void Call::onPrack(ServerTransaction& invite, const CallMessage& prack, std::unique_ptr<ServerTransaction> transaction)
{
    const bool isFormer = _formerReliable > 0;
    _formerReliable -= isFormer ? 1 : 0;
    if (isFormer || &invite != _transaction.get() || _isEnded || _branches.empty() || _branches[0]->rseqs.empty()) {
        transaction->answer({_isEnded ? 481 : 200});
        return;
    }
    Branch& branch = *_branches[0];
    const ReliableAnswer confirmed = std::move(branch.rseqs.front());
    branch.rseqs.pop_front();
    (void)listenTo(0, confirmed.tag);
    // It answers the telephone's offer; once that is done it may make another one (RFC 3262 section 5).
    const bool isOffer = hasSdp(prack.body) && _initialOffer != std::optional(0);
    if (hasSdp(prack.body) && !isOffer)
        _initialOffer.reset();
    CallMessage passed = prack;
    passed.passed +=
        headerLine("RAck", std::to_string(confirmed.rseq) + " " + std::to_string(branch.leg.inviteCseq) + " INVITE");
    pass(kCaller, passed, std::move(transaction), isOffer);
}
