#include "calls/call.h"

#include "calls/sdp.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* kProduct = "Parlovex";
constexpr int64_t kMsPerSecond = 1000;
constexpr uint32_t kRetryAfter = 3; // s; RFC 3261 section 14.2 asks for 0 to 10

std::string addressText(const SipSource& source)
{
    Cbcl_uaddr text;
    text.setAddress(source.address.c_str(), source.port);
    return text.getURLStr();
}

std::string reasonLine(int status, std::string_view text)
{
    std::string value = "SIP;cause=" + std::to_string(status);
    if (!text.empty())
        value.append(";text=\"").append(text).append("\"");
    return headerLine("Reason", value);
}

// None came, and it was not the other side who said so.
bool isOwn(const CallMessage& response)
{
    return response.source.address.empty();
}

// RFC 3261 section 12.2.1.2: the dialog is no more.
bool isDialogGone(const CallMessage& response)
{
    return response.status == 481 || response.status == 408;
}

// What stood in the way of a refresh may be gone in a moment: another offer (RFC 3261 section 14.2), a broken
// connection.
bool mayBeTriedAgain(const CallMessage& response)
{
    return response.status == 491 || response.status == 422 || response.status == 500 || response.status == 503;
}

bool isSameEnd(const SipSource& a, const SipSource& b)
{
    return a.address == b.address && a.port == b.port && a.transport == b.transport;
}

} // namespace

Call::Call(CallHost& host, int number, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction,
           const CallSource& source, DialAnswer answer)
    : _host(host),
      _number(number),
      _invite(invite),
      _source(source),
      _answer(std::move(answer)),
      _isAnonymous(_answer.isAnonymous || _invite.hidesCaller()),
      _transaction(std::move(transaction))
{
    _caller.dialog = dialogOfCaller(_invite, randomTag());
    _caller.user = _source.kind == SourceKind::User ? _source.name : std::string();
    _caller.allow = _invite.allow;
    _caller.isTimerSupported = _invite.isTimerSupported;
    _caller.heardAtMs = _host.clock().steadyMs();
}

Call::~Call() = default;

const CallLeg* Call::legAt(int leg) const
{
    if (leg == kCaller)
        return &_caller;
    return static_cast<size_t>(leg) < _branches.size() ? &_branches[static_cast<size_t>(leg)]->leg : nullptr;
}

bool Call::usesUdp() const
{
    const auto isUdp = [](const CallLeg& leg) { return leg.dialog.peer.transport == kTransportUdp; };
    return isUdp(_caller) ||
           std::any_of(_branches.begin(), _branches.end(), [&](const auto& branch) { return isUdp(branch->leg); });
}

std::optional<int> Call::otherSide(int number) const
{
    if (number != kCaller)
        return number == _winner || (_winner < 0 && _branches.size() == 1) ? std::optional(kCaller) : std::nullopt;
    if (_winner >= 0)
        return _winner;
    // Before the answer there is somebody only where one telephone rings, and has said so.
    return _branches.size() == 1 && !_branches[0]->leg.dialog.remoteTag.empty() ? std::optional(0) : std::nullopt;
}

bool Call::hasTimers() const
{
    return (_host.system().callFlags & kSysSessionTimers) != 0;
}

// --- Beginning -------------------------------------------------------------------------------------------------------

void Call::begin()
{
    _transaction->setTag(_caller.dialog.localTag);
    _transaction->setListener(this);
    _transaction->answer({100});
    _host.addLeg(_caller.dialog, *this, kCaller);
    _host.users().add(_caller.user, _callerPart, true);
    _isCallerCounted = !_caller.user.empty();
    _record.data.callId = _number;
    BclCopyStr(_record.data.callerNbr, _answer.caller.c_str());
    BclCopyStr(_record.data.dialedNbr, _invite.requestUser.c_str());
    BclCopyStr(_record.data.calledNbr, _answer.called.c_str());
    BclCopyStr(_record.data.callerAddr, addressText(_invite.source).c_str());
    _record.data.flags |= kCdrCallerAddr;
    _host.log().begin(_record);
    if (_answer.status != 0)
        fail({_answer.status});
    else
        tryTargets();
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
        fail({404});
        return;
    }
    if (const int refusal = refusalOf(*user); refusal != 0) {
        fail({refusal});
        return;
    }
    const std::vector<Telephone> telephones = telephonesFor(*user);
    if (telephones.empty()) {
        fail({480});
        return;
    }
    _calledUser = target.name;
    _host.users().add(_calledUser, _calledPart, false);
    _isCalledCounted = true;
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

// Why the user does not ring; 0: he does.
int Call::refusalOf(const Cdb_usr_info& user) const
{
    const std::string name(BclFieldText(user.usrName));
    const UserCalls& calls = _host.users();
    if (user.hasFlag(kUsrRejectAnonymous) && (_isAnonymous || _answer.caller.empty()))
        return 433;
    if (user.hasFlag(kUsrDoNotDisturb))
        return 486;
    if (user.maxCalls > 0 && calls.ofUser(name) >= static_cast<unsigned>(user.maxCalls))
        return 486;
    return calls.mayRing(user) ? 0 : 486;
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

std::string Call::callerAs(const DialTarget& target, const std::string& host) const
{
    if (_isAnonymous)
        return kAnonymousParty;
    const bool isOwnName = !_answer.displayName.empty() || _answer.isDisplayNameRemoved;
    return nameAddr(isOwnName ? _answer.displayName : _invite.from.display, sipUri(target.caller, host));
}

void Call::addBranch(const Telephone& contact, const DialTarget& target)
{
    auto branch = std::make_unique<Branch>();
    CallLeg& leg = branch->leg;
    leg.user = target.name;
    leg.isTimerSupported = true;
    leg.heardAtMs = _host.clock().steadyMs();
    Dialog& dialog = leg.dialog;
    const std::string own = _host.transport().localHost(contact.destination);
    const std::string domain(BclTrimmed(BclFieldText(_host.system().sipDomain)));
    const std::string& host = domain.empty() ? own : domain;
    dialog.callId = randomTag() + randomTag();
    dialog.localTag = randomTag();
    dialog.localParty = callerAs(target, host);
    dialog.remoteParty = "<" + sipUri(target.called, host) + ">";
    dialog.remoteTarget = contact.uri;
    dialog.peer = contact.destination;
    dialog.contactUser = _isAnonymous ? "anonymous" : target.caller;
    _branches.push_back(std::move(branch));
    _host.addLeg(dialog, *this, static_cast<int>(_branches.size()) - 1);
}

std::string Call::allowFor(const CallLeg& other) const
{
    std::string allow = "INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK";
    CallMessage peer;
    peer.allow = other.allow;
    for (const char* method : {"UPDATE", "INFO", "MESSAGE"})
        if (peer.allows(method))
            allow.append(", ").append(method);
    return allow;
}

// Strangers might have telephones pick up by themselves.
std::string Call::passedHeaders() const
{
    return _source.kind == SourceKind::Unknown
               ? withoutHeaders(_invite.passed, {"Alert-Info", "Answer-Mode", "Call-Info"})
               : _invite.passed;
}

void Call::invite(size_t index)
{
    Branch& branch = *_branches[index];
    CallRequestOut request = branch.leg.dialog.request("INVITE");
    branch.leg.inviteCseq = request.cseq;
    request.hasContact = true;
    request.maxForwards = _invite.maxForwards > 0 ? _invite.maxForwards - 1 : 0;
    request.headers = passedHeaders() + headerLine("Allow", allowFor(_caller));
    // Several telephones that ring together have no one session before the answer.
    const bool isReliable = _branches.size() == 1 && _invite.isReliableSupported;
    std::string supported = isReliable ? "100rel" : "";
    if (hasTimers()) {
        supported += supported.empty() ? "timer" : ", timer";
        request.headers += branch.leg.timer.offer(branch.minTimer);
    }
    if (!supported.empty())
        request.headers += headerLine("Supported", supported);
    if (_isAnonymous)
        request.headers += headerLine("Privacy", "id");
    request.headers += headerLine("User-Agent", kProduct);
    request.body = bodyFor(branch.leg, _invite.body);
    branch.invite = _host.transport().send(
        request, [this, index](const CallMessage& response) { onBranchAnswer(index, response); });
}

SipBody Call::bodyFor(CallLeg& leg, const SipBody& body)
{
    if (!body.isSdp())
        return body;
    SipBody passed = body;
    if (!_isVideoAllowed)
        passed.data = withoutVideo(body.data);
    leg.sent = passed;
    return passed;
}

// --- Answers of the called side --------------------------------------------------------------------------------------

void Call::onBranchAnswer(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    if (branch.isFinal)
        return;
    if (!isOwn(response))
        branch.leg.heardAtMs = _host.clock().steadyMs();
    if (response.isProvisional()) {
        onProgress(index, response);
        return;
    }
    if (response.status == 422 && !_isEnded && _winner < 0 && branch.minTimer == 0 &&
        response.timer.minimum > LegTimer::kMinimum) {
        branch.minTimer = response.timer.minimum;
        branch.seenRseq = 0;
        branch.rseqs.clear();
        invite(index);
        return;
    }
    branch.isFinal = true;
    if (!response.isSuccess())
        onFailure(index, response);
    else if (_isEnded || _winner >= 0)
        hangUp(index, response);
    else
        onSuccess(index, response);
    finishIfDone();
}

void Call::onProgress(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    if (_isEnded || _winner >= 0)
        return;
    branch.leg.dialog.learn(response);
    if (!response.allow.empty())
        branch.leg.allow = response.allow;
    if (response.rseq != 0) {
        if (response.rseq <= branch.seenRseq)
            return;
        branch.seenRseq = response.rseq;
    }
    const bool isFirst = _calledPart == UserPart::Pending;
    if (response.status == 180 || response.status == 183) {
        BclCopyStr(_record.data.calledAddr, addressText(branch.leg.dialog.peer).c_str());
        _record.data.flags |= kCdrCalledAddr;
        setCalledPart(UserPart::Ringing);
        _host.log().ring(_record);
    }
    if (_branches.size() > 1) {
        if (isFirst && _calledPart == UserPart::Ringing) {
            CallAnswer ringing{180};
            ringing.headers = featuresFor(branch.leg);
            ringing.hasContact = true;
            ringing.contactUser = _caller.dialog.contactUser;
            _transaction->answer(ringing);
        }
        return;
    }
    const CallAnswer answer = passedAnswer(response, kCaller);
    if (response.rseq != 0 && _transaction->answerReliably(answer))
        branch.rseqs.push_back(response.rseq);
    else
        _transaction->answer(answer);
}

std::string Call::featuresFor(const CallLeg& other) const
{
    std::string headers = headerLine("Allow", allowFor(other));
    if (hasTimers())
        headers += headerLine("Supported", "timer");
    return headers + headerLine("Server", kProduct);
}

CallAnswer Call::passedAnswer(const CallMessage& response, int to)
{
    CallAnswer answer{response.status, response.phrase};
    const int from = to == kCaller ? otherSide(kCaller).value_or(0) : kCaller;
    answer.headers = response.passed;
    if (response.status < 300) {
        answer.headers += featuresFor(leg(from));
        answer.hasContact = true;
        answer.contactUser = leg(to).dialog.contactUser;
    }
    answer.body = bodyFor(leg(to), response.body);
    return answer;
}

void Call::onSuccess(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    const int64_t now = _host.clock().steadyMs();
    _winner = static_cast<int>(index);
    branch.leg.dialog.learn(response);
    if (!response.allow.empty())
        branch.leg.allow = response.allow;
    if (hasTimers())
        branch.leg.timer.answered(response, now);
    // Otherwise they would list a missed call (RFC 3326 section 3.1).
    cancelBranches(index, reasonLine(200, "Call completed elsewhere"));
    if (_invite.body.isEmpty() && !response.body.isEmpty() && branch.rseqs.empty())
        branch.isConfirmable = true; // the answer to its offer comes with the caller's ACK
    else
        confirm(index, {});
    BclCopyStr(_record.data.calledAddr, addressText(branch.leg.dialog.peer).c_str());
    _record.data.flags |= kCdrCalledAddr;
    answerCaller(response);
    setCallerPart(UserPart::Talking);
    setCalledPart(UserPart::Talking);
    _host.log().answer(_record);
    _ringUntilMs = 0;
    const uint32_t limit =
        _answer.targets[_target].maxDuration != 0 ? _answer.targets[_target].maxDuration : _answer.maxDuration;
    if (limit != 0)
        _talkUntilMs = now + limit * kMsPerSecond;
    reschedule();
}

void Call::answerCaller(const CallMessage& response)
{
    CallAnswer answer = passedAnswer(response, kCaller);
    if (hasTimers())
        answer.headers += _caller.timer.accept(_invite, _host.clock().steadyMs());
    _transaction->answer(answer);
}

void Call::confirm(size_t index, const SipBody& body)
{
    Branch& branch = *_branches[index];
    branch.isConfirmable = false;
    if (branch.invite == nullptr)
        return;
    CallRequestOut ack = branch.leg.dialog.ack(branch.leg.inviteCseq);
    ack.body = bodyFor(branch.leg, body);
    _host.transport().sendAck(ack, *branch.invite);
    branch.invite.reset();
}

// It answered when nobody wanted it any more.
void Call::hangUp(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    branch.leg.dialog.learn(response);
    confirm(index, {});
    sendBye(branch.leg, {});
    _host.removeLeg(branch.leg.dialog);
}

void Call::onFailure(size_t index, const CallMessage& response)
{
    _host.removeLeg(_branches[index]->leg.dialog);
    _branches[index]->invite.reset();
    if (_isEnded || _winner >= 0)
        return;
    _failures.add(response);
    const bool isAll = std::all_of(_branches.begin(), _branches.end(), [](const auto& one) { return one->isFinal; });
    if (!isAll && response.status < 600)
        return;
    cancelBranches(index, {});
    fail(_failures.answer());
}

void Call::cancelBranches(size_t except, const std::string& headers)
{
    for (size_t i = 0; i < _branches.size(); ++i)
        if (i != except && !_branches[i]->isFinal && _branches[i]->invite != nullptr)
            _branches[i]->invite->cancel(headers);
    if (_goodbyeAtMs == 0)
        _goodbyeAtMs = _host.clock().steadyMs() + kGoodbyeMs;
}

// --- Ending ----------------------------------------------------------------------------------------------------------

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
    CallRequestOut bye = leg.dialog.request("BYE");
    bye.headers = headers;
    // The stack repeats it until it is answered, whoever still listens.
    (void)_host.transport().send(bye, [](const CallMessage&) {});
}

void Call::end(int status, std::string_view headers, std::optional<int> exceptLeg)
{
    if (std::exchange(_isEnded, true))
        return;
    const bool wasAnswered = _winner >= 0;
    if (_exchange) {
        if (_exchange->server != nullptr && !_exchange->server->isAnswered())
            _exchange->server->answer({_exchange->isInvite ? 487 : 481});
        _exchange.reset();
    }
    for (const auto& relay : _relays)
        relay->server->answer({481});
    _relays.clear();
    _caller.probe.reset();
    if (wasAnswered && exceptLeg != kCaller) {
        if (_isAcked)
            sendBye(_caller, headers);
        else
            _owedBye = std::string(headers);
    }
    if (wasAnswered) {
        Branch& branch = *_branches[static_cast<size_t>(_winner)];
        branch.leg.probe.reset();
        if (branch.isConfirmable)
            confirm(static_cast<size_t>(_winner), {});
        if (exceptLeg != _winner)
            sendBye(branch.leg, headers);
    }
    cancelBranches(wasAnswered ? static_cast<size_t>(_winner) : _branches.size(), std::string(headers));
    _host.removeLeg(_caller.dialog);
    for (const auto& branch : _branches)
        _host.removeLeg(branch->leg.dialog);
    leaveUsers();
    _host.log().end(_record, status);
    _goodbyeAtMs = _host.clock().steadyMs() + kGoodbyeMs;
    finishIfDone();
}

void Call::sendOwedBye()
{
    if (const std::optional<std::string> headers = std::exchange(_owedBye, std::nullopt); headers)
        sendBye(_caller, *headers);
}

void Call::leaveUsers()
{
    if (std::exchange(_isCallerCounted, false))
        _host.users().remove(_caller.user, _callerPart, true);
    if (std::exchange(_isCalledCounted, false))
        _host.users().remove(_calledUser, _calledPart, false);
}

void Call::setCallerPart(UserPart part)
{
    if (_isCallerCounted)
        _host.users().change(_caller.user, _callerPart, part);
    _callerPart = part;
}

void Call::setCalledPart(UserPart part)
{
    if (_isCalledCounted)
        _host.users().change(_calledUser, _calledPart, part);
    _calledPart = part;
}

void Call::finishIfDone()
{
    if (!_isEnded || _isFinished)
        return;
    const bool isWaiting = _owedBye || std::any_of(_branches.begin(), _branches.end(), [](const auto& branch) {
                               return !branch->isFinal && branch->invite != nullptr;
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
    _owedBye.reset();
    for (const auto& branch : _branches)
        branch->isFinal = true;
    finishIfDone();
}

// --- What comes from the caller's INVITE -----------------------------------------------------------------------------

void Call::onAck(ServerTransaction& invite, const CallMessage& ack)
{
    if (_exchange && &invite == _exchange->server.get()) {
        if (_exchange->isCancelled)
            return; // it confirms the failure
        _caller.heardAtMs = _exchange->from == kCaller ? _host.clock().steadyMs() : _caller.heardAtMs;
        if (_exchange->isLateOffer) {
            const int other = otherSide(_exchange->from).value_or(kCaller);
            CallRequestOut request = leg(other).dialog.ack(leg(other).inviteCseq);
            request.body = bodyFor(leg(other), ack.body);
            if (_exchange->client != nullptr)
                _host.transport().sendAck(request, *_exchange->client);
        }
        _exchange.reset();
        return;
    }
    if (&invite != _transaction.get())
        return;
    _isAcked = true;
    _caller.heardAtMs = _host.clock().steadyMs();
    if (_winner >= 0 && _branches[static_cast<size_t>(_winner)]->isConfirmable)
        confirm(static_cast<size_t>(_winner), ack.body);
    _transaction.reset();
    sendOwedBye();
    finishIfDone();
}

void Call::onCancel(ServerTransaction& invite, const CallMessage& cancel)
{
    if (_exchange && &invite == _exchange->server.get()) {
        _exchange->isCancelled = true;
        if (_exchange->client != nullptr)
            _exchange->client->cancel(cancel.passed);
        return;
    }
    if (&invite != _transaction.get())
        return;
    // It has not seen a success yet, else the stack would not ask.
    _transaction->answer({487});
    _transaction.reset();
    end(487, cancel.passed, _winner >= 0 ? std::optional(kCaller) : std::nullopt);
}

void Call::onUnconfirmed(ServerTransaction& invite)
{
    if (&invite == _transaction.get()) {
        // To a reliable answer that was not confirmed the stack itself gives 503.
        _transaction.reset();
        _isAcked = true;
        sendOwedBye();
    }
    if (_isEnded)
        finishIfDone();
    else
        end(408, reasonLine(408, "Nobody confirmed the answer"));
}

void Call::onPrack(ServerTransaction& invite, const CallMessage& prack, std::unique_ptr<ServerTransaction> transaction)
{
    if (&invite != _transaction.get() || _isEnded || _branches.empty() || _branches[0]->rseqs.empty()) {
        transaction->answer({_isEnded ? 481 : 200});
        return;
    }
    Branch& branch = *_branches[0];
    const uint32_t rseq = branch.rseqs.front();
    branch.rseqs.pop_front();
    CallMessage passed = prack;
    passed.passed += headerLine("RAck", std::to_string(rseq) + " " + std::to_string(branch.leg.inviteCseq) + " INVITE");
    pass(kCaller, passed, std::move(transaction));
}

// --- Requests within the call ----------------------------------------------------------------------------------------

void Call::onRequest(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    CallLeg& side = leg(from);
    side.heardAtMs = _host.clock().steadyMs();
    side.isLost = false;
    side.dialog.remoteCseq = request.cseq;
    // A router may have given it another port meanwhile.
    side.dialog.peer = request.source;
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
        answer.headers = featuresFor(leg(otherSide(from).value_or(kCaller))) + headerLine("Accept", "application/sdp");
        transaction->answer(answer);
        break;
    }
    case SipMethod::Info:
    case SipMethod::Message:
        pass(from, request, std::move(transaction));
        break;
    default:
        transaction->answer({481}); // a PRACK for an answer that nobody gave
    }
    reschedule();
}

void Call::onBye(int from, const CallMessage& bye, ServerTransaction& transaction)
{
    CallAnswer done{200};
    done.headers = headerLine("Server", kProduct);
    transaction.answer(done);
    if (from != kCaller && from != _winner) {
        leave(static_cast<size_t>(from));
        return;
    }
    if (_winner >= 0) {
        end(200, bye.passed, from);
        return;
    }
    // A caller may leave a dialog that is not confirmed yet (RFC 3261 section 15).
    fail({487});
}

// A telephone hung up before its answer got here; the others ring on.
void Call::leave(size_t index)
{
    Branch& branch = *_branches[index];
    if (std::exchange(branch.isFinal, true))
        return;
    CallMessage gone;
    gone.status = 480;
    onFailure(index, gone);
}

void Call::onOffer(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    const bool isInvite = request.method == SipMethod::Invite;
    const std::optional<int> to = otherSide(from);
    const bool isOverlapping = (_exchange && _exchange->from == from) || (isInvite && _winner < 0);
    if (isOverlapping) {
        transaction->answer({500, {}, headerLine("Retry-After", std::to_string(kRetryAfter))});
        return;
    }
    const bool isInitialOpen = from != kCaller && !_isAcked && _winner >= 0;
    if (!to || isOfferPending() || (isInvite && isInitialOpen)) {
        transaction->answer({491});
        return;
    }
    if (hasTimers() && LegTimer::isTooShort(request)) {
        transaction->answer({422, {}, headerLine("Min-SE", std::to_string(LegTimer::kMinimum))});
        return;
    }
    CallMessage peer;
    peer.allow = leg(*to).allow;
    if (!isInvite && !peer.allows("UPDATE")) {
        transaction->answer({405, {}, headerLine("Allow", allowFor(leg(*to)))});
        return;
    }
    leg(from).dialog.refreshTarget(request);
    CallLeg& other = leg(*to);
    CallRequestOut passed = other.dialog.request(request.methodName);
    passed.hasContact = true;
    passed.headers = request.passed + featuresFor(leg(from));
    if (hasTimers() && other.isTimerSupported && other.timer.isOn())
        passed.headers += other.timer.offer();
    const SipBody before = other.sent;
    passed.body = bodyFor(other, request.body);
    if (isInvite)
        other.inviteCseq = passed.cseq;
    transaction->setListener(this);
    _exchange.emplace(Exchange{});
    _exchange->from = from;
    _exchange->request = request;
    _exchange->before = before;
    _exchange->server = std::move(transaction);
    _exchange->isInvite = isInvite;
    _exchange->untilMs = _host.clock().steadyMs() + kOfferMs;
    _exchange->isLateOffer = isInvite && request.body.isEmpty();
    _exchange->client =
        _host.transport().send(passed, [this](const CallMessage& response) { onOfferAnswer(response); });
}

void Call::onOfferAnswer(const CallMessage& response)
{
    if (!_exchange || !response.isFinal())
        return;
    const int from = _exchange->from;
    const int to = otherSide(from).value_or(kCaller);
    CallLeg& other = leg(to);
    const int64_t now = _host.clock().steadyMs();
    if (!isOwn(response))
        other.heardAtMs = now;
    if (!response.isSuccess()) {
        other.sent = _exchange->before;
        if (!_exchange->isCancelled)
            _exchange->server->answer({response.status, response.phrase, response.passed});
        _exchange.reset();
        if (isDialogGone(response))
            end(408, reasonLine(response.status, "The other side is gone"),
                response.status == 481 ? std::optional(to) : std::nullopt);
        return;
    }
    other.dialog.refreshTarget(response);
    if (!response.allow.empty())
        other.allow = response.allow;
    if (hasTimers() && other.timer.isOn())
        other.timer.answered(response, now);
    if (_exchange->isCancelled) {
        takeBack(to);
        return;
    }
    if (_exchange->isInvite && !_exchange->isLateOffer)
        _host.transport().sendAck(other.dialog.ack(other.inviteCseq), *_exchange->client);
    CallAnswer answer = passedAnswer(response, from);
    if (hasTimers())
        answer.headers += leg(from).timer.accept(_exchange->request, now);
    _exchange->server->answer(answer);
    if (!_exchange->isInvite)
        _exchange.reset();
    reschedule();
}

// A side took an offer that had been cancelled meanwhile: it gets again what held before.
void Call::takeBack(int number)
{
    CallLeg& side = leg(number);
    const Exchange done = *std::exchange(_exchange, std::nullopt);
    side.sent = done.before;
    CallRequestOut ack = side.dialog.ack(side.inviteCseq);
    if (done.isLateOffer)
        ack.body = side.sent;
    _host.transport().sendAck(ack, *done.client);
    if (!done.isLateOffer && !side.sent.isEmpty())
        sendRefresh(number, true);
    reschedule();
}

void Call::acceptRefresh(int from, const CallMessage& request, ServerTransaction& transaction)
{
    if (hasTimers() && LegTimer::isTooShort(request)) {
        transaction.answer({422, {}, headerLine("Min-SE", std::to_string(LegTimer::kMinimum))});
        return;
    }
    CallLeg& side = leg(from);
    side.dialog.refreshTarget(request);
    CallAnswer answer{200};
    answer.headers = featuresFor(leg(otherSide(from).value_or(kCaller)));
    if (hasTimers())
        answer.headers += side.timer.accept(request, _host.clock().steadyMs());
    answer.hasContact = true;
    answer.contactUser = side.dialog.contactUser;
    transaction.answer(answer);
}

void Call::pass(int from, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    const std::optional<int> to = otherSide(from);
    if (!to || _isEnded) {
        // While several telephones ring there is nobody to tell, but the call goes on.
        transaction->answer({_isEnded ? 481 : 480});
        return;
    }
    CallLeg& other = leg(*to);
    CallRequestOut passed = other.dialog.request(request.methodName);
    passed.headers = request.passed;
    passed.body = request.body.isSdp() ? bodyFor(other, request.body) : request.body;
    auto relay = std::make_unique<Relay>();
    relay->server = std::move(transaction);
    relay->number = ++_relayed;
    const int side = *to;
    relay->client =
        _host.transport().send(passed, [this, number = relay->number, from, side](const CallMessage& response) {
            const auto it = std::find_if(_relays.begin(), _relays.end(),
                                         [number](const auto& one) { return one->number == number; });
            if (it == _relays.end() || !response.isFinal())
                return;
            CallAnswer answer{response.status, response.phrase, response.passed};
            answer.body = response.body.isSdp() ? bodyFor(leg(from), response.body) : response.body;
            (*it)->server->answer(answer);
            _relays.erase(it);
            if (isOwn(response))
                return;
            leg(side).heardAtMs = _host.clock().steadyMs();
            if (response.status == 481)
                end(408, reasonLine(481, "The other side is gone"), side);
        });
    _relays.push_back(std::move(relay));
}

// --- What is due -----------------------------------------------------------------------------------------------------

void Call::step()
{
    const int64_t now = _host.clock().steadyMs();
    if (_isEnded) {
        if (now < _goodbyeAtMs) {
            reschedule();
            return;
        }
        // Whoever has not answered by now is gone.
        for (const auto& branch : _branches)
            branch->isFinal = true;
        _owedBye.reset();
        finishIfDone();
        return;
    }
    if (_winner >= 0 && _goodbyeAtMs != 0 && now >= _goodbyeAtMs) {
        for (const auto& branch : _branches)
            if (!branch->isFinal) {
                branch->isFinal = true;
                branch->invite.reset();
                _host.removeLeg(branch->leg.dialog);
            }
        _goodbyeAtMs = 0;
    }
    if (_exchange && now >= _exchange->untilMs)
        giveUpExchange(now);
    if (_isRefreshing && now >= _refreshUntilMs) {
        end(408, reasonLine(408, "The session was not refreshed"));
        return;
    }
    if (_ringUntilMs != 0 && now >= _ringUntilMs) {
        fail({480});
        return;
    }
    if (_talkUntilMs != 0 && now >= _talkUntilMs) {
        end(200, reasonLine(200, "The longest time of a call is over"));
        return;
    }
    if (_winner >= 0)
        for (const int side : {kCaller, _winner})
            if (!_isEnded)
                supervise(side, now);
    reschedule();
}

// A side holds an offer without an answer. The call is as it was before; an answer that comes late is taken back.
void Call::giveUpExchange(int64_t now)
{
    Exchange& late = *_exchange;
    if (std::exchange(late.isCancelled, true)) {
        const int to = late.from == kCaller ? otherSide(kCaller).value_or(kCaller) : kCaller;
        leg(to).sent = late.before;
        _exchange.reset();
        return;
    }
    late.server->answer({500, {}, headerLine("Retry-After", std::to_string(kRetryAfter))});
    if (late.isInvite)
        late.client->cancel({});
    late.untilMs = now + kGoodbyeMs;
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
    side.probe = _host.transport().send(side.dialog.request("OPTIONS"), [this, number](const CallMessage& response) {
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
    sendRefresh(number, isInvite);
}

void Call::sendRefresh(int number, bool isInvite)
{
    CallLeg& side = leg(number);
    CallRequestOut request = side.dialog.request(isInvite ? "INVITE" : "UPDATE");
    request.hasContact = true;
    request.headers = featuresFor(leg(otherSide(number).value_or(kCaller)));
    if (side.timer.isOn())
        request.headers += side.timer.offer();
    if (isInvite) {
        request.body = side.sent;
        side.inviteCseq = request.cseq;
        _isRefreshing = true;
        _refreshUntilMs = _host.clock().steadyMs() + kOfferMs;
    }
    side.probe = _host.transport().send(request, [this, number, isInvite](const CallMessage& response) {
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
        _isRefreshing = false;
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
    } else if (!side.timer.isOurs() && !isDialogGone(response)) {
        side.heardAtMs = now; // the session was only put back
    } else if (!mayBeTriedAgain(response) || now >= side.timer.endMs()) {
        end(408, reasonLine(response.status, "The session was not refreshed"));
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
    if (_isEnded) {
        at(_goodbyeAtMs);
    } else {
        at(_ringUntilMs);
        at(_talkUntilMs);
        if (_exchange)
            at(_exchange->untilMs);
        if (_isRefreshing)
            at(_refreshUntilMs);
        if (_winner >= 0) {
            at(_goodbyeAtMs);
            for (const int number : {kCaller, _winner})
                if (const CallLeg& side = leg(number); side.probe == nullptr) {
                    at(side.timer.dueMs());
                    at(side.heardAtMs + kSilenceMs);
                }
        }
    }
    if (next != INT64_MAX)
        _host.wake(*this, next);
}
