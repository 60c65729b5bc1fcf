#include "registrar/nonce.h"

#include "callserver/fake_clock.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kSource = "192.0.2.1";
constexpr const char* kRealm = "parlovex";

TEST(Nonce, IsValidForItsClientUntilItIsTooOld)
{
    FakeClock clock;
    NonceMaker maker(clock);
    const std::string nonce = maker.make(kSource, kRealm);
    EXPECT_EQ(maker.check(nonce, kSource, kRealm), NonceState::Valid);
    clock.passMs(NonceMaker::kLifetimeMs);
    EXPECT_EQ(maker.check(nonce, kSource, kRealm), NonceState::Valid);
    clock.passMs(1);
    EXPECT_EQ(maker.check(nonce, kSource, kRealm), NonceState::Stale);
}

TEST(Nonce, DoesNotAgeWhenTheTimeOfDayIsSet)
{
    FakeClock clock;
    NonceMaker maker(clock);
    const std::string nonce = maker.make(kSource, kRealm);
    clock.jumpSeconds(86400);
    EXPECT_EQ(maker.check(nonce, kSource, kRealm), NonceState::Valid);
}

TEST(Nonce, IsStaleForAnotherAddressRealmOrProcess)
{
    FakeClock clock;
    NonceMaker maker(clock);
    NonceMaker other(clock);
    const std::string nonce = maker.make(kSource, kRealm);
    EXPECT_EQ(maker.check(nonce, "192.0.2.2", kRealm), NonceState::Stale);
    EXPECT_EQ(maker.check(nonce, kSource, "other"), NonceState::Stale);
    EXPECT_EQ(other.check(nonce, kSource, kRealm), NonceState::Stale);
}

TEST(Nonce, CannotBeMadeYounger)
{
    FakeClock clock;
    NonceMaker maker(clock);
    std::string nonce = maker.make(kSource, kRealm);
    clock.passMs(NonceMaker::kLifetimeMs + 1);
    nonce.replace(0, 16, maker.make(kSource, kRealm), 0, 16);
    EXPECT_EQ(maker.check(nonce, kSource, kRealm), NonceState::Stale);
}

TEST(Nonce, IsForeignWhenItHasNotTheForm)
{
    FakeClock clock;
    NonceMaker maker(clock);
    const std::string nonce = maker.make(kSource, kRealm);
    EXPECT_EQ(maker.check("", kSource, kRealm), NonceState::Foreign);
    EXPECT_EQ(maker.check(nonce + "0", kSource, kRealm), NonceState::Foreign);
    EXPECT_EQ(maker.check(nonce.substr(1), kSource, kRealm), NonceState::Foreign);
    EXPECT_EQ(maker.check("g" + nonce.substr(1), kSource, kRealm), NonceState::Foreign);
}

TEST(Nonce, IsNeverTheSame)
{
    FakeClock clock;
    NonceMaker maker(clock);
    EXPECT_NE(maker.make(kSource, kRealm), maker.make(kSource, kRealm));
}

TEST(Nonce, ProofsOfNeighboursHaveNothingInCommon)
{
    FakeClock clock;
    NonceMaker maker(clock);
    const std::string first = maker.make(kSource, kRealm);
    std::string second = maker.make(kSource, kRealm);
    second.replace(0, 16, first, 0, 16);
    EXPECT_EQ(maker.check(second, kSource, kRealm), NonceState::Stale) << "a proof is good for its number only";
}

TEST(Nonce, NumbersGrow)
{
    FakeClock clock;
    NonceMaker maker(clock);
    uint64_t last = 0;
    for (int i = 0; i < 5000; ++i) {
        const uint64_t number = NonceMaker::numberOf(maker.make(kSource, kRealm));
        EXPECT_GT(number, last);
        last = number;
        clock.passMs(i % 3);
    }
}

TEST(Nonce, OldestValidNumberParts)
{
    FakeClock clock;
    NonceMaker maker(clock);
    const std::string nonce = maker.make(kSource, kRealm);
    EXPECT_LT(maker.oldestValid(), NonceMaker::numberOf(nonce));
    clock.passMs(NonceMaker::kLifetimeMs);
    EXPECT_LE(maker.oldestValid(), NonceMaker::numberOf(nonce));
    clock.passMs(1);
    EXPECT_GT(maker.oldestValid(), NonceMaker::numberOf(nonce));
}

TEST(Nonce, DoesNotTellTheTime)
{
    FakeClock clock;
    NonceMaker maker(clock);
    NonceMaker other(clock);
    // The digits of the time; two makers would agree by chance once in 2^42 runs.
    EXPECT_NE(maker.make(kSource, kRealm).substr(0, 11), other.make(kSource, kRealm).substr(0, 11));
}

} // namespace
