#include "calls/referral.h"

std::string referEvent(bool isFirst, uint32_t cseq)
{
    return isFirst ? std::string("refer") : "refer;id=" + std::to_string(cseq);
}

std::string notifyHeaders(const std::string& event, bool isOver, uint32_t expires)
{
    const std::string state =
        isOver ? std::string("terminated;reason=noresource") : "active;expires=" + std::to_string(expires);
    return headerLine("Event", event) + headerLine("Subscription-State", state);
}

SipBody notifyBody(const CallAnswer& state)
{
    const std::string phrase(state.phrase.empty() ? statusPhrase(state.status) : state.phrase);
    return {"message/sipfrag;version=2.0",
            {},
            "SIP/2.0 " + std::to_string(state.status) + " " + (phrase.empty() ? "Unknown" : phrase) + "\r\n"};
}
