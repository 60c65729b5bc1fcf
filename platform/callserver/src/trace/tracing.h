// What the administrator has the server trace: one thing at a time.
#pragma once

#include "trace/message_trace.h"

#include <mutex>
#include <string>

// Says in the server log what became of each order. Any thread.
class Tracing {
public:
    explicit Tracing(MessageTrace& messages) : _messages(messages) {}

    // SIP messages to and from an IP address. What is none changes nothing.
    void onAddress(const char* text);
    // Calls by the beginning of a number. A blank one changes nothing.
    void onCallerPrefix(const char* text) { onPrefix(MessageTrace::Whose::Caller, text); }
    void onCalledPrefix(const char* text) { onPrefix(MessageTrace::Whose::Called, text); }
    void stop();

private:
    void onPrefix(MessageTrace::Whose whose, const char* text);

    MessageTrace& _messages;
    std::mutex _mutex;
    std::string _traced; // for the log; empty: nothing
};
