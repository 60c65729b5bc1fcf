// What a server is without calls, for tests of everything else.
#pragma once

#include "sip/sip_agent.h"

#include <memory>
#include <string_view>

class NoCalls : public SipHandler {
public:
    [[nodiscard]] bool hasCall(std::string_view /*callId*/, const SipSource& /*source*/) const override
    {
        return false;
    }
    [[nodiscard]] unsigned overloadBy(std::string_view /*dialed*/) override { return 0; }
    [[nodiscard]] bool mayAnswerUnproven(const SipSource& /*source*/) override { return true; }
    [[nodiscard]] CallVerdict judge(const CallMessage& /*request*/) override { return {false, 405}; }
    void onCallRequest(const CallMessage& /*request*/, std::unique_ptr<ServerTransaction> /*transaction*/) override {}
    void onUdpClosing() override {}
};
