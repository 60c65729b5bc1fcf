#include "calls/referral.h"

std::string referEvent(bool isFirst, uint32_t cseq)
{
    return isFirst ? std::string("refer") : "refer;id=" + std::to_string(cseq);
}

std::string notifyHeaders(const std::string& event, bool isOver, uint32_t expires)
{
    // RFC 6665 section 4.1.3
    const std::string state = isOver         ? std::string("terminated;reason=noresource")
                              : expires == 0 ? std::string("terminated;reason=timeout")
                                             : "active;expires=" + std::to_string(expires);
    return headerLine("Event", event) + headerLine("Subscription-State", state);
}

SipBody notifyBody(const CallAnswer& state)
{
    const std::string phrase(state.phrase.empty() ? statusPhrase(state.status) : state.phrase);
    return {"message/sipfrag;version=2.0",
            {},
            "SIP/2.0 " + std::to_string(state.status) + " " + (phrase.empty() ? "Unknown" : phrase) + "\r\n"};
}
