// The stack's socket calls, as this program makes them: what a stranger sends is looked at before the stack spends
// memory and parsing on it. SIP thread only.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <sys/socket.h>

// Decides what the stack gets to see of what comes in over UDP.
class PacketFilter {
public:
    PacketFilter() = default;
    virtual ~PacketFilter() = default;
    PacketFilter(const PacketFilter&) = delete;
    PacketFilter& operator=(const PacketFilter&) = delete;

    [[nodiscard]] virtual bool admits(const sockaddr& source, std::string_view packet) = 0;
};

// From now on this one decides; null: all is admitted. It must outlive the stack.
void setPacketFilter(PacketFilter* filter);

// What is known of descriptors; to be called whenever the stack has opened or closed sockets of its own.
void forgetStackSockets();

// Grows with everything that came in, also with what was dropped.
[[nodiscard]] uint64_t receivedByStack();

// How the message that the stack parses now came in.
[[nodiscard]] bool isReceivingStream();

// The packet that the stack handles now, as it came in; empty: it is a message of a connection.
[[nodiscard]] std::string_view handledPacket();
// How long it had waited in its socket until now; nothing: it is a message of a connection.
[[nodiscard]] std::optional<int64_t> packetWaitMs();
// Sends a packet to where that one came from, from where it came to. Lost when the kernel has no room, as packets are.
void answerPacket(std::string_view packet);
// Sends a packet from the socket that is bound to an address of ours, as answerPacket() does. False: the stack has not
// used one that is bound there, or the receiver's address is none; nothing was sent.
[[nodiscard]] bool sendPacket(const SipSource& from, const SipSource& to, std::string_view packet);
