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
    clock.passSeconds(2000);
    registerFrom(kSecond, "192.0.2.2");
    takeChanges();
    restart();
    EXPECT_TRUE(changes.empty()) << "what is stored is right already";
    const RegisterReply answer = handle(request({}));
    ASSERT_EQ(answer.contacts.size(), 2U);
    EXPECT_EQ(answer.contacts[0].uri, kPhone);
    EXPECT_EQ(answer.contacts[0].expires, 1600U + 1200U) << "with the time that a refresh is not stored";
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
    clock.passSeconds(1200);
    registerFrom(kPhone, "192.0.2.1");
    EXPECT_FALSE(takeChange().isAddressNew);
}

TEST_F(RegistrarTimeTest, RestartDropsWhatHasExpired)
{
    registerFrom(kPhone);
    takeChanges();
    clock.passSeconds(3600 + 1200);
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

TEST_F(RegistrarTimeTest, FiveThousandUsersAreBackAfterARestart)
{
    constexpr int kUsers = 5000;
    std::vector<Cdb_user_bindings> before;
    Snapshot<Cdb_usr_info>::Builder next(users.get());
    // Of each ten: one expired, one was deleted, one has a second telephone that expired, one was in a call.
    const auto addContact = [&](Cdb_user_bindings& user, const std::string& address, int64_t left) {
        Cdb_sip_contact& contact = user.contacts.emplace_back();
        BclCopyStr(contact.userName, user.userName.c_str());
        BclCopyStr(contact.contact, ("sip:" + user.userName + "@" + address).c_str());
        BclCopyStr(contact.callId, "call");
        BclCopyStr(contact.srcAddr, address.c_str());
        contact.srcPort = 5060;
        contact.expiresAt = clock.wallSeconds() + left;
        contact.registeredAt = contact.expiresAt - 600;
    };
    for (int i = 0; i < kUsers; ++i) {
        Cdb_user_bindings& user = before.emplace_back();
        user.userName = "u" + std::to_string(i);
        user.hasRow = true;
        BclCopyStr(user.row.userName, user.userName.c_str());
        BclCopyStr(user.row.preAddr, "192.0.2.1");
        user.row.prePort = 5060;
        user.row.usrStage = i % 10 == 3 ? kUsrTalking : kUsrIdle;
        addContact(user, "192.0.2.1", i % 10 == 0 ? -200 : 300);
        if (i % 10 == 2)
            addContact(user, "192.0.2.2", -1000);
        if (i % 10 != 1)
            next.set(user.userName, Cdb_usr_info());
    }
    users.put(next.finish());
    Registrar restarted(users, system, clock, [this](UserChange&& change) { changes.push_back(std::move(change)); });
    restarted.load(before);

    std::map<std::string, UserChange> told;
    std::vector<std::string> lines;
    for (UserChange& change : takeChanges()) {
        lines.insert(lines.end(), change.lines.begin(), change.lines.end());
        if (!change.stored.userName.empty())
            told[change.stored.userName] = std::move(change);
    }
    EXPECT_EQ(told.size(), 4U * kUsers / 10);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "1000 registrations expired while the server was not running."),
              1);
    EXPECT_EQ(lines.size(), 1U + kUsers / 10) << "and one for each deleted user";
    for (int i = 0; i < kUsers; ++i) {
        const auto it = told.find("u" + std::to_string(i));
        ASSERT_EQ(it != told.end(), i % 10 < 4) << i << " is told of only when something is different";
        if (it == told.end())
            continue;
        const Cdb_user_bindings& now = it->second.stored;
        EXPECT_EQ(now.hasRow, i % 10 >= 2) << i;
        EXPECT_EQ(now.row.usrStage, i % 10 >= 2 ? kUsrIdle : kUsrOffline) << i;
        EXPECT_EQ(now.contacts.size(), i % 10 >= 2 ? 1U : 0U) << i;
    }
    // Each of the others expires at its time: 300 s and a third of 600 s from now.
    clock.passMs(499'999);
    restarted.expire();
    EXPECT_TRUE(changes.empty());
    clock.passMs(1);
    restarted.expire();
    EXPECT_EQ(changes.size(), 8U * kUsers / 10);
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
