// Before the stack, where all inputs come from one socket.
#pragma once

#include "sip/packet_gate.h"

// What comes in is as it would be from many: nobody is silenced.
class OpenGate final : public PacketFilter {
public:
    [[nodiscard]] bool admits(const sockaddr&, std::string_view packet) override
    {
        (void)lacksCredentials(packet);
        return isParsable(packet);
    }
};
