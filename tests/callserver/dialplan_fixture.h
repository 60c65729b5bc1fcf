// Tables of a dial plan and the calls in progress, without a store.
#pragma once

#include "bcl2/text.h"
#include "dialplan/dial_plan.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

class FakeCallCounts final : public CallCounts {
public:
    [[nodiscard]] unsigned ofUser(const std::string& user) const override { return at(users, user); }
    [[nodiscard]] unsigned madeByUser(const std::string& user) const override { return at(usersMade, user); }
    [[nodiscard]] unsigned ofLine(const std::string& line) const override { return at(lines, line); }
    [[nodiscard]] unsigned madeOverLine(const std::string& line) const override { return at(linesMade, line); }
    [[nodiscard]] unsigned toPeer(uint32_t peerId) const override { return at(peersMade, peerId); }
    [[nodiscard]] unsigned fromPeer(uint32_t peerId) const override { return at(peersReceived, peerId); }
    [[nodiscard]] bool isLineOn(const std::string& line) const override { return !linesOff.contains(line); }

    std::map<std::string, unsigned> users, usersMade, lines, linesMade;
    std::map<uint32_t, unsigned> peersMade, peersReceived;
    std::set<std::string> linesOff;

private:
    template <class Key>
    static unsigned at(const std::map<Key, unsigned>& counts, const Key& key)
    {
        const auto it = counts.find(key);
        return it == counts.end() ? 0 : it->second;
    }
};

class DialPlanFixture : public testing::Test {
public:
    // Whether a step holds the text, and else all of them.
    static testing::AssertionResult hasStep(const DialAnswer& answer, const std::string& text);
    // "local user 2002", "line a", "trunk 3" or the service, parted by commas; or the refusal: "403".
    static std::string outcome(const DialAnswer& answer);

protected:
    // Local time is UTC; there are the users 2001 and 2002 with the plan "default".
    DialPlanFixture();

    static Cdb_usr_info user(const std::string& name);
    static Cdb_nbr_cld_ana_data rule(const std::string& prefix, uint32_t routeType = kRtLocalUser,
                                     const std::string& plan = "default");

    // Adds or replaces; the key is that of the store.
    void put(const Cdb_usr_info& record);
    void put(const Cdb_nbr_cld_ana_data& record);
    void put(const Cdb_ext_line_info& record);
    void put(const Cdb_peer_server& record);
    void putTransition(uint32_t id, uint32_t type, uint32_t startPos, uint32_t length, const std::string& digits);
    void putCallerRule(const std::string& prefix, const std::string& plan, uint32_t transition = 0);
    void putCallerRefinement(uint32_t group, const std::string& prefix, uint32_t transition);
    void putCalledRefinement(uint32_t group, const std::string& prefix, uint32_t transition);
    void putBlackItem(const std::string& caller, const std::string& called, int code = 0);
    void putRewriting(const std::string& caller, const std::string& displayName, bool isAnonymous = false);
    void putSpeedDial(const std::string& caller, const std::string& dialed, const std::string& destination);
    void putRoute(uint32_t group, const std::string& line, uint32_t peerId = 0);
    // The condition that never holds has no weekday.
    void putTimeCondition(uint32_t id, bool isHeld);
    void changeSystem(const std::function<void(Cdb_sys_data&)>& change);
    void changeUser(const std::string& name, const std::function<void(Cdb_usr_info&)>& change);
    // Adds a line or peer server without limits, or changes what is there.
    void changeLine(const std::string& name, const std::function<void(Cdb_ext_line_info&)>& change = {});
    void changePeer(uint32_t id, const std::function<void(Cdb_peer_server&)>& change = {});
    static Cdb_nbr_cld_ana_data ruleToLine(const std::string& prefix, const std::string& line);
    static Cdb_nbr_cld_ana_data ruleToPeer(const std::string& prefix, uint32_t peerId);
    static Cdb_nbr_cld_ana_data ruleToGroup(const std::string& prefix, uint32_t group);
    static Cdb_nbr_cld_ana_data ruleWithTransition(const std::string& prefix, uint32_t transition, bool isRepeated);
    template <class Record>
    void putAt(const std::string& key, const Record& record)
    {
        typename Snapshot<Record>::Builder builder(tables.newest<Record>());
        builder.set(key, record);
        tables.set<Record>(builder.finish());
    }

    [[nodiscard]] DialAnswer analyze(const CallRequest& request) const;
    [[nodiscard]] DialAnswer callFromUser(const std::string& user, const std::string& dialed) const;
    [[nodiscard]] DialAnswer callFromLine(const std::string& line, const std::string& dialed,
                                          const std::string& caller = "030123") const;
    [[nodiscard]] DialAnswer callFromPeer(uint32_t peerId, const std::string& dialed,
                                          const std::string& caller = "030123") const;
    [[nodiscard]] DialAnswer callFromUnknown(const std::string& dialed) const;

    DialPlanTables tables;
    FakeCallCounts counts;
    // 2026-01-01 00:00:00 UTC, a Thursday.
    static constexpr Cbcl_timestamp kMidnight = 1'767'225'600;
    Cbcl_timestamp now = kMidnight + Cbcl_timestamp{12} * 3600;
};
