#include "sip/sip_answers.h"

#include "sip/call_parts.h"
#include "sip/hex_text.h"
#include "sip/message_lines.h"
#include "sip/reply_text.h"
#include "sip/sip_agent.h"
#include "sip/sip_request.h"
#include "sip/stack_calls.h"
#include "sip/stack_sockets.h"
#include "sip/stack_text.h"
#include "sip/via_source.h"
#include "trace/message_trace.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/msg_parser.h>
#include <sofia-sip/nta_stateless.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>
#include <string>
#include <string_view>
#include <utility>

// All answers here but those of calls are stateless: a transaction of the stack would cost 10 kB for half a minute, and
// these requests give the same answer when they are repeated.
namespace {

constexpr const char* kAllow = "INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK, UPDATE, INFO, MESSAGE, REGISTER";
constexpr const char* kServer = "Parlovex";
constexpr uint32_t kMaxCseq = 0x7fffffff; // RFC 3261 section 8.1.1.5

// The same for a request that is sent again (RFC 3261 section 8.2.7): made of all of it.
std::string toTag(std::string_view request)
{
    return hexText(std::hash<std::string_view>()(request));
}

// `headers`: whole lines with their ends.
void answer(nta_agent_t* agent, msg_t* message, const SipSource& source, int status, const char* phrase,
            std::string_view headers = {})
{
    const std::string_view packet = handledPacket();
    if (packet.empty()) {
        const std::string text(headers);
        nta_msg_treply(agent, message, status, phrase, TAG_IF(!text.empty(), SIPTAG_HEADER_STR(text.c_str())),
                       TAG_END());
        return;
    }
    // Over UDP without the stack: it would parse and print again what is here already.
    const sip_to_t* to = sip_object(message)->sip_to;
    const bool hasTag = to == nullptr || to->a_tag != nullptr;
    const std::string text =
        replyText(packet, source, {status, phrase, headers, hasTag ? std::string() : toTag(packet)});
    if (!text.empty())
        answerPacket(text);
    msg_destroy(message);
}

void answerOptions(nta_agent_t* agent, msg_t* message, const SipSource& source)
{
    answer(agent, message, source, SIP_200_OK, headerLine("Allow", kAllow) + headerLine("Accept", "application/sdp"));
}

// RFC 3261 section 20.17, of this second.
const std::string& dateLine()
{
    static std::string& line = *new std::string; // SIP thread
    static std::time_t madeAt = 0;
    const std::time_t now = std::time(nullptr);
    if (std::exchange(madeAt, now) != now) {
        std::tm parts{};
        gmtime_r(&now, &parts);
        static constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
        static constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                      kDays[static_cast<size_t>(parts.tm_wday)], parts.tm_mday,
                      kMonths[static_cast<size_t>(parts.tm_mon)], parts.tm_year + 1900, parts.tm_hour, parts.tm_min,
                      parts.tm_sec);
        line = headerLine("Date", text.data());
    }
    return line;
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

bool isSipUri(const url_t* url)
{
    return url->url_type == url_sip || url->url_type == url_sips;
}

void answerRegister(nta_agent_t* agent, msg_t* message, const sip_t* sip, const SipSource& source, SipHandler& handler)
{
    // RFC 3261 section 10.3: what registers is the SIP URI of a user.
    if (!isSipUri(sip->sip_to->a_url)) {
        answer(agent, message, source, SIP_400_BAD_REQUEST);
        return;
    }
    const RegisterReply reply = handler.onRegister(registerRequest(message, sip, source));
    if (reply.status == 0) {
        msg_destroy(message);
        return;
    }
    std::string headers;
    for (const RegisterReply::Contact& contact : reply.contacts)
        headers += headerLine("Contact", contactText(contact));
    for (const std::string& challenge : reply.challenges)
        headers += headerLine("WWW-Authenticate", challenge);
    if (reply.minExpires)
        headers += headerLine("Min-Expires", std::to_string(*reply.minExpires));
    if (reply.status == 200)
        headers += dateLine() + headerLine("Server", kServer);
    answer(agent, message, source, reply.status, reply.phrase.c_str(), headers);
}

// 0: a method that is served here.
int methodStatus(const sip_t* sip)
{
    switch (sip->sip_request->rq_method) {
    case sip_method_register:
    case sip_method_options:
    case sip_method_invite:
    case sip_method_message:
        return 0;
    case sip_method_bye:
    case sip_method_prack:
    case sip_method_update:
    case sip_method_info:
        return sip->sip_to->a_tag == nullptr ? 481 : 0;
    case sip_method_subscribe:
    case sip_method_notify:
    case sip_method_refer:
        return sip->sip_to->a_tag == nullptr ? 405 : 0; // they speak of a call
    case sip_method_publish:
        return 405;
    case sip_method_cancel:
        return 481;
    default:
        return 501;
    }
}

void refuseMethod(nta_agent_t* agent, msg_t* message, const sip_t* sip, const SipSource& source)
{
    switch (methodStatus(sip)) {
    case 405:
        answer(agent, message, source, SIP_405_METHOD_NOT_ALLOWED, headerLine("Allow", kAllow));
        break;
    case 481:
        answer(agent, message, source, SIP_481_NO_TRANSACTION);
        break;
    default:
        answer(agent, message, source, SIP_501_NOT_IMPLEMENTED, headerLine("Allow", kAllow));
    }
}

// A header that the answer depends on; others may be broken, or there twice (RFC 3261 section 8.2.2). An Expires that
// cannot be read is as if it were not there (section 10.2.1.1). Null: the name of a line that is no header.
bool isNeeded(const char* name)
{
    static constexpr std::array<std::string_view, 14> kNeeded = {
        "Authorization",       "CSeq",         "Call-ID",  "Contact",  "Content-Length", "Content-Type", "From",
        "Proxy-Authorization", "Record-Route", "Refer-To", "Replaces", "Require",        "To",           "Via"};
    return name == nullptr || std::find(kNeeded.begin(), kNeeded.end(), name) != kNeeded.end();
}

bool hasBrokenHeader(const sip_t* sip)
{
    for (const msg_error_t* error = sip->sip_error; error != nullptr; error = error->er_next) {
        const msg_hclass_t* kind = error->er_common->h_class;
        if (isNeeded(kind == sip_error_class ? error->er_name : kind->hc_name))
            return true;
    }
    return false;
}

// The stack reads blanks, controls and the marks around a URI as parts of it.
bool isClean(const url_t* url)
{
    static constexpr auto isInUri = [](unsigned char c) {
        return c > ' ' && c != 0x7f && c != '"' && c != '<' && c != '>';
    };
    const std::array parts = {url->url_scheme, url->url_user,   url->url_password, url->url_host,    url->url_port,
                              url->url_path,   url->url_params, url->url_headers,  url->url_fragment};
    return std::all_of(parts.begin(), parts.end(), [](const char* part) {
        const std::string_view text(part == nullptr ? "" : part);
        return std::all_of(text.begin(), text.end(), isInUri);
    });
}

bool areClean(const sip_contact_t* contact)
{
    while (contact != nullptr && isClean(contact->m_url))
        contact = contact->m_next;
    return contact == nullptr;
}

bool isServedOption(const sip_t* sip, std::string_view option)
{
    const sip_method_t method = sip->sip_request->rq_method;
    const bool isOfCalls =
        method != sip_method_register && (method != sip_method_options || sip->sip_to->a_tag != nullptr);
    static constexpr std::array<std::string_view, 4> kServed = {"100rel", "norefersub", "replaces", "timer"};
    return isOfCalls && std::find(kServed.begin(), kServed.end(), option) != kServed.end();
}

// What an INVITE needs beside what all requests need.
bool isIncompleteInvite(const sip_t* sip)
{
    return sip->sip_request->rq_method == sip_method_invite &&
           (sip->sip_contact == nullptr || !isSipUri(sip->sip_contact->m_url));
}

// RFC 3261 section 16.3: a call goes on from here.
bool isAtEnd(const sip_t* sip)
{
    const sip_method_t method = sip->sip_request->rq_method;
    return (method == sip_method_invite || method == sip_method_message) && sip->sip_to->a_tag == nullptr &&
           sip->sip_max_forwards != nullptr && sip->sip_max_forwards->mf_count == 0;
}

// As it came; over connections as the stack has read it.
std::string messageText(msg_t* message)
{
    if (const std::string_view packet = handledPacket(); !packet.empty())
        return std::string(packet);
    size_t size = 0;
    const char* text = msg_as_string(msg_home(message), message, nullptr, 0, &size);
    return text == nullptr ? std::string() : std::string(text, size);
}

void serveCall(nta_agent_t* agent, msg_t* message, sip_t* sip, const SipSource& source, SipHandler& handler,
               StackCalls& calls)
{
    CallMessage request = callRequest(message, sip, source);
    if (messageTrace().tracesCalls())
        request.text = messageText(message);
    const CallVerdict verdict = handler.judge(request);
    if (!verdict.isServed) {
        if (verdict.status == 0) {
            msg_destroy(message);
            return;
        }
        const std::string phrase(verdict.phrase.empty() ? statusPhrase(verdict.status) : verdict.phrase);
        answer(agent, message, source, verdict.status, phrase.c_str(), verdict.headers);
        return;
    }
    if (std::unique_ptr<ServerTransaction> transaction = calls.accept(agent, message, sip, source);
        transaction != nullptr)
        handler.onCallRequest(request, std::move(transaction));
}

// Those that are required and not served, parted by ", ".
std::string unsupportedOptions(const sip_t* sip)
{
    std::string unsupported;
    for (const sip_require_t* require = sip->sip_require; require != nullptr; require = require->k_next)
        for (msg_param_t const* option = require->k_items; option != nullptr && *option != nullptr; ++option)
            if (!isServedOption(sip, *option))
                unsupported += (unsupported.empty() ? "" : ", ") + std::string(*option);
    return unsupported;
}

// The request is answered by its form alone.
bool isRefused(const sip_t* sip)
{
    return isOtherVersion(sip) || isMalformed(sip) || isIncompleteInvite(sip) || methodStatus(sip) != 0 ||
           !isSipUri(sip->sip_request->rq_url) || isAtEnd(sip) ||
           (sip->sip_require != nullptr && !unsupportedOptions(sip).empty());
}

// RFC 3261 section 8.2
void refuse(nta_agent_t* agent, msg_t* message, const sip_t* sip, const SipSource& source)
{
    if (isOtherVersion(sip))
        answer(agent, message, source, SIP_505_VERSION_NOT_SUPPORTED);
    else if (isMalformed(sip) || isIncompleteInvite(sip))
        answer(agent, message, source, SIP_400_BAD_REQUEST);
    else if (methodStatus(sip) != 0)
        refuseMethod(agent, message, sip, source);
    else if (!isSipUri(sip->sip_request->rq_url))
        answer(agent, message, source, SIP_416_UNSUPPORTED_URI);
    else if (isAtEnd(sip))
        answer(agent, message, source, SIP_483_TOO_MANY_HOPS);
    else
        answer(agent, message, source, SIP_420_BAD_EXTENSION, headerLine("Unsupported", unsupportedOptions(sip)));
}

bool isSuccessOfInvite(const sip_t* sip)
{
    return sip != nullptr && sip->sip_status != nullptr && sip->sip_status->st_status >= 200 &&
           sip->sip_status->st_status < 300 && sip->sip_cseq != nullptr &&
           sip->sip_cseq->cs_method == sip_method_invite;
}

bool isNewCall(const sip_t* sip)
{
    return sip->sip_request->rq_method == sip_method_invite && sip->sip_to->a_tag == nullptr;
}

bool hasCredentials(const sip_t* sip)
{
    return sip->sip_authorization != nullptr || sip->sip_proxy_authorization != nullptr;
}

} // namespace

bool isMalformed(const sip_t* sip)
{
    if (sip->sip_to == nullptr || sip->sip_from == nullptr || sip->sip_call_id == nullptr || sip->sip_cseq == nullptr ||
        sip->sip_cseq->cs_seq > kMaxCseq || hasBrokenHeader(sip) || !isClean(sip->sip_to->a_url) ||
        !isClean(sip->sip_from->a_url) || !areClean(sip->sip_contact) ||
        (sip->sip_refer_to != nullptr && !isClean(sip->sip_refer_to->r_url)))
        return true;
    // RFC 3261 section 19.1.1: a Request-URI has no headers in it.
    const url_t* uri = sip->sip_request->rq_url;
    return isSipUri(uri) && uri->url_headers != nullptr;
}

void answerMessage(nta_agent_t* agent, msg_t* message, sip_t* sip, const SipSource& source, SipHandler& handler,
                   StackCalls& calls)
{
    const bool isRequest = sip != nullptr && sip->sip_request != nullptr;
    if (!isRequest || sip->sip_request->rq_method == sip_method_ack) {
        if (isSuccessOfInvite(sip) && !calls.repeatAck(sip))
            handler.onStraySuccess(callResponse(message, sip, sip->sip_status->st_status, source, Parties::Whole));
        msg_destroy(message);
        return;
    }
    if (source.transport != kTransportUdp)
        markReceived(message, sip, source);
    if (isRefused(sip)) {
        // Requests without any were counted before they got here.
        if (hasCredentials(sip) && !handler.mayAnswerUnproven(source))
            msg_destroy(message);
        else
            refuse(agent, message, sip, source);
        return;
    }
    const unsigned retryAfter =
        isNewCall(sip) ? handler.overloadBy(unescapedText(sip->sip_request->rq_url->url_user)) : 0;
    if (retryAfter != 0) {
        if (hasCredentials(sip) && !handler.mayAnswerUnproven(source))
            msg_destroy(message);
        else
            answer(agent, message, source, SIP_503_SERVICE_UNAVAILABLE,
                   headerLine("Retry-After", std::to_string(retryAfter)));
        return;
    }
    const sip_method_t method = sip->sip_request->rq_method;
    if (method == sip_method_register)
        answerRegister(agent, message, sip, source, handler);
    else if (method == sip_method_options && sip->sip_to->a_tag == nullptr)
        answerOptions(agent, message, source);
    else
        serveCall(agent, message, sip, source, handler, calls);
}
