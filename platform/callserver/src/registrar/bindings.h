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
    int64_t refreshedAtMs = 0;
    int64_t lifetimeMs = 0;  // as granted then
    int64_t expiresAtMs = 0; // later than the two say when a restart lies between
    // The two above as they were told to the sink last: what the store knows.
    int64_t storedRefreshMs = 0;
    int64_t storedLifetimeMs = 0;
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
    ShownUser shown;        // as it was told last
    int64_t nextLookMs = 0; // under which the user stands in the expiry order; 0: not there
    uint8_t callStage = 0;  // Eusr_stage that the user's calls give him; 0: there are none

    [[nodiscard]] bool isEmpty() const { return contacts.empty() && !shown.hasRow && callStage == 0; }
    // The contact of this very text. Null when there is none.
    [[nodiscard]] Binding* findText(std::string_view text);
    // That one before one that is merely the same: a contact without a parameter is the same as several that differ in
    // it, and no two shall have the same text.
    [[nodiscard]] Binding* find(const ContactUri& uri);
    // When the first contact expires; 0 without contacts.
    [[nodiscard]] int64_t firstExpiryMs() const;
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
    [[nodiscard]] const std::string* nextExpired(int64_t nowMs);

    [[nodiscard]] const Map& users() const { return _users; }

private:
    void lookAgain(Map::value_type& user, int64_t atMs);

    Map _users;
    // When to look at a user: at his first expiry, or before. A refresh puts the expiry off and leaves this as it is.
    std::set<std::pair<int64_t, Map::value_type*>> _looks;
};
