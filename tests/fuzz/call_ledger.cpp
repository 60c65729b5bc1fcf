#include "fuzz/call_ledger.h"

#include "fuzz/fuzz_checks.h"

#include <algorithm>

std::string tagOf(const std::string& party)
{
    const size_t begin = party.find(";tag=");
    return begin == std::string::npos ? std::string() : party.substr(begin + 5);
}

bool isSuccess(int status)
{
    return status >= 200 && status < 300;
}

void CallLedger::look()
{
    for (; sent.size() < _transport.sent.size(); sent.push_back({_transport.sent[sent.size()], _clock.steadyMs()}))
        checkNew(_transport.sent[sent.size()]->request);
    for (Sent& one : sent)
        if (one.request->isCancelled && !one.cancelledAtMs)
            one.cancelledAtMs = _clock.steadyMs();
    for (Heard& one : heard)
        if (const size_t awaited = one.request->reliable.size() + (one.awaitsAck() ? 1 : 0); awaited > one.awaited) {
            one.awaited = awaited;
            one.atMs = _clock.steadyMs();
        }
}

void CallLedger::checkNew(const CallRequestOut& request)
{
    require(_addresses.count(request.destination.address) != 0);
    // RFC 3261 section 12.2.1.1
    uint32_t& last = _cseqs[request.callId + tagOf(request.from)];
    require(request.cseq > last);
    last = request.cseq;
    if (request.method == "BYE") {
        require(mayBeEnded(request));
        endings[request.callId].isByeSent = true;
    } else if (request.method == "INVITE" && !tagOf(request.to).empty()) {
        checkTurn(request);
    }
}

// RFC 3261 section 15: who was called after his success, who calls after its confirmation.
bool CallLedger::mayBeEnded(const CallRequestOut& bye) const
{
    const bool isCalled = std::any_of(sent.begin(), sent.end(), [&](const Sent& one) {
        return one.isInvite() && one.isInitial() && one.request->request.callId == bye.callId && isSuccess(one.final);
    });
    return isCalled || std::any_of(heard.begin(), heard.end(), [&](const Heard& one) {
               return one.isInvite() && one.isInitial() && one.request->request.callId == bye.callId && one.isOver &&
                      isSuccess(one.request->status());
           });
}

// RFC 3261 section 14.1: one INVITE at a time, in whatever direction. One that was cancelled is over after a while
// (section 9.1), whatever its telephone says.
void CallLedger::checkTurn(const CallRequestOut& request) const
{
    constexpr int64_t kOverMs = 64'000;
    constexpr int64_t kCancelledMs = 32'000; // 64*T1
    const int64_t now = _clock.steadyMs();
    for (const Sent& one : sent)
        require(!one.isInvite() || one.request->request.callId != request.callId || one.isTold ||
                now - one.atMs > kOverMs || (one.cancelledAtMs && now - *one.cancelledAtMs >= kCancelledMs));
    for (const Heard& one : heard)
        require(!one.isInvite() || one.request->request.callId != request.callId || one.request->isDecided);
}

void CallLedger::checkHeard(const Heard& one) const
{
    require(one.request->transaction == nullptr && one.request->isDecided);
    require(one.request->finals == 1 || (one.request->finals == 0 && one.isOwn));
    if (!one.isInvite() || !one.isInitial() || !isSuccess(one.request->status()))
        return;
    const auto ending = endings.find(one.request->request.callId);
    require(ending != endings.end() && ending->second.isAny());
}

void CallLedger::checkSent(const Sent& one) const
{
    require(!one.request->isHeard);
    require(one.request->acks.empty() || (one.isInvite() && isSuccess(one.final)));
    const auto ending = endings.find(one.request->request.callId);
    if (!one.isInvite() || !isSuccess(one.final))
        return;
    const bool isLost = ending != endings.end() && ending->second.isLost;
    require(isLost || !one.request->acks.empty());
    require(!one.isInitial() || (ending != endings.end() && ending->second.isAny()));
}

void CallLedger::checkEnd() const
{
    for (const Heard& one : heard)
        checkHeard(one);
    for (const Sent& one : sent)
        checkSent(one);
}
