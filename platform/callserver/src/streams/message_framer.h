// Finds the SIP messages in what comes over a connection (RFC 3261 section 18.3).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Bytes in, whole messages out; nothing of a message is looked at but its first line, the number of its lines and its
// Content-Length. One thread.
class MessageFramer {
public:
    // Header and body together, as much as a packet can have.
    static constexpr size_t kMaxMessageBytes = 65'536;

    enum class Result {
        NeedsMore,
        Message,
        Ping,   // an empty line, twice (RFC 5626 section 4.4.1): to be answered by one
        Broken, // no SIP, or above a bound: what follows cannot be told apart any more
    };

    void add(std::string_view bytes) { _buffer.append(bytes); }
    // The next that is there, with a Content-Length in any case: over a connection it must have one (RFC 3261 section
    // 20.14), and the stack would wait for the end of the connection, but old telephones leave it out when it is 0. To
    // be called until it needs more. `message` is set with Message, and with Broken to the header that cannot be
    // followed, if it has an end.
    [[nodiscard]] Result next(std::string& message);
    // Bytes of an unfinished message are there.
    [[nodiscard]] bool isMidMessage() const { return _buffer.find_first_not_of("\r\n") != std::string::npos; }

private:
    std::string _buffer;
    size_t _scanned = 0; // no end of the header before this
};
