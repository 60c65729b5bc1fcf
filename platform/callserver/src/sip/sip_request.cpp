#include "sip/sip_request.h"

#include "sip/stack_text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <sofia-sip/sip_header.h>

namespace {

constexpr uint32_t kMalformedExpires = 3600; // RFC 3261 section 10.2.1.1
constexpr size_t kMaxAuthorizations = 8;     // a client has one or two; each costs a parse

// Seconds; a number too large for the type is as large as it gets.
uint32_t deltaSeconds(const char* text)
{
    const char* end = text + std::strlen(text);
    uint32_t value = 0;
    const auto [stop, error] = std::from_chars(text, end, value);
    if (error == std::errc::result_out_of_range)
        return UINT32_MAX;
    return error != std::errc() || stop != end ? kMalformedExpires : value;
}

uint8_t percentOf(const char* q)
{
    if (q == nullptr)
        return 100;
    double value = 1;
    const auto [stop, error] = std::from_chars(q, q + std::strlen(q), value);
    return error != std::errc() || !(value >= 0 && value <= 1) ? 100 : static_cast<uint8_t>(std::lround(value * 100));
}

void addContacts(msg_t* message, const sip_contact_t* header, RegisterRequest& request)
{
    // One more than may be is enough to tell that there are too many; strangers may send thousands.
    for (; header != nullptr && request.contacts.size() <= kMaxContacts; header = header->m_next) {
        RegisterContact& contact = request.contacts.emplace_back();
        if (header->m_url->url_type == url_any) {
            request.isStar = true;
            continue;
        }
        contact.uri.text = uriText(message, header->m_url);
        contact.priority = percentOf(header->m_q);
        if (header->m_expires != nullptr)
            contact.expires = deltaSeconds(header->m_expires);
    }
}

} // namespace

RegisterRequest registerRequest(msg_t* message, const sip_t* sip, const SipSource& source)
{
    RegisterRequest request;
    request.source = source;
    request.requestUri = uriText(message, sip->sip_request->rq_url);
    request.user = unescapedText(sip->sip_to->a_url->url_user);
    request.callId = sip->sip_call_id->i_id;
    request.cseq = sip->sip_cseq->cs_seq;
    addContacts(message, sip->sip_contact, request);
    if (sip->sip_expires != nullptr)
        request.expires =
            sip->sip_expires->ex_date != 0 ? kMalformedExpires : static_cast<uint32_t>(sip->sip_expires->ex_delta);
    if (sip->sip_user_agent != nullptr && sip->sip_user_agent->g_string != nullptr)
        request.userAgent = sip->sip_user_agent->g_string;
    for (const sip_authorization_t* header = sip->sip_authorization;
         header != nullptr && request.authorizations.size() < kMaxAuthorizations; header = header->au_next)
        request.authorizations.push_back(authorizationText(header));
    return request;
}
