#include "sip/stack_server.h"

#include "sip/call_parts.h"
#include "sip/request_text.h"
#include "sip/stack_calls.h"
#include "sip/stack_text.h"

#include <algorithm>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_tag.h>
#include <utility>

StackServerTransaction::StackServerTransaction(StackCalls& calls, Taken taken)
    : _calls(calls), _taken(std::move(taken)), _number(++calls._taken)
{
    _calls._servers.insert(this);
    const auto hear = [](nta_incoming_magic_t* magic, nta_incoming_t*, const sip_t* sip) {
        reinterpret_cast<StackServerTransaction*>(magic)->onAckOrCancel(sip);
        return 0;
    };
    nta_incoming_bind(_taken.incoming, hear, reinterpret_cast<nta_incoming_magic_t*>(this));
}

StackServerTransaction::~StackServerTransaction()
{
    _calls._servers.erase(this);
    if (_taken.incoming == nullptr)
        return;
    for (nta_reliable_t* reliable : std::exchange(_reliable, {}))
        nta_reliable_destroy(reliable);
    nta_incoming_destroy(_taken.incoming);
}

void StackServerTransaction::setTag(const std::string& tag)
{
    if (_taken.incoming != nullptr)
        (void)nta_incoming_tag(_taken.incoming, tag.c_str());
}

void StackServerTransaction::answer(const CallAnswer& answer)
{
    if (_taken.incoming == nullptr || _isAnswered)
        return;
    // The stack says 100 by itself, when after 200 ms nothing else was said (RFC 3261 section 17.2.1).
    if (answer.status == 100)
        return;
    // The stack would make it reliable by itself, and hold none back until the one before was confirmed.
    if (_taken.isReliableRequired && answer.status > 100 && answer.status < 200) {
        (void)answerReliably(answer, true);
        return;
    }
    _isAnswered = answer.status >= 200;
    _isSuccess = _isAnswered && answer.status < 300;
    // RFC 3262 section 3: not before what the caller may need of it was confirmed.
    if (_isSuccess && !_reliable.empty()) {
        _waiting.push_back({answer, false, false});
        return;
    }
    if (_isAnswered)
        _waiting.clear();
    // Nobody would confirm it for half a minute.
    if (_isSuccess && _calls.isCut(_taken.source))
        _calls.loseLater(this);
    else
        give(answer);
}

bool StackServerTransaction::answerReliably(const CallAnswer& answer)
{
    return answerReliably(answer, false);
}

bool StackServerTransaction::answerReliably(const CallAnswer& answer, bool isOwn)
{
    if (_taken.incoming == nullptr || _isAnswered)
        return false;
    if (_reliable.empty())
        return giveReliably(answer, isOwn);
    _waiting.push_back({answer, true, isOwn});
    return true;
}

void StackServerTransaction::lose()
{
    if (_listener != nullptr)
        _listener->onUnconfirmed(*this);
}

void StackServerTransaction::forget()
{
    _taken.incoming = nullptr;
    _reliable.clear();
    _waiting.clear();
}

void StackServerTransaction::give(const CallAnswer& answer)
{
    msg_t* message = responseTo(answer);
    if (message == nullptr && answer.status >= 200)
        message = responseTo({500}); // one of its headers cannot be written
    if (message != nullptr)
        nta_incoming_mreply(_taken.incoming, message);
}

bool StackServerTransaction::giveReliably(const CallAnswer& answer, bool isOwn)
{
    msg_t* message = responseTo(answer);
    if (message == nullptr)
        return false;
    const auto hear = [](nta_reliable_magic_t* magic, nta_reliable_t* reliable, nta_incoming_t* prack,
                         const sip_t* sip) {
        reinterpret_cast<StackServerTransaction*>(magic)->onConfirmed(reliable, prack, sip);
        return 0;
    };
    nta_reliable_t* reliable =
        nta_reliable_mreply(_taken.incoming, hear, reinterpret_cast<nta_reliable_magic_t*>(this), message);
    if (reliable == nullptr)
        return false;
    _reliable.push_back(reliable);
    _isOwnReliable = isOwn;
    return true;
}

// The last reliable answer was confirmed.
void StackServerTransaction::giveNext()
{
    while (!_waiting.empty() && _reliable.empty() && _taken.incoming != nullptr) {
        const Waiting next = std::move(_waiting.front());
        _waiting.pop_front();
        if (!next.isReliable || !giveReliably(next.answer, next.isOwn))
            give(next.answer);
    }
}

// A success that nobody has seen yet was not given.
void StackServerTransaction::takeBackWaiting()
{
    if (!_waiting.empty())
        _isAnswered = _isSuccess = false;
    _waiting.clear();
}

// Null without memory, or when a header cannot be written.
msg_t* StackServerTransaction::responseTo(const CallAnswer& answer)
{
    std::string headers = answer.headers;
    if (answer.hasContact)
        headers += headerLine("Contact", _calls.contactText(answer.contactUser, _taken.source));
    addBodyLines(answer.body, headers);
    const std::string phrase(answer.phrase.empty() ? statusPhrase(answer.status) : answer.phrase);
    msg_t* message = nta_msg_create(_taken.agent, 0);
    if (message == nullptr)
        return nullptr;
    // The stack does not copy the phrase.
    const char* const kept = su_strdup(msg_home(message), phrase.empty() ? "Unknown" : phrase.c_str());
    if (!addLines(message, headers) || !addBody(message, answer.body) ||
        nta_incoming_complete_response(_taken.incoming, message, answer.status, kept, TAG_END()) < 0) {
        msg_destroy(message);
        return nullptr;
    }
    if (_taken.source.transport != kTransportUdp)
        mendVia(message, sip_object(message)->sip_via);
    return message;
}

// The stack has written down its own local connection, and a transport that it knows.
void StackServerTransaction::mendVia(msg_t* message, sip_via_t* via) const
{
    if (via == nullptr)
        return;
    su_home_t* home = msg_home(message);
    if (!_taken.protocol.empty())
        via->v_protocol = su_strdup(home, _taken.protocol.c_str());
    const std::string received = "received=" + _taken.source.address;
    const std::string port = "rport=" + std::to_string(_taken.source.port);
    msg_header_replace_param(home, via->v_common, su_strdup(home, received.c_str()));
    msg_header_replace_param(home, via->v_common, su_strdup(home, port.c_str()));
    msg_fragment_clear(via->v_common);
}

void StackServerTransaction::onAckOrCancel(const sip_t* sip)
{
    if (_listener == nullptr)
        return;
    if (sip == nullptr) {
        takeBackWaiting();
        _listener->onUnconfirmed(*this);
        return;
    }
    msg_t* message = nta_incoming_getrequest_ackcancel(_taken.incoming);
    const CallMessage request = callRequest(message, sip, _taken.source);
    msg_destroy(message);
    if (request.method == SipMethod::Ack) {
        // That of a failure says nothing.
        if (_isSuccess && _waiting.empty())
            _listener->onAck(*this, request);
    } else if (request.method == SipMethod::Cancel) {
        takeBackWaiting();
        _listener->onCancel(*this, request);
    }
}

void StackServerTransaction::onConfirmed(nta_reliable_t* reliable, nta_incoming_t* prack, const sip_t* sip)
{
    std::erase(_reliable, reliable);
    nta_reliable_destroy(reliable);
    if (prack == nullptr)
        return;
    auto transaction = std::make_unique<StackServerTransaction>(
        _calls, Taken{_taken.agent, prack, _taken.source, _taken.protocol, false});
    if (_listener == nullptr || sip == nullptr) {
        transaction->answer({200});
        giveNext();
        return;
    }
    msg_t* message = nta_incoming_getrequest(prack);
    const CallMessage request = callRequest(message, sip, _taken.source);
    msg_destroy(message);
    if (std::exchange(_isOwnReliable, false)) {
        // The telephone that made the answer knows of no PRACK: nobody is there for an offer in one.
        transaction->answer({request.body.isSdp() ? 488 : 200});
        giveNext();
        return;
    }
    StackCalls& calls = _calls;
    _listener->onPrack(*this, request, std::move(transaction));
    // It may have ended the call.
    if (calls._servers.count(this) != 0)
        giveNext();
}
