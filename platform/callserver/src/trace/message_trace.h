// The SIP messages to and from one address, or of calls by their numbers, written to the server log while an
// administrator wants to see them.
#pragma once

#include "clock.h"
#include "sip/sip_messages.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

// Off at first; then a message costs one look at a flag. Credentials are left out of what it writes, and bodies but
// session descriptions. Any thread.
class MessageTrace {
public:
    enum class Way : uint8_t { Received, Dropped, Sent }; // dropped: received, and not looked at any further

    // So that the log stays readable, and a stranger who is traced cannot fill it.
    static constexpr unsigned kMaxPerSecond = 50;
    static constexpr size_t kMaxLines = 60;   // of a header, or of a body
    static constexpr size_t kMaxCalls = 1024; // that are followed; the oldest is left for a new one

    enum class Whose : uint8_t { Caller, Called };

    explicit MessageTrace(const Clock& clock) : _clock(clock) {}

    // Each takes the place of what was traced before. The address is a literal as sourceOfAddress() gives it.
    void begin(const std::string& address);
    void beginCalls(Whose whose, const std::string& prefix);
    void end();

    // While calls are traced: a new one with these numbers is followed from now on, if one of its kind begins so. True
    // when it was not before.
    bool followIf(const std::string& callId, std::string_view caller, std::string_view called);
    // Another leg of a call that is followed.
    void followToo(const std::string& callId, const std::string& followed);
    [[nodiscard]] bool follows(const std::string& callId);
    [[nodiscard]] bool tracesCalls() const { return _tracesCalls.load(std::memory_order_relaxed); }

    [[nodiscard]] bool isOn() const { return _isOn.load(std::memory_order_relaxed); }
    // A whole message, and who is at the other end. Callers that have to prepare something ask isOn() first.
    void note(Way way, const SipSource& peer, std::string_view message);

private:
    [[nodiscard]] bool isTraced(const SipSource& peer, std::string_view message) const;
    [[nodiscard]] bool isWanted(const SipSource& peer, std::string_view message);
    void follow(const std::string& callId);
    [[nodiscard]] bool isWithinRate();

    const Clock& _clock;
    std::atomic<bool> _isOn = false;
    std::atomic<bool> _tracesCalls = false;
    std::mutex _mutex; // for all below
    std::string _address;
    Whose _whose = Whose::Caller;
    std::string _prefix;
    std::set<std::string, std::less<>> _followed; // Call-IDs
    std::deque<std::string> _inOrder;             // the oldest first
    int64_t _secondBeganAtMs = 0;
    unsigned _notedInSecond = 0;
    unsigned _leftOut = 0; // since the last one that was written
};

// The one of the process: the stack's sockets and the connections, which have nothing in common, both tell it what they
// move. Never destroyed.
[[nodiscard]] MessageTrace& messageTrace();
