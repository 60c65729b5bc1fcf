// Call detail records, from the first INVITE to the disk.
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

#include <sqlite3.h>

#include <algorithm>
#include <thread>

namespace {

using Texts = std::vector<std::string>;

class CallsRecordsTest : public CallsFixture {
protected:
    [[nodiscard]] const Ccdr_record_data& last() const { return records.back().second; }
    // Of the records that are on disk.
    int stored()
    {
        EXPECT_TRUE(cdrs.flush(60'000));
        sqlite3* db = nullptr;
        int rows = 0;
        if (sqlite3_open_v2(folder.file("cdr.db").c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
            const auto count = [](void* context, int, char** values, char**) {
                *static_cast<int*>(context) = std::stoi(values[0]);
                return 0;
            };
            (void)sqlite3_exec(db, "select count(*) from tbl_cdr", count, &rows, nullptr);
        }
        sqlite3_close(db);
        return rows;
    }
};

TEST_F(CallsRecordsTest, TellEveryMomentOfACall)
{
    const Cbcl_timestamp begin = clock.wallSeconds();
    const HeardPtr invite = call("2001", "2002");
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].first, 1);
    EXPECT_EQ(last().callId, 1);
    EXPECT_STREQ(last().callerNbr, "2001");
    EXPECT_STREQ(last().dialedNbr, "2002");
    EXPECT_STREQ(last().calledNbr, "2002");
    EXPECT_STREQ(last().extLine, "");
    EXPECT_EQ(last().peerServerId, 0);
    EXPECT_EQ(last().releaseCode, 0U);
    EXPECT_EQ(last().flags, kCdrHasStart | kCdrCallerAddr);
    EXPECT_EQ(last().times[kCdrStart], begin);
    EXPECT_STREQ(last().callerAddr, "192.0.2.1:5060");
    EXPECT_STREQ(last().calledAddr, "");
    EXPECT_STREQ(last().fci, "");

    pass(2);
    const SentPtr branch = next("INVITE");
    answer(branch, 180);
    EXPECT_EQ(last().flags, kCdrHasStart | kCdrHasRing | kCdrCallerAddr | kCdrCalledAddr);
    EXPECT_EQ(last().times[kCdrRing], begin + 2);
    EXPECT_STREQ(last().calledAddr, "192.0.2.2:5060");
    answer(branch, 183, kAnswer);
    EXPECT_EQ(records.size(), 2U);

    pass(3);
    answer(branch, 200, kAnswer);
    ack(invite);
    EXPECT_EQ(last().times[kCdrAnswer], begin + 5);
    EXPECT_EQ(last().releaseCode, 0U);
    EXPECT_EQ(last().duration, 0U);

    pass(7);
    PhoneDialog caller = callerOf(invite, phone("2001"));
    send(caller, SipMethod::Bye);
    EXPECT_EQ(last().flags, kCdrHasStart | kCdrHasRing | kCdrHasAnswer | kCdrHasEnd | kCdrCallerAddr | kCdrCalledAddr);
    EXPECT_EQ(last().times[kCdrStart], begin);
    EXPECT_EQ(last().times[kCdrEnd], begin + 12);
    EXPECT_EQ(last().duration, 7U);
    EXPECT_EQ(last().releaseCode, 200U);
    EXPECT_EQ(recordTexts(), (Texts{"start", "ring", "answer", "end 200"}));
    for (const auto& [id, data] : records)
        EXPECT_EQ(id, 1);
}

TEST_F(CallsRecordsTest, AClockThatIsSetBackGivesNoLongCall)
{
    Talk made = talk();
    pass(10);
    clock.jumpSeconds(-3600);
    hangUp(made);
    EXPECT_EQ(last().duration, 0U);
}

TEST_F(CallsRecordsTest, OfCallsThatAreRefusedStartAndEnd)
{
    EXPECT_EQ(call("2001", "9999")->status(), 404);
    EXPECT_STREQ(last().calledNbr, "9999");
    EXPECT_EQ(recordTexts(), (Texts{"start", "end 404"}));
    EXPECT_EQ(last().flags, kCdrHasStart | kCdrHasEnd | kCdrCallerAddr);
    EXPECT_EQ(call("2001", "2001")->status(), 480);
    EXPECT_EQ(recordTexts(), (Texts{"start", "end 404", "2:start", "2:end 480"}));
    EXPECT_EQ(last().callId, 2);
}

TEST_F(CallsRecordsTest, ShowTheNumbersAsTheyAreAfterAllChanges)
{
    Cdb_speed_dial_data speed;
    speed.dialedNbr.SetNbr("7");
    speed.callerNbr.SetNbr("2001");
    speed.destination.SetNbr("2003");
    ASSERT_EQ(store.DbAddSpeedDial(speed), kDbOk);
    call("2001", "7");
    EXPECT_STREQ(last().dialedNbr, "7");
    EXPECT_STREQ(last().calledNbr, "2003");
    EXPECT_EQ(next("INVITE")->request.to, "<sip:2003@198.51.100.1:5060>");
}

TEST_F(CallsRecordsTest, OfATelephoneThatAnswersWithoutRingingHaveNoRing)
{
    talk();
    EXPECT_EQ(recordTexts(), (Texts{"start", "answer"}));
    EXPECT_STREQ(last().calledAddr, "192.0.2.2:5060");
}

TEST_F(CallsRecordsTest, NameTheTelephoneThatAnswered)
{
    const FakePhone second = addPhone("2002");
    call("2001", "2002");
    const SentPtr first = next("INVITE");
    answer(first, 180);
    EXPECT_STREQ(last().calledAddr, "192.0.2.2:5060");
    answer(next("INVITE"), 200, kAnswer);
    EXPECT_EQ(last().calledAddr, second.source.address + ":5060");
}

TEST_F(CallsRecordsTest, AreStoredAtTheEndUnlessTheSystemSaysNo)
{
    std::thread([&started = cdrs] { started.run(); }).detach();
    Talk made = talk();
    EXPECT_EQ(stored(), 0);
    hangUp(made);
    EXPECT_EQ(stored(), 1);
    changeSystem([](Cdb_sys_data& system) { system.callFlags &= static_cast<uint8_t>(~kSysStoreCdr); });
    call("2001", "9999");
    EXPECT_EQ(stored(), 1);
    EXPECT_EQ(recordTexts().back(), "2:end 404"); // told all the same
}

// Anybody can send INVITEs, each with another address that he makes up.
TEST_F(CallsRecordsTest, StrangersFillNoDisk)
{
    constexpr int kBound = static_cast<int>(StrangerRecords::kPerHour);
    std::thread([&started = cdrs] { started.run(); }).detach();
    changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAcceptUnknown; });
    unsigned strangers = 0;
    const auto callFromSomewhere = [&](const char* dialed) {
        const std::string address = "203.0.113." + std::to_string(++strangers % 250);
        return call(FakePhone{"somebody", {address, 5060, kTransportUdp}}, dialed);
    };
    const auto linesOfIt = [this] {
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find("Unknown servers make many calls that nobody answers") != std::string::npos;
        });
    };
    for (int i = 0; i < kBound - 1; ++i)
        EXPECT_EQ(callFromSomewhere("9999")->status(), 404);
    cancel(callFromSomewhere("2002"));
    answer(next("INVITE"), 487);
    EXPECT_EQ(stored(), kBound);
    EXPECT_EQ(linesOfIt(), 0);
    for (int i = 0; i < kBound; ++i)
        callFromSomewhere("9999");
    cancel(callFromSomewhere("2002"));
    answer(next("INVITE"), 487);
    EXPECT_EQ(stored(), kBound);
    EXPECT_EQ(linesOfIt(), 1);
    EXPECT_EQ(records.size(), 4U * kBound + 2) << "they are told all the same";

    call("2001", "9999");
    EXPECT_EQ(stored(), kBound + 1) << "a user answers for what he does";
    const HeardPtr answered = callFromSomewhere("2002");
    const SentPtr branch = next("INVITE");
    answer(branch, 200, kAnswer);
    ack(answered);
    PhoneDialog called = calledOf(branch, phone("2002"));
    EXPECT_EQ(send(called, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
    EXPECT_EQ(stored(), kBound + 2) << "somebody has spoken to him";

    pass(StrangerRecords::kHourMs / 1000 / kBound * 2);
    for (int i = 0; i < 10; ++i)
        callFromSomewhere("9999");
    EXPECT_EQ(stored(), kBound + 4) << "there is room again, but not for all";
    EXPECT_EQ(linesOfIt(), 1);
    clock.passSeconds(StrangerRecords::kHourMs / 1000);
    for (int i = 0; i < kBound + 1; ++i)
        callFromSomewhere("9999");
    EXPECT_EQ(stored(), 2 * kBound + 4);
    EXPECT_EQ(linesOfIt(), 2) << "one an hour";
    EXPECT_NE(lines.back().find("600 of them an hour are stored. Left out: " + std::to_string(kBound + 1 + 8 - 1 + 1)),
              std::string::npos)
        << lines.back();
}

TEST_F(CallsRecordsTest, TheStatusTableShowsTheCallsInProgress)
{
    Talk made = talk();
    call("2003", "2004");
    answer(next("INVITE"), 180);
    pass(5);
    const Texts table = server().statusTable();
    ASSERT_EQ(table.size(), 3U);
    EXPECT_NE(table[1].find("talking"), std::string::npos);
    EXPECT_NE(table[1].find("2001 (192.0.2.1:5060)"), std::string::npos);
    EXPECT_NE(table[1].find("0:05"), std::string::npos);
    EXPECT_NE(table[2].find("ringing"), std::string::npos);
}

TEST_F(CallsRecordsTest, WhatNobodyServesYetIsSaidInTheLog)
{
    EXPECT_EQ(call("2001", "*97")->status(), 503);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("not served yet"), std::string::npos) << lines.back();
    expectNothingLeft();
}

} // namespace
