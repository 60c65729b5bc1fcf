#include "sip/call_parts.h"

#include "sip/stack_text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_extra.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_util.h>
#include <sofia-sip/url.h>
#include <string_view>
#include <strings.h>

namespace {

constexpr size_t kMaxPassed = 8192;      // bytes of header lines that go on to the other side
constexpr size_t kMaxRoutes = 32;        // more proxies than a request may pass on its way are no route
constexpr size_t kMaxAuthorizations = 8; // a client has one or two; each costs a parse

// Headers that mean the same to the other side: of the caller, of the session, of the answer. All others belong to one
// leg, or say what the server has to decide.
bool isPassed(std::string_view name)
{
    static constexpr std::array<std::string_view, 18> kPassed = {
        "Accept", "Accept-Encoding", "Accept-Language", "Alert-Info",   "Answer-Mode",  "Call-Info",
        "Date",   "Error-Info",      "In-Reply-To",     "Info-Package", "Organization", "Priority",
        "Reason", "Recv-Info",       "Retry-After",     "Subject",      "Unsupported",  "Warning"};
    return std::any_of(kPassed.begin(), kPassed.end(), [name](std::string_view passed) {
        return passed.size() == name.size() && strncasecmp(passed.data(), name.data(), name.size()) == 0;
    });
}

bool isOfBody(std::string_view name)
{
    static constexpr std::array<std::string_view, 4> kOfBody = {"Content-Disposition", "Content-Encoding",
                                                                "Content-Language", "MIME-Version"};
    return std::find(kOfBody.begin(), kOfBody.end(), name) != kOfBody.end();
}

const sip_unknown_t* asUnknown(const msg_header_t* header)
{
    return sip_is_unknown(reinterpret_cast<const sip_header_t*>(header)) != 0
               ? reinterpret_cast<const sip_unknown_t*>(header)
               : nullptr;
}

std::string_view nameOf(const msg_header_t* header)
{
    const sip_unknown_t* unknown = asUnknown(header);
    const char* name = unknown == nullptr ? header->sh_class->hc_name : unknown->un_name;
    return name == nullptr ? std::string_view() : std::string_view(name);
}

// Written anew: the stack parses messages in their place, and keeps no lines. Folded ones become one.
std::string lineOf(const msg_header_t* header, std::string_view name)
{
    const sip_unknown_t* unknown = asUnknown(header);
    std::string value = unknown == nullptr             ? headerValue(header)
                        : unknown->un_value == nullptr ? ""
                                                       : unknown->un_value;
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return value.empty() ? std::string() : headerLine(name, value);
}

void addLines(msg_t* message, CallMessage& result)
{
    msg_header_t* const* head = msg_chain_head(message);
    for (const msg_header_t* header = head == nullptr ? nullptr : *head; header != nullptr; header = header->sh_succ) {
        const std::string_view name = nameOf(header);
        const bool isBody = isOfBody(name);
        if (!isBody && !isPassed(name))
            continue;
        std::string& lines = isBody ? result.body.headers : result.passed;
        if (const std::string line = lineOf(header, name); lines.size() + line.size() <= kMaxPassed)
            lines += line;
    }
}

SipParty partyOf(msg_t* message, const sip_addr_t* header)
{
    SipParty party;
    if (header == nullptr)
        return party;
    party.uri = uriText(message, header->a_url);
    party.user = unescapedText(header->a_url->url_user);
    if (header->a_url->url_host != nullptr)
        party.host = header->a_url->url_host;
    if (header->a_display != nullptr)
        party.display = unquotedText(header->a_display);
    if (header->a_tag != nullptr)
        party.tag = header->a_tag;
    return party;
}

SipParty partyOf(msg_t* message, const sip_addr_t* header, Parties parties)
{
    if (parties == Parties::Whole)
        return partyOf(message, header);
    SipParty party;
    if (header != nullptr && header->a_tag != nullptr)
        party.tag = header->a_tag;
    return party;
}

SipMethod methodOf(sip_method_t method)
{
    switch (method) {
    case sip_method_invite:
        return SipMethod::Invite;
    case sip_method_ack:
        return SipMethod::Ack;
    case sip_method_cancel:
        return SipMethod::Cancel;
    case sip_method_bye:
        return SipMethod::Bye;
    case sip_method_options:
        return SipMethod::Options;
    case sip_method_prack:
        return SipMethod::Prack;
    case sip_method_update:
        return SipMethod::Update;
    case sip_method_info:
        return SipMethod::Info;
    case sip_method_message:
        return SipMethod::Message;
    case sip_method_refer:
        return SipMethod::Refer;
    case sip_method_subscribe:
        return SipMethod::Subscribe;
    case sip_method_notify:
        return SipMethod::Notify;
    default:
        return SipMethod::Other;
    }
}

bool hasFeature(const sip_t* sip, const char* feature)
{
    return (sip->sip_supported != nullptr && sip_has_feature(sip->sip_supported, feature) != 0) ||
           (sip->sip_require != nullptr && sip_has_feature(sip->sip_require, feature) != 0);
}

SessionTimer timerOf(const sip_t* sip)
{
    SessionTimer timer;
    if (const sip_session_expires_t* header = sip->sip_session_expires; header != nullptr) {
        timer.interval = static_cast<uint32_t>(header->x_delta);
        if (header->x_refresher != nullptr)
            timer.refresher = strcasecmp(header->x_refresher, "uac") == 0   ? SessionTimer::Refresher::Uac
                              : strcasecmp(header->x_refresher, "uas") == 0 ? SessionTimer::Refresher::Uas
                                                                            : SessionTimer::Refresher::None;
    }
    if (sip->sip_min_se != nullptr)
        timer.minimum = static_cast<uint32_t>(sip->sip_min_se->min_delta);
    return timer;
}

std::string allowText(const sip_allow_t* allow)
{
    std::string text;
    for (; allow != nullptr; allow = reinterpret_cast<const sip_allow_t*>(allow->k_next))
        for (msg_param_t const* item = allow->k_items; item != nullptr && *item != nullptr; ++item)
            text += (text.empty() ? "" : ", ") + std::string(*item);
    return text;
}

void addBody(const sip_t* sip, SipBody& body)
{
    if (sip->sip_payload == nullptr || sip->sip_payload->pl_len == 0)
        return;
    body.data.assign(sip->sip_payload->pl_data, sip->sip_payload->pl_len);
    if (sip->sip_content_type != nullptr)
        body.type = headerValue(reinterpret_cast<const msg_header_t*>(sip->sip_content_type));
}

void addAuthorizations(const sip_authorization_t* header, CallMessage& result)
{
    for (; header != nullptr && result.authorizations.size() < kMaxAuthorizations; header = header->au_next)
        result.authorizations.push_back(authorizationText(header));
}

// What it names may be a number: there is nothing else to call.
bool isDialable(const url_t* url)
{
    return url->url_type == url_sip || url->url_type == url_sips || url->url_type == url_tel;
}

// What requests and answers have alike.
CallMessage commonParts(msg_t* message, const sip_t* sip, const SipSource& source, Parties parties)
{
    CallMessage result;
    result.source = source;
    result.from = partyOf(message, sip->sip_from, parties);
    result.to = partyOf(message, sip->sip_to, parties);
    if (sip->sip_call_id != nullptr)
        result.callId = sip->sip_call_id->i_id;
    if (sip->sip_cseq != nullptr) {
        result.cseq = sip->sip_cseq->cs_seq;
        result.method = methodOf(sip->sip_cseq->cs_method);
        result.methodName = sip->sip_cseq->cs_method_name;
    }
    if (sip->sip_contact != nullptr && sip->sip_contact->m_url->url_type != url_any) {
        result.contact = uriText(message, sip->sip_contact->m_url);
        if (isDialable(sip->sip_contact->m_url))
            result.contactUser = unescapedText(sip->sip_contact->m_url->url_user);
    }
    for (const sip_record_route_t* route = sip->sip_record_route; route != nullptr && result.routes.size() < kMaxRoutes;
         route = route->r_next)
        result.routes.push_back(headerValue(reinterpret_cast<const msg_header_t*>(route)));
    result.allow = allowText(sip->sip_allow);
    result.timer = timerOf(sip);
    result.isReliableSupported = hasFeature(sip, "100rel");
    result.isTimerSupported = hasFeature(sip, "timer");
    if (sip->sip_rseq != nullptr)
        result.rseq = sip->sip_rseq->rs_response;
    addLines(message, result);
    addBody(sip, result.body);
    return result;
}

bool isPrivate(const sip_privacy_t* privacy)
{
    if (privacy == nullptr)
        return false;
    for (msg_param_t const* value = privacy->priv_values; value != nullptr && *value != nullptr; ++value)
        for (const char* hiding : {"id", "user", "header"})
            if (strcasecmp(*value, hiding) == 0)
                return true;
    return false;
}

std::optional<ReplacedDialog> replacedBy(const sip_replaces_t* header)
{
    if (header == nullptr || header->rp_call_id == nullptr)
        return std::nullopt;
    ReplacedDialog dialog{header->rp_call_id, {}, {}, header->rp_early_only != 0};
    if (header->rp_to_tag != nullptr)
        dialog.localTag = header->rp_to_tag;
    if (header->rp_from_tag != nullptr)
        dialog.remoteTag = header->rp_from_tag;
    return dialog;
}

// Adds the Replaces among the headers that the URI asks for (RFC 3261 section 19.1.1).
void addReplaced(msg_t* message, const char* uriHeaders, ReferTo& target)
{
    if (uriHeaders == nullptr)
        return;
    su_home_t* home = msg_home(message);
    const char* const lines = url_query_as_header_string(home, uriHeaders);
    std::string_view rest = lines == nullptr ? std::string_view() : std::string_view(lines);
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const size_t colon = std::min(line.find(':'), line.size());
        if (const std::string name(line.substr(0, colon)); strcasecmp(name.c_str(), "Replaces") != 0)
            continue;
        const std::string value(line.substr(std::min(colon + 1, line.size())));
        target.replaces = replacedBy(sip_replaces_make(home, value.c_str()));
        // Without its tags it would be another call than the one that was meant.
        target.isReadable =
            target.replaces && !target.replaces->localTag.empty() && !target.replaces->remoteTag.empty();
        return;
    }
}

std::optional<ReferTo> referToOf(msg_t* message, const sip_refer_to_t* header)
{
    if (header == nullptr)
        return std::nullopt;
    ReferTo target;
    target.isReadable = isDialable(header->r_url);
    target.user = unescapedText(header->r_url->url_user);
    std::array<char, 32> method{};
    if (header->r_url->url_params != nullptr &&
        url_param(header->r_url->url_params, "method", method.data(), method.size()) != 0)
        target.method = method.data();
    if (target.isReadable)
        addReplaced(message, header->r_url->url_headers, target);
    return target;
}

// Refer-Sub is none of the headers that the stack knows.
bool wantsNoNotify(const sip_t* sip)
{
    for (const sip_unknown_t* header = sip->sip_unknown; header != nullptr; header = header->un_next)
        if (strcasecmp(header->un_name, "Refer-Sub") == 0)
            return header->un_value != nullptr && strncasecmp(header->un_value, "false", 5) == 0;
    return false;
}

// What requests ask for beside the session itself.
void addReferral(msg_t* message, const sip_t* sip, CallMessage& request)
{
    request.replaces = replacedBy(sip->sip_replaces);
    if (sip->sip_event != nullptr && sip->sip_event->o_type != nullptr)
        request.event = EventName{sip->sip_event->o_type, sip->sip_event->o_id == nullptr ? "" : sip->sip_event->o_id};
    if (sip->sip_expires != nullptr)
        request.expires = static_cast<uint32_t>(sip->sip_expires->ex_delta);
    if (request.method != SipMethod::Refer)
        return;
    request.referTo = referToOf(message, sip->sip_refer_to);
    if (sip->sip_referred_by != nullptr)
        request.referredBy = headerValue(reinterpret_cast<const msg_header_t*>(sip->sip_referred_by));
    request.isReferSilent = wantsNoNotify(sip);
}

} // namespace

CallMessage callRequest(msg_t* message, const sip_t* sip, const SipSource& source)
{
    CallMessage request = commonParts(message, sip, source, Parties::Whole);
    const url_t* uri = sip->sip_request->rq_url;
    request.requestUri = uriText(message, uri);
    request.requestUser = unescapedText(uri->url_user);
    if (uri->url_host != nullptr)
        request.requestHost = uri->url_host;
    if (sip->sip_max_forwards != nullptr)
        request.maxForwards = static_cast<unsigned>(sip->sip_max_forwards->mf_count);
    if (sip->sip_user_agent != nullptr && sip->sip_user_agent->g_string != nullptr)
        request.userAgent = sip->sip_user_agent->g_string;
    if (sip->sip_rack != nullptr)
        request.rack = ReliableAck{sip->sip_rack->ra_response, sip->sip_rack->ra_cseq};
    request.isAnonymous = isPrivate(sip->sip_privacy);
    addReferral(message, sip, request);
    addAuthorizations(sip->sip_proxy_authorization, request);
    addAuthorizations(sip->sip_authorization, request);
    return request;
}

CallMessage callResponse(msg_t* message, const sip_t* sip, int status, const SipSource& source, Parties parties)
{
    CallMessage response;
    if (sip != nullptr && message != nullptr && sip->sip_status != nullptr) {
        response = commonParts(message, sip, source, parties);
        if (sip->sip_status->st_phrase != nullptr)
            response.phrase = sip->sip_status->st_phrase;
    }
    response.status = status;
    return response;
}
