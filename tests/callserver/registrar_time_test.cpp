#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";
constexpr const char* kSecond = "sip:1000@192.0.2.2:5060";

using RegistrarTimeTest = RegistrarFixture;

TEST_F(RegistrarTimeTest, ExpiresOnTime)
{
    handle(request({contact(kPhone, 60)}));
    takeChanges();
    clock.passMs(59'999);
    registrar->expire();
    EXPECT_TRUE(changes.empty());
    clock.passMs(1);
    registrar->expire();
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew && change.isAgentNew && change.isAddressNew);
    EXPECT_FALSE(change.stored.hasRow);
    EXPECT_EQ(change.lines, std::vector<std::string>{"The registration of user 1000 from 192.0.2.1:5060 has expired."});
    EXPECT_TRUE(handle(request({})).contacts.empty());
}

TEST_F(RegistrarTimeTest, RefreshPutsExpiryOff)
{
    handle(request({contact(kPhone, 60)}));
    clock.passSeconds(59);
    handle(request({contact(kPhone, 60)}));
    takeChanges();
    clock.passSeconds(59);
    registrar->expire();
    EXPECT_TRUE(changes.empty());
    clock.passSeconds(1);
    registrar->expire();
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(RegistrarTimeTest, EachContactExpiresForItself)
{
    handle(request({contact(kPhone, 60), contact(kSecond, 120)}));
    takeChanges();
    clock.passSeconds(60);
    registrar->expire();
    const UserChange change = takeChange();
    EXPECT_FALSE(change.isStateNew);
    EXPECT_TRUE(change.stored.hasRow);
    EXPECT_EQ(change.stored.contacts.size(), 1U);
    clock.passSeconds(60);
    registrar->expire();
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarTimeTest, ManyUsersExpireInOneGo)
{
    for (int i = 0; i < 50; ++i) {
        const std::string name = std::to_string(2000 + i);
        putUser(name, "secret");
        handle(request({contact("sip:" + name + "@192.0.2.1", 60)}, name));
    }
    takeChanges();
    clock.passSeconds(3600);
    registrar->expire();
    EXPECT_EQ(changes.size(), 50U);
}

TEST_F(RegistrarTimeTest, SettingTheTimeOfDayExpiresNothing)
{
    handle(request({contact(kPhone, 60)}));
    takeChanges();
    clock.jumpSeconds(int64_t{86400} * 365);
    registrar->expire();
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTimeTest, RestartKeepsWhatHasNotExpired)
{
    registerFrom(kPhone, "192.0.2.1");
    clock.passSeconds(100);
    registerFrom(kSecond, "192.0.2.2");
    takeChanges();
    restart();
    EXPECT_TRUE(changes.empty()) << "what is stored is right already";
    const RegisterReply answer = handle(request({}));
    ASSERT_EQ(answer.contacts.size(), 2U);
    EXPECT_EQ(answer.contacts[0].uri, kPhone);
    EXPECT_EQ(answer.contacts[0].expires, 3500U);
    EXPECT_EQ(answer.contacts[1].expires, 3600U);
    // The order in which they were registered is kept.
    handle(request({contact(kSecond, 0)}));
    EXPECT_STREQ(takeChange().stored.row.preAddr, "192.0.2.1");
}

TEST_F(RegistrarTimeTest, RestartKeepsTheShownContactNewest)
{
    registerFrom(kPhone, "192.0.2.1");
    clock.passSeconds(100);
    registerFrom(kSecond, "192.0.2.2");
    clock.passSeconds(100);
    registerFrom(kPhone, "192.0.2.1"); // refreshed last, but not shown
    takeChanges();
    restart();
    registerFrom(kPhone, "192.0.2.1");
    EXPECT_FALSE(takeChange().isAddressNew);
}

TEST_F(RegistrarTimeTest, RestartDropsWhatHasExpired)
{
    registerFrom(kPhone);
    takeChanges();
    clock.passSeconds(3600);
    restart();
    const std::vector<UserChange> told = takeChanges();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].stored.userName, "1000");
    EXPECT_FALSE(told[0].stored.hasRow);
    EXPECT_TRUE(told[0].isStateNew);
    EXPECT_TRUE(told[0].lines.empty()) << "one line for all, not one each";
    EXPECT_EQ(told[1].lines.size(), 1U);
    EXPECT_TRUE(handle(request({})).contacts.empty());
}

TEST_F(RegistrarTimeTest, RestartKeepsCSeqOfTheCall)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 10;
    handle(asked);
    restart();
    asked.cseq = 9;
    EXPECT_EQ(handle(asked).status, 500);
}

TEST_F(RegistrarTimeTest, RestartAfterTheClockWasSetBackKeepsNothingForLong)
{
    registerFrom(kPhone);
    clock.jumpSeconds(int64_t{-86400} * 365);
    restart();
    EXPECT_EQ(handle(request({})).contacts.at(0).expires, Registrar::kMaxExpires);
}

TEST_F(RegistrarTimeTest, RestartEndsCallsThatWereShown)
{
    registerFrom(kPhone);
    std::vector<Cdb_user_bindings> before = stored();
    before.at(0).row.usrStage = kUsrTalking;
    takeChanges();
    Registrar next(users, system, clock, [this](UserChange&& change) { changes.push_back(std::move(change)); });
    next.load(before);
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew);
    EXPECT_EQ(change.stored.row.usrStage, kUsrIdle);
}

} // namespace
