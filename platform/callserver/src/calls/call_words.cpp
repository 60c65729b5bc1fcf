#include "calls/call_words.h"

std::string reasonLine(int status, std::string_view text)
{
    std::string value = "SIP;cause=" + std::to_string(status);
    if (!text.empty())
        value.append(";text=\"").append(text).append("\"");
    return headerLine("Reason", value);
}

bool isOwn(const CallMessage& response)
{
    return response.source.address.empty();
}

bool isDialogGone(const CallMessage& response)
{
    return response.status == 481 || response.status == 408;
}

bool mayBeTriedAgain(const CallMessage& response)
{
    return response.status == 491 || response.status == 422 || response.status == 500 || response.status == 503;
}
