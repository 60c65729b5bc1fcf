// A call while its telephones ring: what they answer, and what the caller hears of it.
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp.h"
#include "calls/sdp_part.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"

#include <algorithm>
#include <utility>

void Call::onBranchAnswer(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    if (branch.isFinal)
        return;
    if (branch.isArrived) {
        onArrivedAnswer(index, response);
        return;
    }
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
        hangUp(branch, response);
    else
        onSuccess(index, response);
    finishIfDone();
}

bool Call::listenTo(size_t index, const std::string& tag)
{
    Branch& branch = *_branches[index];
    Dialog& dialog = branch.leg.dialog;
    if (tag.empty() || tag == dialog.remoteTag || dialog.remoteTag.empty())
        return true;
    auto it = std::find_if(branch.early.begin(), branch.early.end(),
                           [&tag](const EarlyDialog& one) { return one.dialog.remoteTag == tag; });
    if (it == branch.early.end()) {
        if (branch.early.size() >= kMaxEarly)
            return false;
        it = branch.early.insert(it, {dialog, 0});
        it->dialog.remoteTag = tag;
        it->dialog.remoteCseq = 0;
    }
    std::swap(it->dialog, dialog);
    std::swap(it->seenRseq, branch.seenRseq);
    dialog.localCseq = std::max(dialog.localCseq, it->dialog.localCseq);
    dialog.peer = it->dialog.peer;
    return true;
}

void Call::onProgress(size_t index, const CallMessage& response)
{
    Branch& branch = *_branches[index];
    if (_isEnded || _winner >= 0 || !listenTo(index, response.to.tag))
        return;
    branch.leg.dialog.learn(response);
    if (!response.allow.empty())
        branch.leg.allow = response.allow;
    if (response.rseq != 0) {
        // RFC 3262 section 4: what is not the next one is not taken; it comes again.
        const bool isNext = branch.seenRseq == 0 || response.rseq == branch.seenRseq + 1;
        if (!isNext || branch.rseqs.size() >= kMaxUnconfirmed)
            return;
        branch.seenRseq = response.rseq;
    }
    const bool isFirst = _calledShare.part() == UserPart::Pending;
    if (response.status == 180 || response.status == 183) {
        BclCopyStr(_record.data.calledAddr, addressText(branch.leg.dialog.peer).c_str());
        _record.data.flags |= kCdrCalledAddr;
        _calledShare.setPart(UserPart::Ringing);
        _host.log().ring(_record);
    }
    if (_origin != nullptr) {
        _origin->attemptRings(response);
        return;
    }
    if (_joiner != nullptr)
        _joiner->attemptRings(response);
    if (_transaction == nullptr) {
        if (response.rseq != 0)
            confirmProgress(index, response.rseq);
        return;
    }
    if (_branches.size() > 1) {
        if (isFirst && _calledShare.part() == UserPart::Ringing) {
            CallAnswer ringing{180};
            ringing.headers = featuresFor(_caller, branch.leg) + headerLine("Server", kProduct);
            ringing.hasContact = true;
            ringing.contactUser = _caller.dialog.contactUser;
            _transaction->answer(ringing);
        }
        return;
    }
    const SipBody known = _hasFormerSession ? _caller.sent : SipBody{};
    CallAnswer answer = passedAnswer(response, static_cast<int>(index), kCaller);
    if (_hasFormerSession) {
        answer.body = {};
        _caller.sent = known;
    }
    if (response.rseq != 0 && _transaction->answerReliably(answer)) {
        branch.rseqs.push_back({response.rseq, response.to.tag});
        noteEarlyOffer(response);
    } else {
        _transaction->answer(answer);
    }
}

// RFC 3262 section 5: a reliable answer answers the offer, or makes it.
void Call::noteEarlyOffer(const CallMessage& response)
{
    if (!hasSdp(response.body))
        return;
    _wasReliable = true;
    if (hasSdp(_invite.body))
        _initialOffer.reset();
    else
        _initialOffer = 0;
}

std::string Call::featuresFor(const CallLeg& side, const CallLeg& other) const
{
    return headerLine("Allow", allowFor(side, other)) +
           headerLine("Supported", keepsTime(side) ? "replaces, timer" : "replaces");
}

// Who is at the other end, or will be.
const CallLeg& Call::partnerOf(int number)
{
    return leg(otherSide(number).value_or(kCaller));
}

CallAnswer Call::passedAnswer(const CallMessage& response, int from, int to)
{
    CallAnswer answer{response.status, response.phrase};
    answer.headers = response.passed;
    if (response.status < 300) {
        answer.headers += featuresFor(leg(to), leg(from)) + headerLine("Server", kProduct);
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
    if (branch.isArrived) {
        branch.leg.dialog.refreshTarget(response);
    } else {
        (void)listenTo(index, response.to.tag);
        branch.leg.dialog.learn(response);
    }
    if (!response.allow.empty())
        branch.leg.allow = response.allow;
    if (hasTimers())
        branch.leg.timer.answered(response, now);
    // Otherwise they would list a missed call (RFC 3326 section 3.1).
    cancelBranches(index, reasonLine(200, "Call completed elsewhere"));
    if (_origin != nullptr || (_invite.body.isEmpty() && !response.body.isEmpty() && branch.rseqs.empty()))
        branch.isConfirmable = true; // the answer to its offer comes with the caller's ACK
    else
        confirm(branch, {});
    if (branch.rseqs.empty())
        _initialOffer = branch.isConfirmable ? std::optional(_winner) : std::nullopt;
    BclCopyStr(_record.data.calledAddr, addressText(branch.leg.dialog.peer).c_str());
    _record.data.flags |= kCdrCalledAddr;
    if (_transaction != nullptr)
        answerCaller(response);
    branch.early.clear();
    _callerShare.setPart(UserPart::Talking);
    _calledShare.setPart(UserPart::Talking);
    _host.log().answer(_record);
    _ringUntilMs = 0;
    startDuration(now);
    reschedule();
    if (_origin != nullptr) {
        _origin->attemptAnswered(response.body);
    } else if (_transaction == nullptr) {
        _isAcked = true;
        _initialOffer.reset();
        _joiner->goOnReferring();
    }
}

void Call::answerCaller(const CallMessage& response)
{
    const bool isOther = _hasFormerSession || !_branches[static_cast<size_t>(_winner)]->early.empty();
    const SipBody known = isOther ? _caller.sent : SipBody{};
    CallAnswer answer = passedAnswer(response, _winner, kCaller);
    if (isOther && hasSdp(_invite.body) && hasSdp(known) && hasSdp(response.body) && known.data != _caller.sent.data) {
        // He takes the first answer to his offer for the only one (RFC 3261 section 13.2.1). The session with another
        // telephone, behind the contact or where the call was sent on to, is offered to him once he has confirmed.
        answer.body = known;
        _caller.origin = originOf(known.data);
        (void)bodyFor(_caller, response.body);
        _caller.puts = {kMaxPuts, _host.clock().steadyMs()};
    }
    if (hasTimers())
        answer.headers += _caller.timer.accept(_invite, _host.clock().steadyMs());
    _transaction->answer(answer);
}

void Call::confirm(Branch& branch, const SipBody& body)
{
    branch.isConfirmable = false;
    if (branch.invite == nullptr)
        return;
    CallRequestOut ack = branch.leg.dialog.ack(branch.leg.inviteCseq);
    ack.body = bodyFor(branch.leg, body);
    _host.transport().sendAck(ack, *branch.invite);
    branch.invite.reset();
}

// It answered when nobody wanted it any more.
void Call::hangUp(Branch& branch, const CallMessage& response)
{
    branch.leg.dialog.learn(response);
    confirm(branch, {});
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
    // Those that name a proxy or another service (305, 380) are none.
    if (response.status <= 302 && !response.contactUser.empty())
        _redirection = response.contactUser;
    const bool isAll = std::all_of(_branches.begin(), _branches.end(), [](const auto& one) { return one->isFinal; });
    if (!isAll && response.status < 600)
        return;
    if (isAll && response.status < 600 && followRedirection())
        return;
    cancelBranches(index, {});
    fail(_failures.answer());
}

// Nobody waits for their answers any more. To a success that comes all the same the stack says good-bye, once it is not
// heard here.
void Call::giveUpBranches()
{
    for (const auto& branch : _branches) {
        branch->isFinal = true;
        branch->invite.reset();
    }
    std::erase_if(_dismissed, [](const auto& branch) { return branch->arrival == nullptr; });
}

void Call::cancelBranches(size_t except, const std::string& headers)
{
    for (size_t i = 0; i < _branches.size(); ++i) {
        Branch& branch = *_branches[i];
        if (i == except || branch.isFinal)
            continue;
        if (branch.isArrived)
            dismissArrived(branch, headers, false);
        else if (branch.invite != nullptr)
            branch.invite->cancel(headers);
    }
    _goodbyeAtMs = _host.clock().steadyMs() + kGoodbyeMs;
}
