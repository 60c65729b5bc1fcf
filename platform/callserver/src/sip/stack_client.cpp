#include "sip/stack_client.h"

#include "sip/call_parts.h"
#include "sip/stack_calls.h"

#include <sofia-sip/msg.h>
#include <sofia-sip/sip_tag.h>
#include <utility>

StackClientTransaction::StackClientTransaction(StackCalls& calls, uint64_t number, SipSource destination,
                                               ResponseHandler onResponse)
    : _calls(calls), _number(number), _destination(std::move(destination)), _onResponse(std::move(onResponse))
{
    _calls._clients.insert(this);
}

StackClientTransaction::~StackClientTransaction()
{
    _calls._clients.erase(this);
    if (_outgoing == nullptr)
        return;
    // A success that comes later is confirmed and ended by the stack itself.
    if (_isInvite && !_isFinal && _hasProvisional && !_isCancelled)
        sendCancel();
    nta_outgoing_destroy(_outgoing);
}

void StackClientTransaction::finish()
{
    if (_outgoing != nullptr)
        nta_outgoing_destroy(std::exchange(_outgoing, nullptr));
}

void StackClientTransaction::begin(nta_agent_t* agent, nta_outgoing_t* outgoing, bool isInvite)
{
    _agent = agent;
    _outgoing = outgoing;
    _isInvite = isInvite;
}

void StackClientTransaction::keepForCancel(const CallRequestOut& invite, const std::string& via)
{
    _own = std::make_unique<OwnCancel>(OwnCancel{invite, via});
    _own->request.method = "CANCEL";
    _own->request.body = {};
    _own->request.hasContact = false;
}

void StackClientTransaction::cancel(const std::string& headers)
{
    if (_outgoing == nullptr || !_isInvite || _isFinal || std::exchange(_isCancelled, true))
        return;
    _cancelHeaders = headers;
    if (_hasProvisional)
        sendCancel();
}

int StackClientTransaction::onAnswer(nta_outgoing_magic_t* magic, nta_outgoing_t* outgoing, const sip_t* sip)
{
    auto& self = *reinterpret_cast<StackClientTransaction*>(magic);
    const int status = sip == nullptr ? nta_outgoing_status(outgoing) : sip->sip_status->st_status;
    const bool isLate = self._isFinal;
    self._isFinal = self._isFinal || status >= 200;
    if (!std::exchange(self._hasProvisional, true) && self._isCancelled && !self._isFinal)
        self.sendCancel();
    if (status == 100)
        return 0;
    const bool isOwn = sip == nullptr || nta_sip_is_internal(sip) != 0;
    msg_t* message = isOwn ? nullptr : nta_outgoing_getresponse(outgoing);
    const CallMessage response =
        callResponse(message, isOwn ? nullptr : sip, status, isOwn ? SipSource() : self._destination,
                     isLate ? Parties::Whole : Parties::Tags);
    if (message != nullptr)
        msg_destroy(message);
    if (isLate) {
        self._calls._onStray(response);
        return 0;
    }
    // It may destroy this object.
    const ResponseHandler handler = self._onResponse;
    handler(response);
    return 0;
}

std::string StackClientTransaction::branch() const
{
    const char* branch = _outgoing == nullptr ? nullptr : nta_outgoing_branch(_outgoing);
    return branch == nullptr ? std::string() : std::string(branch);
}

void StackClientTransaction::fail()
{
    CallMessage response;
    response.status = 503;
    const ResponseHandler handler = _onResponse;
    handler(response);
}

// RFC 3261 section 9.1: not before the first provisional answer. The stack would let it wait, too, but takes an
// answer to a CANCEL that it has not sent for a fault of its own, and aborts the process.
void StackClientTransaction::sendCancel()
{
    if (_own != nullptr) {
        _own->request.headers = _cancelHeaders;
        _calls.sendCancel(_own->request, _own->via);
        return;
    }
    (void)nta_outgoing_tcancel(_outgoing, nullptr, nullptr,
                               TAG_IF(!_cancelHeaders.empty(), SIPTAG_HEADER_STR(_cancelHeaders.c_str())), TAG_END());
}
