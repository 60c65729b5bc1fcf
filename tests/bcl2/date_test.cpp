#include "bcl2/date.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

// POSIX forms, so that no zone files are needed.
class Date : public testing::Test {
protected:
    void SetUp() override { setZone("UTC0"); }
    static void setZone(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    static std::string dateTime(Cbcl_timestamp stamp)
    {
        Cbcl_tmp_str out("left over");
        BclGetDateTimeStr(stamp, out);
        return out.c_str();
    }
    static std::string date(uint32_t value)
    {
        Cbcl_tmp_str out("left over");
        BclIntToDate(value, out);
        return out.c_str();
    }
};

constexpr Cbcl_timestamp kFirstOfYear1000 = -30610224000;
constexpr Cbcl_timestamp kEndOfYear9999 = 253402300799;
constexpr Cbcl_timestamp kFriday = 1795167907; // 2026-11-20 09:45:07 UTC

} // namespace

TEST_F(Date, showsDateAndTimeWithLeadingZeros)
{
    EXPECT_EQ(dateTime(kFriday), "2026-11-20 09:45:07");
    EXPECT_EQ(dateTime(0), "1970-01-01 00:00:00");
    EXPECT_EQ(dateTime(-1), "1969-12-31 23:59:59");
    EXPECT_EQ(dateTime(951782400), "2000-02-29 00:00:00");
}

TEST_F(Date, showsOnlyYearsOfFourDigits)
{
    EXPECT_EQ(dateTime(kEndOfYear9999), "9999-12-31 23:59:59");
    EXPECT_EQ(dateTime(kEndOfYear9999 + 1), "");
    EXPECT_EQ(dateTime(kFirstOfYear1000), "1000-01-01 00:00:00");
    EXPECT_EQ(dateTime(kFirstOfYear1000 - 1), "");
    EXPECT_EQ(dateTime(INT64_MAX), "");
    EXPECT_EQ(dateTime(INT64_MIN), "");
    EXPECT_EQ(BclGetDateInt(kEndOfYear9999), 99991231u);
    EXPECT_EQ(BclGetDateInt(kEndOfYear9999 + 1), 0u);
    EXPECT_EQ(BclGetDateInt(INT64_MAX), 0u);
}

TEST_F(Date, followsTheLocalZone)
{
    setZone("TST-8"); // eight hours before UTC
    EXPECT_EQ(dateTime(kFriday), "2026-11-20 17:45:07");
    const Cbcl_timestamp lateFriday = kFriday + Cbcl_timestamp{8} * 3600; // 01:45:07 on Saturday there
    EXPECT_EQ(BclGetDateInt(lateFriday), 20261121u);
    EXPECT_EQ(BclGetWeek(lateFriday), EBCL_SATURDAY);
    setZone("UTC0");
    EXPECT_EQ(BclGetDateInt(lateFriday), 20261120u);
    EXPECT_EQ(BclGetWeek(lateFriday), EBCL_FRIDAY);
}

TEST_F(Date, followsSummerTime)
{
    setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(dateTime(1774745999), "2026-03-29 01:59:59");
    EXPECT_EQ(dateTime(1774746000), "2026-03-29 03:00:00");
}

TEST_F(Date, countsTheWeekFromSunday)
{
    const Ebcl_week week[] = {EBCL_SUNDAY,   EBCL_MONDAY, EBCL_TUESDAY, EBCL_WEDNESDAY,
                              EBCL_THURSDAY, EBCL_FRIDAY, EBCL_SATURDAY};
    constexpr Cbcl_timestamp kSunday = 259200; // 1970-01-04
    for (unsigned day = 0; day < 7; ++day) {
        EXPECT_EQ(BclGetWeek(kSunday + Cbcl_timestamp{day} * 86400), week[day]);
        EXPECT_EQ(week[day], day);
    }
}

TEST_F(Date, currentStampIsTheSystemTime)
{
    const Cbcl_timestamp before = time(nullptr);
    const Cbcl_timestamp stamp = BclGetCurrTimestamp();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, time(nullptr));
}

TEST_F(Date, readsOnlyTheExactForm)
{
    EXPECT_EQ(BclDateToInt("2026-11-20"), 20261120u);
    EXPECT_EQ(BclDateToInt("0001-02-03"), 10203u);
    EXPECT_EQ(BclDateToInt("2026-02-31"), 20260231u);
    EXPECT_EQ(BclDateToInt("0000-00-00"), 0u);
    for (const char* bad :
         {"", "2026", "2026-11-2", "2026-11-200", "2026-11-20 ", " 2026-11-20", "2026/11/20", "20261120", "26-11-20",
          "2026-1-20", "-026-11-20", "2026-11-2d", "d026-11-20", "dddd-dd-dd", "2026-11-20 09:45:07", "２０２６-11-20"})
        EXPECT_EQ(BclDateToInt(bad), 0u) << bad;
    EXPECT_EQ(BclDateToInt(nullptr), 0u);
}

TEST_F(Date, writesTheFormThatItReads)
{
    for (const char* text : {"2026-11-20", "0001-02-03", "2026-02-31", "9999-99-99", "0000-00-00"})
        EXPECT_EQ(date(BclDateToInt(text)), text);
    EXPECT_EQ(date(100000000), "0000-00-00");
    EXPECT_EQ(date(UINT32_MAX), "0000-00-00");
}
