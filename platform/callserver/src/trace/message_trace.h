// The SIP messages to and from one address, written to the server log while an administrator wants to see them.
#pragma once

#include "clock.h"
#include "sip/sip_messages.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

// Off at first; then a message costs one look at a flag. Credentials and bodies are left out of what it writes. Any
// thread.
class MessageTrace {
public:
    enum class Way : uint8_t { Received, Dropped, Sent }; // dropped: received, and not looked at any further

    // So that the log stays readable, and a stranger who is traced cannot fill it.
    static constexpr unsigned kMaxPerSecond = 50;
    static constexpr size_t kMaxLines = 60; // of a message

    explicit MessageTrace(const Clock& clock) : _clock(clock) {}

    // The address is a literal as sourceOfAddress() gives it. Takes the place of what was traced before.
    void begin(const std::string& address);
    void end();

    [[nodiscard]] bool isOn() const { return _isOn.load(std::memory_order_relaxed); }
    // A whole message, and who is at the other end. Callers that have to prepare something ask isOn() first.
    void note(Way way, const SipSource& peer, std::string_view message);

private:
    [[nodiscard]] bool isWanted(const SipSource& peer);
    [[nodiscard]] bool isWithinRate();

    const Clock& _clock;
    std::atomic<bool> _isOn = false;
    std::mutex _mutex; // for all below
    std::string _address;
    int64_t _secondBeganAtMs = 0;
    unsigned _notedInSecond = 0;
    unsigned _leftOut = 0; // since the last one that was written
};

// The one of the process: the stack's sockets and the connections, which have nothing in common, both tell it what they
// move. Never destroyed.
[[nodiscard]] MessageTrace& messageTrace();
