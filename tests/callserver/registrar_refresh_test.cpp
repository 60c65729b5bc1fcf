#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";
constexpr const char* kSecond = "sip:1000@192.0.2.2:5060";

// What reaches the store of telephones that say the same again and again.
class RegistrarRefreshTest : public RegistrarFixture {
protected:
    // Of kPhone.
    RegisterReply refresh(uint32_t expires = 600, const std::function<void(RegisterRequest&)>& change = {})
    {
        RegisterRequest asked = request({contact(kPhone, expires)});
        if (change)
            change(asked);
        return handle(asked);
    }
    size_t contactsNow() { return handle(request({})).contacts.size(); }
};

TEST_F(RegistrarRefreshTest, UnchangedRefreshIsStoredAfterAThirdOfItsLifetime)
{
    refresh();
    takeChanges();
    for (int i = 0; i < 3; ++i) {
        clock.passSeconds(60);
        EXPECT_EQ(refresh().contacts.at(0).expires, 600U);
    }
    clock.passMs(19'999);
    EXPECT_EQ(refresh().contacts.at(0).expires, 600U);
    EXPECT_TRUE(changes.empty());
    clock.passMs(1);
    EXPECT_EQ(refresh().status, 200);
    const UserChange change = takeChange();
    EXPECT_FALSE(change.isStateNew || change.isAgentNew || change.isAddressNew);
    EXPECT_TRUE(change.lines.empty());
    EXPECT_EQ(change.stored.contacts.at(0).registeredAt, clock.wallSeconds());
    EXPECT_EQ(change.stored.contacts.at(0).expiresAt, clock.wallSeconds() + 600);
    clock.passSeconds(199);
    refresh();
    EXPECT_TRUE(changes.empty()) << "a third since the last writing";
    clock.passSeconds(1);
    refresh();
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(RegistrarRefreshTest, CallIdAndCSeqAloneAreNoChange)
{
    refresh();
    takeChanges();
    refresh(600, [](RegisterRequest& asked) {
        asked.callId = "call-2";
        asked.cseq = 77;
    });
    EXPECT_TRUE(changes.empty());
    RegisterRequest late = request({contact(kSecond), contact(kPhone)});
    late.callId = "call-2";
    late.cseq = 76;
    EXPECT_EQ(handle(late).status, 500) << "they hold all the same";
}

TEST_F(RegistrarRefreshTest, WhatIsStoredCarriesAllThatWasNot)
{
    RegisterRequest both = request({contact(kPhone, 600), contact(kSecond, 3600)});
    both.cseq = 1;
    handle(both);
    takeChanges();
    clock.passSeconds(100);
    refresh(600, [](RegisterRequest& asked) { asked.cseq = 20; });
    EXPECT_TRUE(changes.empty());
    RegisterRequest second = request({contact(kSecond, 3600)});
    second.cseq = 21;
    second.userAgent = "phone/2";
    handle(second);
    const UserChange change = takeChange();
    ASSERT_EQ(change.stored.contacts.size(), 2U);
    EXPECT_EQ(change.stored.contacts[0].cseq, 20U);
    EXPECT_EQ(change.stored.contacts[0].registeredAt, clock.wallSeconds());
    EXPECT_EQ(change.stored.contacts[0].expiresAt, clock.wallSeconds() + 600);
    clock.passSeconds(199);
    refresh();
    EXPECT_TRUE(changes.empty()) << "it counts as stored then";
}

TEST_F(RegistrarRefreshTest, EveryOtherValueIsAChange)
{
    refresh();
    takeChanges();
    const auto expectStored = [&](const char* what, const std::function<void(RegisterRequest&)>& change,
                                  uint32_t expires = 600) {
        refresh();
        takeChanges();
        refresh(expires, change);
        EXPECT_EQ(takeChanges().size(), 1U) << what;
        refresh(expires, change);
        EXPECT_TRUE(takeChanges().empty()) << what << ", again";
    };
    expectStored("agent", [](RegisterRequest& asked) { asked.userAgent = "phone/2"; });
    expectStored("port", [](RegisterRequest& asked) { asked.source.port = 61000; });
    expectStored("address", [](RegisterRequest& asked) { asked.source.address = "192.0.2.7"; });
    expectStored("transport", [](RegisterRequest& asked) { asked.source.transport = 1; });
    expectStored("priority", [](RegisterRequest& asked) { asked.contacts.at(0).priority = 50; });
    expectStored("text", [](RegisterRequest& asked) { asked.contacts = {contact("sip:%31000@192.0.2.1:5060", 600)}; });
    expectStored("longer life", {}, 601);
    expectStored("much shorter life", {}, 300);
}

TEST_F(RegistrarRefreshTest, SomewhatShorterLifeIsNoChange)
{
    refresh();
    takeChanges();
    EXPECT_EQ(refresh(300).contacts.at(0).expires, 300U);
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(refresh(299).contacts.at(0).expires, 299U);
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(RegistrarRefreshTest, RefreshThatWasNotStoredExpiresOnTime)
{
    refresh(600);
    clock.passSeconds(100);
    refresh(400);
    takeChanges();
    clock.passMs(399'999);
    registrar->expire();
    EXPECT_TRUE(changes.empty());
    clock.passMs(1);
    registrar->expire();
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarRefreshTest, ShorterRefreshExpiresBeforeTheFirstOneWouldHave)
{
    refresh(600);
    refresh(300);
    takeChanges();
    clock.passSeconds(300);
    registrar->expire();
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarRefreshTest, CrashKeepsATelephoneWhoseRefreshWasNotStored)
{
    refresh();
    takeChanges();
    clock.passSeconds(199);
    refresh();
    EXPECT_TRUE(changes.empty());
    // Stored until 600, granted until 799.
    clock.passMs(599'999);
    restart();
    EXPECT_TRUE(changes.empty()) << "nothing has expired";
    EXPECT_EQ(contactsNow(), 1U);
}

TEST_F(RegistrarRefreshTest, AfterARestartContactsLiveAThirdLonger)
{
    refresh();
    clock.passSeconds(799);
    restart();
    EXPECT_EQ(handle(request({})).contacts.at(0).expires, 1U);
    takeChanges();
    clock.passSeconds(1);
    registrar->expire();
    EXPECT_FALSE(takeChange().stored.hasRow);
    refresh();
    clock.passSeconds(800);
    restart();
    EXPECT_EQ(contactsNow(), 0U);
}

TEST_F(RegistrarRefreshTest, NothingLivesLongerThanTheLongestLifeAfterARestart)
{
    refresh(3600);
    clock.passSeconds(10);
    restart();
    EXPECT_EQ(handle(request({})).contacts.at(0).expires, Registrar::kMaxExpires);
}

TEST_F(RegistrarRefreshTest, RestartsDoNotAddUp)
{
    refresh();
    RegisterRequest second = request({contact(kSecond, 3600)});
    for (int i = 0; i < 7; ++i) {
        clock.passSeconds(100);
        restart();
        // Whatever else is written of the user leaves the time of the first contact as it was.
        second.source.port = static_cast<uint16_t>(6000 + i);
        handle(second);
    }
    clock.passSeconds(99);
    EXPECT_EQ(contactsNow(), 2U);
    clock.passSeconds(1);
    restart();
    EXPECT_EQ(contactsNow(), 1U);
}

TEST_F(RegistrarRefreshTest, RefreshAfterARestartIsStoredWhenItsTimeHasCome)
{
    refresh();
    clock.passSeconds(100);
    restart();
    takeChanges();
    refresh();
    EXPECT_TRUE(changes.empty());
    clock.passSeconds(100);
    refresh();
    EXPECT_EQ(takeChange().stored.contacts.at(0).expiresAt, clock.wallSeconds() + 600);
}

TEST_F(RegistrarRefreshTest, OrderOfACallIsNotHeldAgainstATelephoneAfterARestart)
{
    refresh(600, [](RegisterRequest& asked) { asked.cseq = 10; });
    refresh(600, [](RegisterRequest& asked) { asked.cseq = 12; });
    restart();
    takeChanges();
    EXPECT_EQ(refresh(600, [](RegisterRequest& asked) { asked.cseq = 11; }).status, 200) << "12 was not stored";
    EXPECT_EQ(refresh(600, [](RegisterRequest& asked) { asked.cseq = 9; }).status, 500) << "10 was";
}

TEST_F(RegistrarRefreshTest, StoredTimesMayBeAnything)
{
    refresh();
    for (const auto& [registeredAt, expiresAt] : std::vector<std::pair<int64_t, int64_t>>{
             {INT64_MIN, INT64_MAX}, {INT64_MAX, INT64_MIN}, {INT64_MIN, INT64_MIN}, {INT64_MAX, INT64_MAX}, {0, 0}}) {
        std::vector<Cdb_user_bindings> before = stored();
        before.at(0).contacts.at(0).registeredAt = registeredAt;
        before.at(0).contacts.at(0).expiresAt = expiresAt;
        registrar = std::make_unique<Registrar>(users, system, clock, [](UserChange&&) {});
        registrar->load(before);
        const RegisterReply answer = handle(request({}));
        EXPECT_EQ(answer.contacts.size(), expiresAt == INT64_MAX ? 1U : 0U);
        if (!answer.contacts.empty()) {
            EXPECT_LE(answer.contacts[0].expires, Registrar::kMaxExpires);
        }
    }
}

} // namespace
