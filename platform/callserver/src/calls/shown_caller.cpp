#include "calls/shown_caller.h"

#include "sip/uri_text.h"

namespace {

// Of a caller who is not to be known (RFC 3323 section 4.1.1.3).
constexpr const char* kAnonymousName = "Anonymous";
constexpr const char* kAnonymousUri = "sip:anonymous@anonymous.invalid";

} // namespace

bool isHidden(const DialAnswer& answer, const CallMessage& request)
{
    return answer.isAnonymous || request.hidesCaller();
}

std::string_view shownName(const DialAnswer& answer, const CallMessage& request)
{
    if (isHidden(answer, request))
        return answer.isAnonymous && !answer.displayName.empty() ? answer.displayName
                                                                 : std::string_view(kAnonymousName);
    const bool isGiven = !answer.displayName.empty() || answer.isDisplayNameRemoved;
    return isGiven ? answer.displayName : request.from.display;
}

std::string shownParty(const DialAnswer& answer, const CallMessage& request, std::string_view number,
                       std::string_view host)
{
    const std::string_view name = shownName(answer, request);
    return nameAddr(name, isHidden(answer, request) ? std::string(kAnonymousUri) : sipUri(number, host));
}

std::string shownHeaders(std::string_view passed, bool isHidden, bool isStranger)
{
    std::string headers(passed);
    // He might have telephones pick up by themselves.
    if (isStranger)
        headers = withoutHeaders(headers, {"Alert-Info", "Answer-Mode", "Call-Info"});
    // They tell who he is (RFC 3323 section 5.3).
    if (isHidden)
        headers = withoutHeaders(headers, {"Call-Info", "In-Reply-To", "Organization", "Subject"});
    return headers;
}
