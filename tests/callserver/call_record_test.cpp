#include "callserver/call_record.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <new>

TEST(CallRecord, ANewOneIsAllZeroWhateverTheMemoryHeld)
{
    alignas(Ccdr_record_data) std::array<unsigned char, sizeof(Ccdr_record_data)> memory;
    memory.fill(0xa5);
    new (memory.data()) Ccdr_record_data;
    const std::array<unsigned char, sizeof(Ccdr_record_data)> zero{};
    EXPECT_EQ(std::memcmp(memory.data(), zero.data(), zero.size()), 0);
}

TEST(CallRecord, ATimeStampComesWithItsFlag)
{
    Ccdr_record_data record;
    record.setTime(kCdrAnswer, 1'800'000'000);
    EXPECT_EQ(record.times[kCdrAnswer], 1'800'000'000);
    EXPECT_EQ(record.flags, kCdrHasAnswer);
    EXPECT_TRUE(record.has(kCdrHasAnswer));
    EXPECT_FALSE(record.has(kCdrHasEnd));
}
