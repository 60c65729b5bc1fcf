#include "sip/source_guard.h"

#include "callserver/event_ids.h"
#include "callserver/fake_clock.h"

#include "bcl2/event_bus.h"
#include "cachedb2/switch_variants.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class SourceGuardTest : public testing::Test {
protected:
    SourceGuardTest()
    {
        gVarSipChallengeRate = 200;
        BclSubEvent(kEvtLog, this, [](void* context, void* line, void*) {
            static_cast<SourceGuardTest*>(context)->lines.emplace_back(static_cast<const char*>(line));
        });
    }
    // The address of this number, each in a network of its own.
    static SourceKey numbered(size_t number)
    {
        return sourceKey("10." + std::to_string(number >> 16) + "." + std::to_string(number >> 8 & 255) + "." +
                         std::to_string(number & 255));
    }
    bool fail(const SourceKey& source, size_t count = 1)
    {
        bool isSilencedNow = false;
        for (size_t i = 0; i < count; ++i)
            isSilencedNow = guard.noteFailure(source, clock.steadyMs());
        return isSilencedNow;
    }
    bool isSilenced(const SourceKey& source) { return guard.isSilenced(source, clock.steadyMs()); }
    // How many of so many requests without credentials are answered.
    size_t admitted(const SourceKey& source, size_t count)
    {
        size_t answered = 0;
        for (size_t i = 0; i < count; ++i)
            answered += guard.admitWithoutCredentials(source, clock.steadyMs()) ? 1 : 0;
        return answered;
    }

    const SourceKey stranger = sourceKey("192.0.2.1");
    const SourceKey other = sourceKey("192.0.2.2");
    std::vector<std::string> lines;
    FakeClock clock;
    SourceGuard guard;
};

TEST_F(SourceGuardTest, TenFailuresWithinAMinuteSilenceTheSource)
{
    EXPECT_FALSE(fail(stranger, 9));
    EXPECT_FALSE(isSilenced(stranger));
    clock.passMs(60'000);
    EXPECT_TRUE(fail(stranger));
    EXPECT_TRUE(isSilenced(stranger));
    EXPECT_FALSE(isSilenced(other));
    EXPECT_EQ(lines,
              std::vector<std::string>{"192.0.2.1 is silenced for 10 minutes: 10 failed passwords within a minute."});
}

TEST_F(SourceGuardTest, SlowerFailuresDoNot)
{
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(fail(stranger));
        clock.passMs(60'001 / 9 + 1);
    }
    EXPECT_FALSE(isSilenced(stranger));
    EXPECT_TRUE(lines.empty());
}

TEST_F(SourceGuardTest, TheMinuteSlides)
{
    EXPECT_FALSE(fail(stranger, 5));
    clock.passMs(50'000);
    EXPECT_FALSE(fail(stranger, 4));
    clock.passMs(10'001); // the first five are too old
    EXPECT_FALSE(fail(stranger, 5));
    EXPECT_TRUE(fail(stranger));
}

TEST_F(SourceGuardTest, SilenceLastsTenMinutesAndBeginsAnew)
{
    fail(stranger, 10);
    clock.passMs(SourceGuard::kSilenceMs - 1);
    EXPECT_TRUE(isSilenced(stranger));
    EXPECT_FALSE(fail(stranger, 10)) << "what was under way when it began does not make it longer";
    clock.passMs(1);
    EXPECT_FALSE(isSilenced(stranger));
    EXPECT_FALSE(fail(stranger, 9)) << "nothing is left of the former failures";
    EXPECT_TRUE(fail(stranger));
    EXPECT_EQ(lines.size(), 2U);
}

TEST_F(SourceGuardTest, ASuccessForgivesNothing)
{
    fail(stranger, 9);
    guard.noteSuccess(stranger, clock.steadyMs());
    EXPECT_TRUE(fail(stranger));
    EXPECT_TRUE(isSilenced(stranger));
}

TEST_F(SourceGuardTest, ANetworkOfIpv6IsOneSource)
{
    for (int i = 0; i < 10; ++i)
        fail(sourceKey("2001:db8:1:2::" + std::to_string(i)));
    EXPECT_TRUE(isSilenced(sourceKey("2001:db8:1:2:ffff::1")));
    EXPECT_FALSE(isSilenced(sourceKey("2001:db8:1:3::1")));
    EXPECT_EQ(lines, std::vector<std::string>{
                         "2001:db8:1:2::/64 is silenced for 10 minutes: 10 failed passwords within a minute."});
}

TEST_F(SourceGuardTest, AFloodOfFailingSourcesPushesOutTheOldestOnly)
{
    fail(stranger, 9);
    for (size_t i = 0; i < SourceGuard::kMaxSources - 1; ++i)
        fail(numbered(i));
    fail(numbered(0), 8);
    EXPECT_TRUE(fail(stranger)) << "the table is full, no more";
    fail(numbered(SourceGuard::kMaxSources));
    fail(numbered(SourceGuard::kMaxSources + 1)); // pushes out 1, not 0, which failed again since
    EXPECT_TRUE(fail(numbered(0)));
    fail(numbered(1), 9);
    EXPECT_FALSE(isSilenced(numbered(1))) << "began anew";
}

TEST_F(SourceGuardTest, AFloodOfFailingSourcesFreesNobody)
{
    fail(stranger, 10);
    for (size_t i = 0; i < 3 * SourceGuard::kMaxSources; ++i)
        fail(numbered(i), 9);
    EXPECT_TRUE(isSilenced(stranger));
}

TEST_F(SourceGuardTest, OfTooManySilencedTheOneThatEndsFirstIsHeardAgain)
{
    for (size_t i = 0; i < SourceGuard::kMaxSources; ++i) {
        fail(numbered(i), 10);
        clock.passMs(1);
    }
    EXPECT_TRUE(isSilenced(numbered(0)));
    fail(stranger, 10);
    EXPECT_TRUE(isSilenced(stranger));
    EXPECT_FALSE(isSilenced(numbered(0)));
    for (size_t i = 1; i < SourceGuard::kMaxSources; ++i)
        ASSERT_TRUE(isSilenced(numbered(i))) << i;
}

TEST_F(SourceGuardTest, EachSilenceEndsAtItsTime)
{
    fail(stranger, 10);
    clock.passMs(1000);
    fail(other, 10);
    clock.passMs(SourceGuard::kSilenceMs - 1000);
    EXPECT_FALSE(isSilenced(stranger));
    EXPECT_TRUE(isSilenced(other));
    clock.passMs(1000);
    EXPECT_FALSE(isSilenced(other));
}

TEST_F(SourceGuardTest, RequestsWithoutCredentialsHaveARateAndABurst)
{
    EXPECT_EQ(admitted(stranger, 5000), 2000U) << "ten seconds' worth";
    EXPECT_EQ(admitted(other, 5), 5U) << "each source for itself";
    clock.passMs(1000);
    EXPECT_EQ(admitted(stranger, 5000), 200U);
    clock.passMs(5);
    EXPECT_EQ(admitted(stranger, 5000), 1U);
    clock.passMs(4);
    EXPECT_EQ(admitted(stranger, 5000), 0U);
    clock.passMs(1);
    EXPECT_EQ(admitted(stranger, 5000), 1U) << "parts of a request add up";
    clock.passSeconds(3600);
    EXPECT_EQ(admitted(stranger, 1000), 1000U);
    clock.passSeconds(3600);
    EXPECT_EQ(admitted(stranger, 5000), 2000U) << "no more, however long it was quiet";
}

TEST_F(SourceGuardTest, RateIsThatOfTheSwitch)
{
    gVarSipChallengeRate = 3;
    EXPECT_EQ(admitted(stranger, 100), 30U);
    clock.passMs(1000);
    EXPECT_EQ(admitted(stranger, 100), 3U);
    gVarSipChallengeRate = 0;
    EXPECT_EQ(admitted(stranger, 100'000), 100'000U);
    gVarSipChallengeRate = 1'000'000;
    guard.noteSuccess(stranger, clock.steadyMs());
    EXPECT_EQ(admitted(stranger, 10), 10U) << "also the highest times ten";
    EXPECT_EQ(admitted(other, 10), 10U);
    clock.passSeconds(int64_t{86400} * 365 * 400);
    EXPECT_EQ(admitted(other, 10), 10U) << "after any time";
}

TEST_F(SourceGuardTest, WhereAUserIsTenTimesAsMuchIsHeardForAnHour)
{
    EXPECT_EQ(admitted(stranger, 50'000), 2000U);
    guard.noteSuccess(stranger, clock.steadyMs());
    EXPECT_EQ(admitted(stranger, 50'000), 20'000U);
    clock.passMs(1000);
    EXPECT_EQ(admitted(stranger, 50'000), 2000U);
    clock.passMs(SourceGuard::kKnownMs - 1000);
    EXPECT_EQ(admitted(stranger, 50'000), 2000U) << "an hour after the last success";
    guard.noteSuccess(stranger, clock.steadyMs());
    clock.passMs(SourceGuard::kKnownMs - 1);
    guard.noteSuccess(stranger, clock.steadyMs());
    clock.passMs(SourceGuard::kKnownMs - 1);
    EXPECT_EQ(admitted(stranger, 50'000), 20'000U) << "each success counts";
}

TEST_F(SourceGuardTest, AFloodOfStrangersTakesNothingFromWhereUsersAre)
{
    guard.noteSuccess(stranger, clock.steadyMs());
    EXPECT_EQ(admitted(stranger, 15'000), 15'000U);
    for (size_t i = 0; i < 3 * SourceGuard::kMaxSources; ++i)
        EXPECT_EQ(admitted(numbered(i), 1), 1U);
    EXPECT_EQ(admitted(stranger, 50'000), 5000U);
}

TEST_F(SourceGuardTest, DroppingIsLoggedOnceAMinute)
{
    admitted(stranger, 3000);
    EXPECT_EQ(lines, std::vector<std::string>{
                         "Requests without credentials from 192.0.2.1 are dropped: more than 200 a second."});
    clock.passMs(SourceGuard::kDropLineMs - 1);
    admitted(stranger, 3000);
    EXPECT_EQ(lines.size(), 1U);
    admitted(other, 3000);
    EXPECT_EQ(lines.size(), 2U);
    clock.passMs(1);
    admitted(stranger, 3000);
    EXPECT_EQ(lines.size(), 3U);
    guard.noteSuccess(other, clock.steadyMs());
    admitted(other, 30'000);
    EXPECT_EQ(lines.back(), "Requests without credentials from 192.0.2.2 are dropped: more than 2000 a second.");
}

TEST_F(SourceGuardTest, LinesOfDroppingAreFewAltogether)
{
    gVarSipChallengeRate = 1;
    for (size_t i = 0; i < 10 * SourceGuard::kMaxDropLines; ++i)
        admitted(numbered(i), 20);
    EXPECT_EQ(lines.size(), SourceGuard::kMaxDropLines + 1);
    EXPECT_EQ(lines.back(), "Requests without credentials from many sources are dropped; further ones are not logged "
                            "for a while.");
    clock.passMs(SourceGuard::kDropLineMs);
    admitted(stranger, 20);
    EXPECT_EQ(lines.size(), SourceGuard::kMaxDropLines + 2);
}

} // namespace
