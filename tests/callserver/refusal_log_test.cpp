#include "registrar/refusal_log.h"

#include "callserver/event_ids.h"
#include "callserver/fake_clock.h"

#include "bcl2/event_bus.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class RefusalLogTest : public testing::Test {
protected:
    RefusalLogTest()
    {
        BclSubEvent(kEvtLog, this, [](void* context, void* line, void*) {
            static_cast<RefusalLogTest*>(context)->lines.emplace_back(static_cast<const char*>(line));
        });
    }
    void refuse(const std::string& user, const std::string& address = "192.0.2.1", const std::string& reason = "bad")
    {
        log.note(user, address, address + ":5060", reason);
    }

    std::vector<std::string> lines;
    FakeClock clock;
    RefusalLog log{clock};
};

TEST_F(RefusalLogTest, SaysWhoFromWhereAndWhy)
{
    refuse("1000", "192.0.2.1", "wrong user name or password");
    EXPECT_EQ(lines, std::vector<std::string>{
                         "Registration of user 1000 from 192.0.2.1:5060 refused: wrong user name or password."});
}

TEST_F(RefusalLogTest, RepeatsTheSameOnlyAfterAMinute)
{
    refuse("1000");
    clock.passMs(RefusalLog::kPauseMs - 1);
    refuse("1000");
    EXPECT_EQ(lines.size(), 1U);
    refuse("1001");
    refuse("1000", "192.0.2.2");
    refuse("1000", "192.0.2.1", "worse");
    EXPECT_EQ(lines.size(), 4U);
    clock.passMs(1);
    refuse("1000");
    EXPECT_EQ(lines.size(), 5U);
}

TEST_F(RefusalLogTest, AFloodOfNamesIsBounded)
{
    for (size_t i = 0; i < 10 * RefusalLog::kMaxEntries; ++i)
        refuse(std::to_string(i));
    EXPECT_EQ(lines.size(), RefusalLog::kMaxEntries + 1) << "and one line that says so";
    clock.passMs(RefusalLog::kPauseMs);
    refuse("1000");
    EXPECT_EQ(lines.size(), RefusalLog::kMaxEntries + 2);
}

TEST_F(RefusalLogTest, NamesCannotForgeALine)
{
    refuse("1\r\nUser 1000 registered");
    EXPECT_EQ(lines.at(0).find('\n'), std::string::npos);
}

TEST_F(RefusalLogTest, LongNamesHideNeitherAddressNorReason)
{
    refuse(std::string(1200, 'u'), "192.0.2.1", "wrong user name or password");
    EXPECT_EQ(lines, std::vector<std::string>{"Registration of user " + std::string(64, 'u') +
                                              " from 192.0.2.1:5060 refused: wrong user name or password."});
    refuse(std::string(1300, 'u'), "192.0.2.1", "wrong user name or password");
    EXPECT_EQ(lines.size(), 1U) << "told by what is shown";
    refuse("1000", "192.0.2.1", std::string(60'000, 'r'));
    EXPECT_EQ(lines.at(1), "Registration of user 1000 from 192.0.2.1:5060 refused: " + std::string(256, 'r') + ".");
}

} // namespace
