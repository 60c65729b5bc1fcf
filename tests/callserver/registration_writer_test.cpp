#include "registrar/registration_writer.h"

#include "callserver/event_ids.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

constexpr unsigned kLongMs = 30'000; // a bound, not an expectation

std::string asText(const void* data)
{
    return static_cast<const char*>(data);
}

// A store and a listener that write down, in one list, what reached them. Never destroyed: the writer's thread goes on.
struct Journal {
    std::mutex mutex;
    std::condition_variable wake;
    std::vector<std::string> entries;
    bool isBroken = false;
    bool isHeld = false;

    void note(std::string entry)
    {
        const std::lock_guard guard(mutex);
        entries.push_back(std::move(entry));
        wake.notify_all();
    }
    unsigned write(const std::vector<Cdb_user_bindings>& batch, std::string& reason)
    {
        reason = "disk full";
        std::unique_lock lock(mutex);
        wake.wait(lock, [this] { return !isHeld; });
        for (const Cdb_user_bindings& user : batch)
            entries.push_back((isBroken ? "failed " : "stored ") + user.userName + " " +
                              std::to_string(user.row.usrStage) +
                              (user.contacts.empty() ? "" : " at " + std::string(user.contacts.front().contact)) +
                              (user.isStageOnly ? " stage only"
                               : user.isRowOnly ? " row only"
                                                : ""));
        return isBroken ? 1 : 0;
    }
    void set(bool Journal::*flag, bool value)
    {
        const std::lock_guard guard(mutex);
        this->*flag = value;
        wake.notify_all();
    }
    std::vector<std::string> take()
    {
        const std::lock_guard guard(mutex);
        return std::exchange(entries, {});
    }
};

class RegistrationWriterTest : public testing::Test {
protected:
    RegistrationWriterTest()
    {
        BclSubEvent(kEvtUserState, &journal, [](void* context, void* user, void* state) {
            static_cast<Journal*>(context)->note("state " + asText(user) + " " +
                                                 std::to_string(*static_cast<uint8_t*>(state)));
        });
        BclSubEvent(kEvtUserAgent, &journal, [](void* context, void* user, void* agent) {
            static_cast<Journal*>(context)->note("agent " + asText(user) + " '" + asText(agent) + "'");
        });
        BclSubEvent(kEvtUserAddress, &journal, [](void* context, void* user, void* address) {
            static_cast<Journal*>(context)->note("address " + asText(user) + " '" + asText(address) + "'");
        });
        BclSubEvent(kEvtLog, &journal, [](void* context, void* line, void*) {
            static_cast<Journal*>(context)->note("log " + asText(line));
        });
    }
    void start()
    {
        std::thread([&started = writer] { started.run(); }).detach();
    }
    static UserChange change(const std::string& user, uint8_t state, const std::string& line = {})
    {
        UserChange result;
        result.stored.userName = user;
        result.stored.hasRow = state != 0;
        if (state != 0) {
            BclCopyStr(result.stored.row.preAddr, "192.0.2.1");
            BclCopyStr(result.stored.row.userAgent, "phone");
            result.stored.row.prePort = 5060;
        }
        result.stored.row.usrStage = state;
        result.isStateNew = result.isAgentNew = result.isAddressNew = true;
        if (!line.empty())
            result.lines.push_back(line);
        return result;
    }

    static UserChange registration(const std::string& user)
    {
        UserChange result = change(user, kUsrIdle);
        BclCopyStr(result.stored.contacts.emplace_back().contact, "sip:phone");
        return result;
    }
    static UserChange callState(const std::string& user, uint8_t state)
    {
        UserChange result = change(user, state);
        result.stored.isRowOnly = true;
        return result;
    }
    static UserChange stage(const std::string& user, uint8_t state)
    {
        UserChange result;
        result.stored.userName = user;
        result.stored.row.usrStage = state;
        result.stored.hasRow = result.stored.isRowOnly = result.stored.isStageOnly = result.isStateNew = true;
        return result;
    }
    static std::string storedAs(const std::string& user, uint8_t state, const std::string& rest)
    {
        return "stored " + user + " " + std::to_string(state) + rest;
    }

    Journal& journal = *new Journal;
    RegistrationWriter& writer =
        *new RegistrationWriter([&j = journal](const std::vector<Cdb_user_bindings>& batch, std::string& reason) {
            return j.write(batch, reason);
        });
};

using Entries = std::vector<std::string>;

TEST_F(RegistrationWriterTest, StoreKnowsBeforeTheEventIsPublished)
{
    start();
    writer.add(change("1000", 1, "registered"));
    ASSERT_TRUE(writer.flush(kLongMs));
    EXPECT_EQ(journal.take(), (Entries{"stored 1000 1", "state 1000 1", "agent 1000 'phone'",
                                       "address 1000 '192.0.2.1:5060'", "log registered"}));
}

TEST_F(RegistrationWriterTest, TextsAreEmptyWhenTheUserIsGone)
{
    start();
    writer.add(change("1000", 0));
    ASSERT_TRUE(writer.flush(kLongMs));
    EXPECT_EQ(journal.take(), (Entries{"stored 1000 0", "state 1000 0", "agent 1000 ''", "address 1000 ''"}));
}

TEST_F(RegistrationWriterTest, SilentChangeIsStoredOnly)
{
    start();
    UserChange refresh = change("1000", 1);
    refresh.isStateNew = refresh.isAgentNew = refresh.isAddressNew = false;
    writer.add(std::move(refresh));
    ASSERT_TRUE(writer.flush(kLongMs));
    EXPECT_EQ(journal.take(), Entries{"stored 1000 1"});
}

TEST_F(RegistrationWriterTest, BatchHasTheLastStateAndEveryEventInOrder)
{
    journal.set(&Journal::isHeld, true);
    start();
    writer.add(change("1", 1)); // is written, and holds the writer
    writer.add(change("1000", 1, "one"));
    writer.add(change("1000", 0, "two"));
    journal.set(&Journal::isHeld, false);
    ASSERT_TRUE(writer.flush(kLongMs));
    const Entries all = journal.take();
    Entries user;
    for (const std::string& entry : all)
        if (entry.find("1000") != std::string::npos && entry.find("state") == 0)
            user.push_back(entry);
    EXPECT_EQ(user, (Entries{"state 1000 1", "state 1000 0"}));
    EXPECT_EQ(std::count(all.begin(), all.end(), "stored 1000 0"), 1);
    EXPECT_LT(std::find(all.begin(), all.end(), "log one"), std::find(all.begin(), all.end(), "log two"));
    EXPECT_LT(std::find(all.begin(), all.end(), "stored 1000 0"), std::find(all.begin(), all.end(), "state 1000 0"));
}

TEST_F(RegistrationWriterTest, FailureIsLoggedOnceAndEventsComeAllTheSame)
{
    journal.set(&Journal::isBroken, true);
    start();
    writer.add(change("1000", 1));
    EXPECT_FALSE(writer.flush(kLongMs));
    writer.add(change("1001", 1));
    EXPECT_FALSE(writer.flush(kLongMs));
    const Entries all = journal.take();
    EXPECT_EQ(std::count(all.begin(), all.end(), "state 1000 1"), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), "state 1001 1"), 1);
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](const std::string& entry) { return entry.find("log ") == 0; }),
              1);
    EXPECT_EQ(std::count_if(all.begin(), all.end(),
                            [](const std::string& entry) { return entry.find("disk full") != std::string::npos; }),
              1)
        << "with the reason";
}

TEST_F(RegistrationWriterTest, WhatFailedIsWrittenWithTheNextBatchUnlessItIsOutdated)
{
    journal.set(&Journal::isBroken, true);
    start();
    writer.add(change("1000", 1));
    writer.add(change("1001", 1));
    EXPECT_FALSE(writer.flush(kLongMs));
    journal.take();
    journal.set(&Journal::isBroken, false);
    writer.add(change("1001", 0));
    ASSERT_TRUE(writer.flush(kLongMs));
    const Entries all = journal.take();
    EXPECT_EQ(std::count(all.begin(), all.end(), "stored 1000 1"), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), "stored 1001 0"), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), "stored 1001 1"), 0);
    EXPECT_EQ(std::count(all.begin(), all.end(), "state 1000 1"), 0) << "told before";
    EXPECT_EQ(std::count(all.begin(), all.end(), "log Registrations are stored again."), 1);
}

TEST_F(RegistrationWriterTest, StateOfACallKeepsTheContactsThatWaitBesideIt)
{
    journal.set(&Journal::isHeld, true);
    start();
    writer.add(change("1", 1)); // is written, and holds the writer
    writer.add(registration("1000"));
    writer.add(callState("1000", kUsrTalking));
    writer.add(callState("1001", kUsrRinging));
    writer.add(callState("1001", kUsrTalking));
    writer.add(callState("1002", kUsrTalking));
    writer.add(registration("1002"));
    journal.set(&Journal::isHeld, false);
    ASSERT_TRUE(writer.flush(kLongMs));
    const Entries all = journal.take();
    EXPECT_EQ(std::count(all.begin(), all.end(), storedAs("1000", kUsrTalking, " at sip:phone")), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), storedAs("1001", kUsrTalking, " row only")), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), storedAs("1002", kUsrIdle, " at sip:phone")), 1);
}

TEST_F(RegistrationWriterTest, StateOfACallKeepsTheContactsThatCouldNotBeWrittenBefore)
{
    journal.set(&Journal::isBroken, true);
    start();
    writer.add(registration("1000"));
    EXPECT_FALSE(writer.flush(kLongMs));
    journal.set(&Journal::isBroken, false);
    writer.add(callState("1000", kUsrTalking));
    ASSERT_TRUE(writer.flush(kLongMs));
    const Entries all = journal.take();
    EXPECT_EQ(std::count(all.begin(), all.end(), storedAs("1000", kUsrTalking, " at sip:phone")), 1);
}

TEST_F(RegistrationWriterTest, StateAloneLeavesTheRestOfWhatWaitsBesideIt)
{
    journal.set(&Journal::isHeld, true);
    start();
    writer.add(change("1", 1)); // is written, and holds the writer
    writer.add(registration("1000"));
    writer.add(stage("1000", kUsrTalking));
    writer.add(callState("1001", kUsrRinging));
    writer.add(stage("1001", kUsrTalking));
    writer.add(stage("1002", kUsrRinging));
    writer.add(stage("1002", kUsrTalking));
    writer.add(stage("1003", kUsrTalking));
    writer.add(callState("1003", kUsrIdle));
    writer.add(stage("1004", kUsrTalking));
    writer.add(registration("1004"));
    journal.set(&Journal::isHeld, false);
    ASSERT_TRUE(writer.flush(kLongMs));
    const Entries all = journal.take();
    for (const std::string& entry :
         {storedAs("1000", kUsrTalking, " at sip:phone"), storedAs("1001", kUsrTalking, " row only"),
          storedAs("1002", kUsrTalking, " stage only"), storedAs("1003", kUsrIdle, " row only"),
          storedAs("1004", kUsrIdle, " at sip:phone"), std::string("state 1002 " + std::to_string(kUsrRinging))})
        EXPECT_EQ(std::count(all.begin(), all.end(), entry), 1) << entry;
}

TEST_F(RegistrationWriterTest, FlushGivesUpOnAStoreThatHangs)
{
    journal.set(&Journal::isHeld, true);
    start();
    writer.add(change("1000", 1));
    EXPECT_FALSE(writer.flush(100));
    journal.set(&Journal::isHeld, false);
    EXPECT_TRUE(writer.flush(kLongMs));
}

TEST_F(RegistrationWriterTest, FlushWithoutWorkReturnsAtOnce)
{
    start();
    EXPECT_TRUE(writer.flush(0));
}

} // namespace
