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

} // namespace
