// Calls that a telephone sends on to another number (RFC 3261 section 21.3).
#include "calls/call.h"

#include "calls/call_words.h"
#include "calls/sdp_part.h"

#include <algorithm>
#include <utility>

// The caller stays who he is, whoever's rights the call uses now.
void Call::showAs(DialAnswer& answer, const CallLeg& shown)
{
    answer.caller = shown.number;
    answer.displayName = shown.display;
    answer.isDisplayNameRemoved = shown.display.empty();
    answer.isAnonymous = shown.isAnonymous;
    for (DialTarget& target : answer.targets)
        if (target.kind == DialTarget::Kind::LocalUser)
            target.caller = shown.number;
}

// Nobody is called by them any more. Those that have not answered yet are cancelled; one may do so all the same.
void Call::dismissBranches()
{
    for (size_t i = 0; i < _branches.size(); ++i)
        forget(static_cast<int>(i));
    for (std::unique_ptr<Branch>& branch : _branches) {
        if (!branch->isFinal && branch->invite != nullptr) {
            _host.removeLeg(branch->leg.dialog);
            branch->invite->cancel({});
        } else if (branch->arrival == nullptr) {
            continue;
        }
        _dismissed.push_back(std::move(branch));
    }
    _branches.clear();
    if (!_dismissed.empty())
        _goodbyeAtMs = _host.clock().steadyMs() + kGoodbyeMs;
}

void Call::onDismissedAnswer(Branch& branch, const CallMessage& response)
{
    if (!response.isFinal())
        return;
    if (response.isSuccess())
        hangUp(branch, response);
    std::erase_if(_dismissed, [&branch](const auto& one) { return one.get() == &branch; });
    finishIfDone();
}

// All telephones have refused or rung out their time, and one of them has named another number: it is called as if the
// telephone's user had dialed it. False: there is none, or that has gone too far.
bool Call::followRedirection()
{
    const std::string number = std::exchange(_redirection, {});
    const std::string by = _calledShare.user();
    // A session that the caller got reliably is his, and may have changed since (RFC 3262 section 5).
    if (number.empty() || by.empty() || _wasReliable || _forwards >= kMaxForwards)
        return false;
    ++_forwards;
    _hasFormerSession = hasSdp(_invite.body) && hasSdp(_caller.sent);
    for (const auto& branch : _branches)
        _formerReliable += branch->rseqs.size();
    _calledShare = UserShare(UserPart::Pending);
    dismissBranches();
    _host.log().end(_record, 302);
    _longest = longest();
    if (_forwarders.empty())
        _callersLongest = _longest;
    _answer = _host.analyzeFor(by, number, *this, _host.users());
    _forwarders.push_back(by);
    countPayers();
    showAs(_answer, _caller);
    _target = 0;
    _failures = {};
    _ringUntilMs = 0;
    beginRecord(number);
    CallAnswer forwarded{181};
    forwarded.headers = headerLine("Server", kProduct);
    if (_transaction != nullptr)
        _transaction->answer(forwarded);
    if (_answer.status != 0)
        fail({_answer.status});
    else
        tryTargets();
    return true;
}
