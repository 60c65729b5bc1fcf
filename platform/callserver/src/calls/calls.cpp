#include "calls/calls.h"

#include "calls/call_status.h"
#include "server_log.h"
#include "sip/uri_text.h"
#include "trace/message_trace.h"
#include "user_expiry.h"

#include <algorithm>

Calls::Calls(const Cdb_fac_mgr& store, Registrar& registrar, RefusalLog& refusals, CallTransport& transport,
             CdrStore& records, const Clock& clock, CallAdmission::CredentialsSink sink)
    : _registrar(registrar),
      _refusals(refusals),
      _transport(transport),
      _clock(clock),
      _userRows(store.users()),
      _system(store.system()),
      _plan(store),
      _admission(store.users(), store.system(), registrar, refusals, std::move(sink)),
      _noCalls([](const std::string& /*user*/, Eusr_stage /*stage*/) {}),
      _users([&registrar](const std::string& user, Eusr_stage stage) { registrar.setCallStage(user, stage); }),
      _log(store.system(), clock, records),
      _messages(transport, registrar, refusals, store)
{}

bool Calls::has(std::string_view callId, const SourceKey& source) const
{
    const auto it = _callIds.find(callId);
    return it != _callIds.end() && it->second.source == source;
}

CallVerdict Calls::judge(const CallMessage& request)
{
    if (!request.to.tag.empty())
        return judgeWithin(request);
    if (request.method != SipMethod::Invite && request.method != SipMethod::Message)
        return {false, 481};
    if (request.method == SipMethod::Invite)
        traceFrom(request, request.from.user, request.requestUser);
    CallVerdict verdict = _admission.admit(request, _admitted);
    if (!verdict.isServed)
        return verdict;
    const bool hasTimers = (_system.now().callFlags & kSysSessionTimers) != 0;
    if (request.method == SipMethod::Invite && hasTimers && LegTimer::isTooShort(request))
        return {false, 422, {}, headerLine("Min-SE", std::to_string(LegTimer::kMinimum))};
    return verdict;
}

CallVerdict Calls::judgeWithin(const CallMessage& request) const
{
    const auto it = _legs.find(std::string_view(request.to.tag));
    const Dialog* dialog = it == _legs.end() ? nullptr : it->second.call->dialogWith(it->second.leg, request.from.tag);
    if (dialog == nullptr || dialog->callId != request.callId)
        return {false, 481};
    // RFC 3261 section 12.2.2
    if (request.cseq <= dialog->remoteCseq && dialog->remoteCseq != 0)
        return {false, 500};
    return {true};
}

void Calls::onRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    if (!request.to.tag.empty()) {
        if (const auto held = _callIds.find(std::string_view(request.callId)); held != _callIds.end())
            held->second.source = sourceKey(request.source.address); // a telephone may move
        if (const auto it = _legs.find(std::string_view(request.to.tag)); it != _legs.end())
            it->second.call->onRequest(it->second.leg, request, std::move(transaction));
        return;
    }
    if (request.method == SipMethod::Message) {
        const DialAnswer answer = analyze({_admitted, callerOf(request), request.requestUser, request.to.user, false},
                                          _noCalls, request.source, "Message");
        _messages.relay(request, _admitted, answer, std::move(transaction));
        return;
    }
    if (request.replaces)
        replaceLeg(request, std::move(transaction));
    else
        beginCall(request, std::move(transaction));
}

void Calls::onStraySuccess(const CallMessage& response)
{
    const auto held = _callIds.find(std::string_view(response.callId));
    if (held == _callIds.end() || held->second.source != sourceKey(response.source.address) || response.to.tag.empty())
        return;
    if (const auto it = _legs.find(std::string_view(response.from.tag));
        it != _legs.end() && it->second.call->legAt(it->second.leg)->dialog.remoteTag == response.to.tag)
        return; // that one is confirmed already
    std::vector<std::string>& hungUp = held->second.hungUp;
    const bool isNew = std::find(hungUp.begin(), hungUp.end(), response.to.tag) == hungUp.end();
    if (isNew && hungUp.size() >= kMaxStrays)
        return;
    Dialog stray = dialogOfStray(response);
    _transport.sendAck(stray.ack(response.cseq));
    if (!isNew)
        return;
    hungUp.push_back(response.to.tag);
    (void)_transport.send(stray.request("BYE"), [](const CallMessage&) {});
}

// Its first message came before anybody knew that it is traced.
void Calls::traceFrom(const CallMessage& request, const std::string& caller, const std::string& called)
{
    MessageTrace& trace = messageTrace();
    if (trace.tracesCalls() && trace.followIf(request.callId, caller, called))
        trace.note(MessageTrace::Way::Received, request.source, request.text);
}

DialAnswer Calls::analyze(const CallRequest& request, const CallCounts& counts, const SipSource& source,
                          const char* what)
{
    DialAnswer answer = analyzeCall(_plan.now(), request, counts, _clock.wallSeconds());
    if (answer.status != 0)
        _refusals.note(request.caller, source.address, addressText(source),
                       std::to_string(answer.status) + ", " + answer.reason, what);
    for (const std::string& line : _missingConditions.linesFor(answer.missingTimeConditions, _clock.wallSeconds()))
        ServerLog("%s", line.c_str());
    return answer;
}

// As the one who was admitted says himself, unless it is known who that is.
const std::string& Calls::callerOf(const CallMessage& request) const
{
    return _admitted.kind == SourceKind::User ? _admitted.name : request.from.user;
}

// How the dial plan came to its answer, for calls that are traced.
void Calls::traceSteps(const std::string& callId, int number, const DialAnswer& answer)
{
    if (messageTrace().follows(callId))
        for (const DialStep& step : answer.steps)
            ServerLog("Trace: call %d: %s", number, step.text.c_str());
}

void Calls::beginCall(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    DialAnswer answer =
        analyze({_admitted, callerOf(request), request.requestUser, request.to.user, messageTrace().isOn()}, _users,
                request.source);
    const int number = _log.nextCall();
    traceFrom(request, answer.caller, answer.called);
    traceSteps(request.callId, number, answer);
    add(std::make_unique<Call>(static_cast<CallHost&>(*this), number, request, std::move(transaction), _admitted,
                               std::move(answer)))
        .begin();
}

// Nobody takes a call but the user who has it.
void Calls::replaceLeg(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction)
{
    lingerFor(request); // also where it is refused, and makes no leg
    int leg = Call::kCaller;
    Call* const call = findLeg(*request.replaces, leg);
    const auto user = _admitted.kind == SourceKind::User ? _userRows.now().find(_admitted.name) : nullptr;
    const bool isExpired = user != nullptr && hasExpired(*user, _clock.wallSeconds());
    if (call == nullptr && !isExpired)
        transaction->answer({user != nullptr && wasOurs(*request.replaces) ? 603 : 481}); // RFC 3891 section 3
    else if (isExpired || user == nullptr || call->legAt(leg)->user != _admitted.name)
        transaction->answer({403});
    else
        call->onReplace(leg, request, std::move(transaction));
}

void Calls::traceStep(const Call& call, const std::string& text)
{
    if (messageTrace().follows(call.legAt(Call::kCaller)->dialog.callId))
        ServerLog("Trace: call %d: %s", call.number(), text.c_str());
}

DialAnswer Calls::analyzeFor(const std::string& user, const std::string& number, const Call& call,
                             const CallCounts& counts)
{
    CallRequest request;
    request.source.kind = SourceKind::User;
    request.source.name = request.caller = user;
    request.dialed = number;
    request.areStepsTold = messageTrace().isOn();
    DialAnswer answer = analyze(request, counts, call.callerSource());
    traceSteps(call.legAt(Call::kCaller)->dialog.callId, call.number(), answer);
    return answer;
}

Call& Calls::add(std::unique_ptr<Call> call)
{
    Call& added = *call;
    _calls.emplace(added.number(), std::move(call));
    return added;
}

// A dialog that was over a moment ago. Nobody else knows our tag.
bool Calls::wasOurs(const ReplacedDialog& dialog) const
{
    return std::any_of(_lingering.begin(), _lingering.end(), [&dialog](const Ended& one) {
        return one.localTag == dialog.localTag && one.callId == dialog.callId;
    });
}

Call* Calls::findLeg(const ReplacedDialog& dialog, int& leg)
{
    const auto it = _legs.find(std::string_view(dialog.localTag));
    const CallLeg* found = it == _legs.end() ? nullptr : it->second.call->legAt(it->second.leg);
    if (found == nullptr || found->dialog.callId != dialog.callId || found->dialog.remoteTag != dialog.remoteTag)
        return nullptr;
    leg = it->second.leg;
    return it->second.call;
}

void Calls::addLeg(const Dialog& dialog, Call& call, int leg)
{
    _legs.insert_or_assign(dialog.localTag, LegRef{&call, leg});
    Held& held = _callIds[dialog.callId];
    if (held.legs++ == 0)
        held.source = sourceKey(dialog.peer.address);
    if (messageTrace().tracesCalls())
        messageTrace().followToo(dialog.callId, call.legAt(Call::kCaller)->dialog.callId);
}

void Calls::moveLeg(const Dialog& dialog, Call& call, int leg)
{
    _legs.insert_or_assign(dialog.localTag, LegRef{&call, leg});
}

void Calls::removeLeg(const Dialog& dialog)
{
    if (_legs.erase(dialog.localTag) != 0)
        _lingering.push_back({_clock.steadyMs() + kLingerMs, dialog.callId, dialog.localTag});
}

void Calls::lingerFor(const CallMessage& invite)
{
    Held& held = _callIds[invite.callId];
    if (held.legs++ == 0)
        held.source = sourceKey(invite.source.address);
    _lingering.push_back({_clock.steadyMs() + kLingerMs, invite.callId, {}});
}

void Calls::dropCallId(const std::string& callId)
{
    if (const auto it = _callIds.find(std::string_view(callId)); it != _callIds.end() && --it->second.legs == 0)
        _callIds.erase(it);
}

void Calls::wake(Call& call, int64_t atMs)
{
    // Whatever a call makes of its time, the others get theirs.
    atMs = std::max(atMs, _clock.steadyMs() + 1);
    if (call.dueMs == atMs)
        return;
    if (call.dueMs != 0)
        _due.erase({call.dueMs, call.number()});
    call.dueMs = atMs;
    _due.emplace(atMs, call.number());
}

void Calls::finished(Call& call)
{
    if (call.dueMs != 0)
        _due.erase({call.dueMs, call.number()});
    call.dueMs = 0;
    const auto it = _calls.find(call.number());
    if (it == _calls.end())
        return;
    _finished.push_back(std::move(it->second));
    _calls.erase(it);
}

void Calls::refused(const std::string& caller, const SipSource& source, const std::string& reason)
{
    _refusals.note(caller, source.address, addressText(source), reason, "Call");
}

void Calls::step()
{
    _finished.clear();
    const int64_t now = _clock.steadyMs();
    while (!_lingering.empty() && _lingering.front().untilMs <= now) {
        dropCallId(_lingering.front().callId);
        _lingering.pop_front();
    }
    while (!_due.empty() && _due.begin()->first <= now) {
        const int number = _due.begin()->second;
        _due.erase(_due.begin());
        if (const auto it = _calls.find(number); it != _calls.end()) {
            it->second->dueMs = 0;
            it->second->step();
        }
    }
}

size_t Calls::releaseAll()
{
    std::vector<Call*> open;
    for (const auto& [number, call] : _calls)
        if (!call->isEnded())
            open.push_back(call.get());
    for (Call* call : open)
        call->release(480, "Released by the administrator");
    return open.size();
}

void Calls::dropUdp()
{
    std::vector<Call*> affected;
    for (const auto& [number, call] : _calls)
        if (call->usesUdp())
            affected.push_back(call.get());
    if (!affected.empty())
        ServerLog("SIP over UDP moves: %zu %s.", affected.size(),
                  affected.size() == 1 ? "call over it is released" : "calls over it are released");
    for (Call* call : affected)
        call->drop();
    _messages.drop();
}

std::vector<std::string> Calls::statusTable() const
{
    std::vector<CallStatusRow> rows;
    for (const auto& [number, call] : _calls)
        if (!call->isEnded())
            for (const CallRecord* record : call->records())
                rows.push_back({number, &record->data});
    return callStatusTable(rows, _clock.wallSeconds());
}

size_t Calls::inProgress() const
{
    return static_cast<size_t>(
        std::count_if(_calls.begin(), _calls.end(), [](const auto& one) { return !one.second->isEnded(); }));
}
