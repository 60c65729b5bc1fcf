// The calls that everybody has, and what they make of the users' states.
#pragma once

#include "cachedb2/usr_info.h"
#include "dialplan/call_request.h"

#include <functional>
#include <string>
#include <unordered_map>

// What one call means for one of its users.
enum class UserPart : uint8_t {
    Calling, // made the call, not yet answered
    Pending, // is called; no telephone rings yet
    Ringing,
    Talking, // in either direction
};

// SIP thread.
class UserCalls final : public CallCounts {
public:
    // Told whenever the calls of a user make another state of him; kUsrOffline: he has none.
    using StageSink = std::function<void(const std::string& user, Eusr_stage stage)>;

    explicit UserCalls(StageSink sink) : _sink(std::move(sink)) {}

    void add(const std::string& user, UserPart part, bool isMade);
    void change(const std::string& user, UserPart from, UserPart to);
    void remove(const std::string& user, UserPart part, bool isMade);

    // Whether one more call may ring at the user (call waiting). A limit of 0 allows none beside another call.
    [[nodiscard]] bool mayRing(const Cdb_usr_info& user) const;

    [[nodiscard]] unsigned ofUser(const std::string& user) const override;
    [[nodiscard]] unsigned madeByUser(const std::string& user) const override;
    // Calls over lines and peers are not carried yet.
    [[nodiscard]] unsigned ofLine(const std::string& /*line*/) const override { return 0; }
    [[nodiscard]] unsigned madeOverLine(const std::string& /*line*/) const override { return 0; }
    [[nodiscard]] unsigned toPeer(uint32_t /*peerId*/) const override { return 0; }
    [[nodiscard]] unsigned fromPeer(uint32_t /*peerId*/) const override { return 0; }

private:
    struct Counts {
        unsigned parts[4] = {}; // by UserPart
        unsigned made = 0;
        Eusr_stage stage = kUsrOffline; // as told

        [[nodiscard]] unsigned of(UserPart part) const { return parts[static_cast<size_t>(part)]; }
        [[nodiscard]] unsigned total() const { return parts[0] + parts[1] + parts[2] + parts[3]; }
    };

    [[nodiscard]] const Counts* find(const std::string& user) const;
    void tell(const std::string& user, Counts& counts);

    StageSink _sink;
    std::unordered_map<std::string, Counts> _users; // with calls only
};
