// What a call brings with it, and how many calls are in progress: the input of call analysis beside the tables.
#pragma once

#include <cstdint>
#include <string>

enum class SourceKind : uint8_t { User, Line, Peer, Unknown };

// Where a call comes from, as its authentication found out.
struct CallSource {
    SourceKind kind = SourceKind::Unknown;
    std::string name;    // of the user or line
    uint32_t peerId = 0; // of the peer server
};

struct CallRequest {
    CallSource source;
    std::string caller; // number as it came in (of a local user: his name)
    std::string dialed; // user part of the Request-URI, unescaped
    // User part of To, unescaped: providers that call a line by its registered contact name the number there.
    std::string toUser;
    bool areStepsTold = true; // the answer says how it came about
};

// Calls in progress, counted from INVITE accepted to release; the call that is being analyzed is not among them.
class CallCounts {
public:
    CallCounts() = default;
    virtual ~CallCounts() = default;
    CallCounts(const CallCounts&) = delete;
    CallCounts& operator=(const CallCounts&) = delete;

    [[nodiscard]] virtual unsigned ofUser(const std::string& user) const = 0; // made and received
    [[nodiscard]] virtual unsigned madeByUser(const std::string& user) const = 0;
    [[nodiscard]] virtual unsigned ofLine(const std::string& line) const = 0; // in both directions
    [[nodiscard]] virtual unsigned madeOverLine(const std::string& line) const = 0;
    [[nodiscard]] virtual unsigned toPeer(uint32_t peerId) const = 0;
    [[nodiscard]] virtual unsigned fromPeer(uint32_t peerId) const = 0;
    // The state of a line. Who does not know it leaves it to the attempt to call.
    [[nodiscard]] virtual bool isLineOn(const std::string& /*line*/) const { return true; }
};
