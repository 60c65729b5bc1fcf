// The event loop of the SIP stack and its thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

struct su_root_s;

// Bytes that the stack asks for at once for the headers of a message, instead of for each of them.
constexpr unsigned kMessagePreload = 2048;

// All that belongs to the stack lives on the thread that calls run(); others post. Never destroyed.
class SipStack {
public:
    SipStack();
    ~SipStack();
    SipStack(const SipStack&) = delete;
    SipStack& operator=(const SipStack&) = delete;

    // Makes the stack's root, calls `onStart`, then serves sockets, timers and posted work, and calls `onStep` after
    // each round, at least every 100 ms. Returns false when the root could not be made, else never.
    bool run(const std::function<void()>& onStart, const std::function<void()>& onStep);

    // Has `work` done on the stack's thread, in the order of the calls of each thread. Before run() it waits. Any
    // thread.
    void post(std::function<void()> work);

    // Stops the stack's thread for good, as the process is about to end: the stack's library cleans up at exit what its
    // thread uses (its source of random numbers). Waits at most so long; false: the thread still works. Any other
    // thread.
    bool park(unsigned timeoutMs);

    // Milliseconds since the stack's thread had nothing to do for the last time. On that thread.
    [[nodiscard]] int64_t unrestMs() const;

    // For the other files of this folder; null before run().
    [[nodiscard]] su_root_s* root() const;

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
