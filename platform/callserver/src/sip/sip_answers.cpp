#include "sip/sip_answers.h"

#include "sip/sip_agent.h"
#include "sip/sip_request.h"
#include "sip/via_source.h"

#include <cstdio>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/nta_stateless.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>
#include <string>
#include <utility>

// All answers here are stateless: a transaction of the stack would cost 10 kB for half a minute, and these requests
// give the same answer when they are repeated.
namespace {

constexpr const char* kAllow = "OPTIONS, REGISTER";
constexpr const char* kServer = "Parlovex";

template <class... Tags>
void answer(nta_agent_t* agent, msg_t* message, int status, const char* phrase, Tags... tags)
{
    nta_msg_treply(agent, message, status, phrase, tags..., TAG_END());
}

void answerOptions(nta_agent_t* agent, msg_t* message)
{
    answer(agent, message, SIP_200_OK, SIPTAG_ALLOW_STR(kAllow), SIPTAG_ACCEPT_STR("application/sdp"),
           SIPTAG_SERVER_STR(kServer));
}

std::string contactText(const RegisterReply::Contact& contact)
{
    std::string text = "<" + contact.uri + ">;expires=" + std::to_string(contact.expires);
    if (contact.priority < 100) {
        char q[16];
        std::snprintf(q, sizeof q, ";q=0.%02u", unsigned{contact.priority});
        text += q;
    }
    return text;
}

void answerRegister(nta_agent_t* agent, msg_t* message, const sip_t* sip, SipHandler& handler)
{
    const RegisterReply reply = handler.onRegister(registerRequest(message, sip));
    std::string contacts;
    for (const RegisterReply::Contact& contact : reply.contacts)
        contacts += (contacts.empty() ? "" : ", ") + contactText(contact);
    const auto challenge = [&](size_t i) {
        return i < reply.challenges.size() ? reply.challenges[i].c_str() : nullptr;
    };
    const std::string minExpires = reply.minExpires ? std::to_string(*reply.minExpires) : std::string();
    su_home_t* home = msg_home(message);
    answer(agent, message, reply.status, su_strdup(home, reply.phrase.c_str()),
           TAG_IF(!contacts.empty(), SIPTAG_CONTACT_STR(contacts.c_str())),
           TAG_IF(challenge(0) != nullptr, SIPTAG_WWW_AUTHENTICATE_STR(challenge(0))),
           TAG_IF(challenge(1) != nullptr, SIPTAG_WWW_AUTHENTICATE_STR(challenge(1))),
           TAG_IF(reply.minExpires.has_value(), SIPTAG_MIN_EXPIRES_STR(minExpires.c_str())),
           TAG_IF(reply.status == 200, SIPTAG_DATE(sip_date_create(home, sip_now()))),
           TAG_IF(reply.status == 200, SIPTAG_SERVER_STR(kServer)));
}

// 0: a method that is served here.
int methodStatus(const sip_t* sip)
{
    switch (sip->sip_request->rq_method) {
    case sip_method_register:
    case sip_method_options:
        return 0;
    case sip_method_invite:
    case sip_method_bye:
    case sip_method_prack:
    case sip_method_update:
    case sip_method_subscribe:
    case sip_method_notify:
    case sip_method_message:
    case sip_method_refer:
    case sip_method_info:
    case sip_method_publish:
        return sip->sip_to->a_tag == nullptr ? 405 : 481;
    case sip_method_cancel:
        return 481;
    default:
        return 501;
    }
}

bool refuseMethod(nta_agent_t* agent, msg_t* message, const sip_t* sip)
{
    switch (methodStatus(sip)) {
    case 0:
        return false;
    case 405:
        answer(agent, message, SIP_405_METHOD_NOT_ALLOWED, SIPTAG_ALLOW_STR(kAllow));
        break;
    case 481:
        answer(agent, message, SIP_481_NO_TRANSACTION);
        break;
    default:
        answer(agent, message, SIP_501_NOT_IMPLEMENTED, SIPTAG_ALLOW_STR(kAllow));
    }
    return true;
}

// RFC 3261 section 8.2.2
bool refuseHeaders(nta_agent_t* agent, msg_t* message, const sip_t* sip)
{
    const auto scheme = sip->sip_request->rq_url->url_type;
    if (scheme != url_sip && scheme != url_sips) {
        answer(agent, message, SIP_416_UNSUPPORTED_URI);
        return true;
    }
    std::string unsupported;
    for (const sip_require_t* require = sip->sip_require; require != nullptr; require = require->k_next)
        for (msg_param_t const* option = require->k_items; option != nullptr && *option != nullptr; ++option)
            unsupported += (unsupported.empty() ? "" : ", ") + std::string(*option);
    if (unsupported.empty())
        return false;
    answer(agent, message, SIP_420_BAD_EXTENSION, SIPTAG_UNSUPPORTED_STR(unsupported.c_str()));
    return true;
}

} // namespace

void answerMessage(nta_agent_t* agent, msg_t* message, sip_t* sip, SipHandler& handler)
{
    const bool isRequest = sip != nullptr && sip->sip_request != nullptr;
    if (!isRequest || sip->sip_request->rq_method == sip_method_ack) {
        msg_destroy(message);
        return;
    }
    markReceived(message, sip);
    if (isOtherVersion(sip)) {
        answer(agent, message, SIP_505_VERSION_NOT_SUPPORTED);
        return;
    }
    if (sip->sip_to == nullptr || sip->sip_from == nullptr || sip->sip_call_id == nullptr || sip->sip_cseq == nullptr ||
        sip->sip_error != nullptr) {
        answer(agent, message, SIP_400_BAD_REQUEST);
        return;
    }
    if (refuseMethod(agent, message, sip) || refuseHeaders(agent, message, sip))
        return;
    if (sip->sip_request->rq_method == sip_method_options)
        answerOptions(agent, message);
    else
        answerRegister(agent, message, sip, handler);
}
