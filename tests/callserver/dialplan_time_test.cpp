#include "dialplan/missing_conditions.h"
#include "dialplan/time_condition.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

constexpr uint8_t kEveryDay = 0x7f;
constexpr uint8_t kThursday = 1U << EBCL_THURSDAY;
constexpr uint8_t kFriday = 1U << EBCL_FRIDAY;

class DialPlanTimeTest : public testing::Test {
protected:
    DialPlanTimeTest() { useZone("UTC"); }

    static void useZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    static Cdb_time_cond condition(unsigned startHour, unsigned startMinute, unsigned endHour, unsigned endMinute,
                                   uint8_t weekdays = kEveryDay)
    {
        Cdb_time_cond record;
        record.ID = 1;
        record.startHour = static_cast<uint8_t>(startHour);
        record.startMinute = static_cast<uint8_t>(startMinute);
        record.endHour = static_cast<uint8_t>(endHour);
        record.endMinute = static_cast<uint8_t>(endMinute);
        record.weekdays = weekdays;
        return record;
    }
    // On Thursday 2026-01-01, or days later, UTC.
    static Cbcl_timestamp at(int hour, int minute, int second = 0, int day = 0)
    {
        constexpr Cbcl_timestamp kMidnight = 1'767'225'600;
        return kMidnight + Cbcl_timestamp{day} * 86400 + Cbcl_timestamp{hour} * 3600 + Cbcl_timestamp{minute} * 60 +
               second;
    }
};

TEST_F(DialPlanTimeTest, HoldsFromStartToBeforeEnd)
{
    const Cdb_time_cond office = condition(8, 30, 17, 0);
    EXPECT_FALSE(holdsAt(office, at(8, 29, 59)));
    EXPECT_TRUE(holdsAt(office, at(8, 30)));
    EXPECT_TRUE(holdsAt(office, at(16, 59, 59)));
    EXPECT_FALSE(holdsAt(office, at(17, 0)));
}

TEST_F(DialPlanTimeTest, HoldsOnItsWeekdaysOnly)
{
    const Cdb_time_cond office = condition(8, 0, 17, 0, kThursday);
    EXPECT_TRUE(holdsAt(office, at(12, 0)));
    EXPECT_FALSE(holdsAt(office, at(12, 0, 0, 1)));
    EXPECT_TRUE(holdsAt(office, at(12, 0, 0, 7)));
    const Cdb_time_cond sunday = condition(8, 0, 17, 0, 1U << EBCL_SUNDAY);
    EXPECT_TRUE(holdsAt(sunday, at(12, 0, 0, 3)));
    EXPECT_FALSE(holdsAt(sunday, at(12, 0, 0, 2)));
}

TEST_F(DialPlanTimeTest, RunsOverMidnightFromTheWeekdayOfItsStart)
{
    const Cdb_time_cond night = condition(22, 0, 6, 0, kThursday);
    EXPECT_FALSE(holdsAt(night, at(21, 59, 59)));
    EXPECT_TRUE(holdsAt(night, at(22, 0)));
    EXPECT_TRUE(holdsAt(night, at(23, 59, 59)));
    EXPECT_TRUE(holdsAt(night, at(0, 0, 0, 1)));
    EXPECT_TRUE(holdsAt(night, at(5, 59, 59, 1)));
    EXPECT_FALSE(holdsAt(night, at(6, 0, 0, 1)));
    EXPECT_FALSE(holdsAt(night, at(5, 0))) << "that night began on Wednesday";
    EXPECT_FALSE(holdsAt(night, at(22, 0, 0, 1)));
}

TEST_F(DialPlanTimeTest, NightOfSaturdayEndsOnSunday)
{
    const Cdb_time_cond night = condition(22, 0, 6, 0, 1U << EBCL_SATURDAY);
    EXPECT_TRUE(holdsAt(night, at(5, 0, 0, 3)));
    const Cdb_time_cond toMonday = condition(22, 0, 6, 0, 1U << EBCL_SUNDAY);
    EXPECT_TRUE(holdsAt(toMonday, at(5, 0, 0, 4)));
    EXPECT_FALSE(holdsAt(toMonday, at(5, 0, 0, 3)));
}

TEST_F(DialPlanTimeTest, EqualStartAndEndIsTheWholeDay)
{
    for (const Cdb_time_cond& day : {condition(0, 0, 0, 0, kThursday), condition(9, 15, 9, 15, kThursday)}) {
        EXPECT_TRUE(holdsAt(day, at(0, 0)));
        EXPECT_TRUE(holdsAt(day, at(9, 14)));
        EXPECT_TRUE(holdsAt(day, at(23, 59, 59)));
        EXPECT_FALSE(holdsAt(day, at(0, 0, 0, 1)));
        EXPECT_FALSE(holdsAt(day, at(23, 59, 59, -1)));
    }
}

TEST_F(DialPlanTimeTest, MidnightMayBeWrittenAsItsEnd)
{
    const Cdb_time_cond evening = condition(18, 0, 24, 0, kThursday);
    EXPECT_TRUE(holdsAt(evening, at(18, 0)));
    EXPECT_TRUE(holdsAt(evening, at(23, 59, 59)));
    EXPECT_FALSE(holdsAt(evening, at(0, 0, 0, 1)));
    EXPECT_TRUE(holdsAt(condition(0, 0, 24, 0), at(0, 0)));
    EXPECT_TRUE(holdsAt(condition(18, 0, 0, 0, kThursday), at(23, 59, 59))) << "over midnight, to its first minute";
    EXPECT_FALSE(holdsAt(condition(18, 0, 0, 0, kThursday), at(0, 0, 0, 1)));
}

TEST_F(DialPlanTimeTest, TimesThatNoClockShowsNeverHold)
{
    EXPECT_FALSE(holdsAt(condition(24, 0, 24, 0), at(0, 0)));
    EXPECT_FALSE(holdsAt(condition(24, 0, 6, 0), at(3, 0)));
    EXPECT_FALSE(holdsAt(condition(8, 0, 24, 1), at(12, 0)));
    EXPECT_FALSE(holdsAt(condition(8, 0, 25, 0), at(12, 0)));
    EXPECT_FALSE(holdsAt(condition(8, 60, 17, 0), at(12, 0)));
    EXPECT_FALSE(holdsAt(condition(8, 0, 17, 60), at(12, 0)));
    EXPECT_FALSE(holdsAt(condition(255, 255, 255, 255), at(12, 0)));
}

TEST_F(DialPlanTimeTest, NoWeekdayIsNever)
{
    EXPECT_FALSE(holdsAt(condition(0, 0, 24, 0, 0), at(12, 0)));
    EXPECT_FALSE(holdsAt(condition(0, 0, 24, 0, 0x80), at(12, 0))) << "there is no eighth day";
}

TEST_F(DialPlanTimeTest, FollowsTheLocalTimeOfTheServer)
{
    useZone("CET-1");
    const Cdb_time_cond office = condition(8, 0, 17, 0, kThursday);
    EXPECT_TRUE(holdsAt(office, at(7, 0)));
    EXPECT_FALSE(holdsAt(office, at(16, 0)));
    EXPECT_TRUE(holdsAt(condition(0, 0, 1, 0, kFriday), at(23, 30))) << "it is Friday there";
}

TEST_F(DialPlanTimeTest, MissingConditionsAreToldOnceADay)
{
    MissingConditions missing;
    EXPECT_EQ(missing.linesFor({7, 8}, at(9, 0)).size(), 2U);
    EXPECT_EQ(missing.linesFor({7}, at(23, 59)).size(), 0U);
    EXPECT_EQ(missing.linesFor({9, 7}, at(23, 59)).size(), 1U);
    const std::vector<std::string> lines = missing.linesFor({7}, at(0, 0, 0, 1));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("Time condition 7 "), std::string::npos);
}

} // namespace
