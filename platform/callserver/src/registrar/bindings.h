// Where users can be reached now.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// One contact of a user. Times are Clock::steadyMs().
struct Binding {
    ContactUri uri;
    std::string callId;
    std::string userAgent; // cleaned
    SipSource source;
    uint32_t cseq = 0;
    uint8_t priority = 100;
    int64_t expiresAtMs = 0;
    int64_t refreshedAtMs = 0;
    uint64_t order = 0; // grows with each registration that changed something, not with plain refreshes
};

// What pages show of a user; also the row in tbl_sip_reg when there is one.
struct ShownUser {
    bool hasRow = false;
    uint8_t stage = 0;
    uint16_t port = 0;
    std::string address;
    std::string userAgent;

    friend bool operator==(const ShownUser&, const ShownUser&) = default;
};

struct UserBindings {
    std::vector<Binding> contacts;
    ShownUser shown;          // as it was told last
    int64_t nextExpiryMs = 0; // under which the user stands in the expiry order; 0: not there

    [[nodiscard]] bool isEmpty() const { return contacts.empty() && !shown.hasRow; }
    // The contact of this very text before one that is merely the same: one without a parameter is the same as several
    // that differ in it, and no two shall have the same text.
    [[nodiscard]] Binding* find(const ContactUri& uri);
    // The contact registered last; null without contacts.
    [[nodiscard]] const Binding* newest() const;
};

// All users' bindings with the order in which they expire. One thread.
class BindingTable {
public:
    using Map = std::unordered_map<std::string, UserBindings>;

    [[nodiscard]] UserBindings* find(const std::string& user);
    UserBindings& get(const std::string& user) { return _users[user]; }
    // After the contacts of a user changed. Forgets the user when nothing is known of him any more.
    void update(const std::string& user);
    // The name of a user with a contact that has expired by then; null when there is none.
    [[nodiscard]] const std::string* nextExpired(int64_t nowMs) const;

    [[nodiscard]] const Map& users() const { return _users; }

private:
    Map _users;
    std::set<std::pair<int64_t, std::string>> _expiries; // each user's first expiry
};
