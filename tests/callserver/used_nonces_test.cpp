#include "registrar/used_nonces.h"

#include <gtest/gtest.h>

namespace {

TEST(UsedNonces, TakeEachCountOnce)
{
    UsedNonces used;
    EXPECT_TRUE(used.use(7, 1, 0));
    EXPECT_FALSE(used.use(7, 1, 0));
    EXPECT_TRUE(used.use(7, 2, 0));
    EXPECT_FALSE(used.use(7, 2, 0));
    EXPECT_FALSE(used.use(7, 1, 0));
    EXPECT_TRUE(used.use(8, 1, 0)) << "another nonce counts for itself";
}

TEST(UsedNonces, TakeCountsThatOvertookEachOther)
{
    UsedNonces used;
    EXPECT_TRUE(used.use(7, 5, 0));
    EXPECT_TRUE(used.use(7, 3, 0));
    EXPECT_TRUE(used.use(7, 4, 0));
    EXPECT_FALSE(used.use(7, 3, 0));
    EXPECT_FALSE(used.use(7, 5, 0));
    EXPECT_TRUE(used.use(7, 6, 0));
    EXPECT_FALSE(used.use(7, 4, 0));
    EXPECT_TRUE(used.use(7, 2, 0));
}

TEST(UsedNonces, TakeNoCountFarBelowTheHighest)
{
    constexpr uint32_t kHigh = 1000;
    UsedNonces used;
    EXPECT_TRUE(used.use(7, kHigh, 0));
    EXPECT_FALSE(used.use(7, kHigh - UsedNonces::kWindow, 0));
    EXPECT_TRUE(used.use(7, kHigh - UsedNonces::kWindow + 1, 0));
    EXPECT_FALSE(used.use(7, kHigh - UsedNonces::kWindow + 1, 0));
}

TEST(UsedNonces, RememberWhatIsInTheWindowWhenTheCountJumps)
{
    UsedNonces used;
    EXPECT_TRUE(used.use(7, 1, 0));
    EXPECT_TRUE(used.use(7, UsedNonces::kWindow, 0));
    EXPECT_FALSE(used.use(7, 1, 0)) << "at the end of the window";
    EXPECT_TRUE(used.use(7, 2 * UsedNonces::kWindow, 0));
    EXPECT_FALSE(used.use(7, UsedNonces::kWindow, 0)) << "behind it";
    EXPECT_TRUE(used.use(7, 2 * UsedNonces::kWindow - 1, 0));
    EXPECT_TRUE(used.use(7, UINT32_MAX, 0));
    EXPECT_FALSE(used.use(7, UINT32_MAX, 0));
    EXPECT_FALSE(used.use(7, 2 * UsedNonces::kWindow, 0));
}

TEST(UsedNonces, TakeNoNonceThatMayHaveBeenForgotten)
{
    UsedNonces used;
    for (uint64_t nonce = 10; nonce < 10 + 2 * UsedNonces::kMaxNonces; nonce += 2)
        EXPECT_TRUE(used.use(nonce, 1, 0));
    EXPECT_TRUE(used.use(100, 1, 0)); // pushes 10 out
    EXPECT_FALSE(used.use(10, 1, 0));
    EXPECT_FALSE(used.use(10, 2, 0));
    EXPECT_FALSE(used.use(9, 1, 0)) << "older, and never seen";
    EXPECT_TRUE(used.use(11, 1, 0)) << "younger, and never seen";
    EXPECT_FALSE(used.use(11, 1, 0));
    EXPECT_FALSE(used.use(12, 1, 0)) << "made room for it";
    EXPECT_FALSE(used.use(14, 1, 0)) << "still known";
    EXPECT_TRUE(used.use(14, 2, 0));
}

TEST(UsedNonces, ForgetWhatIsNoLongerValid)
{
    UsedNonces used;
    // A telephone that registers every minute, with a challenge each time and nonces that live five.
    for (uint64_t nonce = 1; nonce < 100; ++nonce)
        EXPECT_TRUE(used.use(nonce, 1, nonce < 5 ? 0 : nonce - 5));
    EXPECT_LE(used.size(), 6U);
    for (uint64_t nonce = 95; nonce < 100; ++nonce)
        EXPECT_FALSE(used.use(nonce, 1, 95)) << nonce;
}

} // namespace
