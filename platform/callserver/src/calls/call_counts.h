// The calls that everybody has, and what they make of the users' states.
#pragma once

#include "cachedb2/usr_info.h"
#include "dialplan/call_request.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

// What one call means for one of its users.
enum class UserPart : uint8_t {
    Calling, // made the call, not yet answered
    Pending, // is called; no telephone rings yet
    Ringing,
    Talking, // in either direction
    Paying,  // a call of others uses his rights; he takes no part in it
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
        unsigned parts[5] = {}; // by UserPart
        unsigned made = 0;
        Eusr_stage stage = kUsrOffline; // as told

        [[nodiscard]] unsigned of(UserPart part) const { return parts[static_cast<size_t>(part)]; }
        [[nodiscard]] unsigned total() const { return parts[0] + parts[1] + parts[2] + parts[3] + parts[4]; }
    };

    [[nodiscard]] const Counts* find(const std::string& user) const;
    void tell(const std::string& user, Counts& counts);

    StageSink _sink;
    std::unordered_map<std::string, Counts> _users; // with calls only
};

// The part that one user has in one call, for as long as it is counted. Moves with him to another call.
class UserShare {
public:
    explicit UserShare(UserPart part) : _part(part) {}
    ~UserShare() { end(); }
    UserShare(const UserShare&) = delete;
    UserShare& operator=(const UserShare&) = delete;
    UserShare(UserShare&& other) noexcept { *this = std::move(other); }
    UserShare& operator=(UserShare&& other) noexcept;

    // Nobody is counted for an empty name. `isMade`: he made the call.
    void begin(UserCalls& calls, const std::string& user, bool isMade);
    void end();
    // Also while it is not counted.
    void setPart(UserPart part);

    [[nodiscard]] bool isCounted() const { return _calls != nullptr; }
    [[nodiscard]] UserPart part() const { return _part; }
    [[nodiscard]] bool isMade() const { return _isMade; }
    [[nodiscard]] const std::string& user() const { return _user; }

private:
    UserCalls* _calls = nullptr; // null: it is not counted
    std::string _user;
    UserPart _part = UserPart::Calling;
    bool _isMade = false;
};

// The calls without one that a user has.
class OneCallLess final : public CallCounts {
public:
    OneCallLess(const CallCounts& all, const UserShare& without) : _all(all), _without(without) {}

    [[nodiscard]] unsigned ofUser(const std::string& user) const override
    {
        return less(_all.ofUser(user), user == _without.user());
    }
    [[nodiscard]] unsigned madeByUser(const std::string& user) const override
    {
        return less(_all.madeByUser(user), user == _without.user() && _without.isMade());
    }
    [[nodiscard]] unsigned ofLine(const std::string& line) const override { return _all.ofLine(line); }
    [[nodiscard]] unsigned madeOverLine(const std::string& line) const override { return _all.madeOverLine(line); }
    [[nodiscard]] unsigned toPeer(uint32_t peerId) const override { return _all.toPeer(peerId); }
    [[nodiscard]] unsigned fromPeer(uint32_t peerId) const override { return _all.fromPeer(peerId); }
    [[nodiscard]] bool isLineOn(const std::string& line) const override { return _all.isLineOn(line); }

private:
    static unsigned less(unsigned count, bool isOne) { return isOne && count > 0 ? count - 1 : count; }

    const CallCounts& _all;
    const UserShare& _without;
};
