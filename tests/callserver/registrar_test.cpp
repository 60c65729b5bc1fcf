#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";
constexpr const char* kSecond = "sip:1000@192.0.2.2:5060";

using RegistrarTest = RegistrarFixture;

std::vector<std::string> uris(const RegisterReply& answer)
{
    std::vector<std::string> result;
    for (const auto& contact : answer.contacts)
        result.push_back(contact.uri);
    return result;
}

TEST_F(RegistrarTest, RegistersAContactAndTellsIt)
{
    const RegisterReply answer = handle(request({contact(kPhone)}));
    EXPECT_EQ(answer.status, 200);
    ASSERT_EQ(answer.contacts.size(), 1U);
    EXPECT_EQ(answer.contacts[0].uri, kPhone);
    EXPECT_EQ(answer.contacts[0].expires, 3600U);

    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew && change.isAgentNew && change.isAddressNew);
    EXPECT_EQ(change.lines, std::vector<std::string>{"User 1000 registered from 192.0.2.1:5060 (phone/1), 3600 s."});
    EXPECT_EQ(change.stored.userName, "1000");
    ASSERT_TRUE(change.stored.hasRow);
    EXPECT_STREQ(change.stored.row.userName, "1000");
    EXPECT_STREQ(change.stored.row.preAddr, "192.0.2.1");
    EXPECT_STREQ(change.stored.row.userAgent, "phone/1");
    EXPECT_EQ(change.stored.row.prePort, 5060);
    EXPECT_EQ(change.stored.row.usrStage, kUsrIdle);
    ASSERT_EQ(change.stored.contacts.size(), 1U);
    EXPECT_STREQ(change.stored.contacts[0].contact, kPhone);
    EXPECT_STREQ(change.stored.contacts[0].callId, "call-1");
    EXPECT_EQ(change.stored.contacts[0].registeredAt, clock.wallSeconds());
    EXPECT_EQ(change.stored.contacts[0].expiresAt, clock.wallSeconds() + 3600);
}

TEST_F(RegistrarTest, UnchangedRefreshIsSilent)
{
    registerFrom(kPhone);
    takeChanges();
    clock.passSeconds(1200); // a third of its lifetime: it is stored
    EXPECT_EQ(registerFrom(kPhone).contacts.at(0).expires, 3600U);
    const UserChange change = takeChange();
    EXPECT_FALSE(change.isStateNew || change.isAgentNew || change.isAddressNew);
    EXPECT_TRUE(change.lines.empty());
    EXPECT_EQ(change.stored.contacts.at(0).expiresAt, clock.wallSeconds() + 3600);
}

TEST_F(RegistrarTest, RefreshFromElsewhereIsToldWithWhatChanged)
{
    registerFrom(kPhone);
    takeChanges();
    registerFrom(kPhone, "192.0.2.1", 61000);
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isAddressNew);
    EXPECT_FALSE(change.isStateNew || change.isAgentNew);
    EXPECT_EQ(change.stored.row.prePort, 61000);
    EXPECT_EQ(change.lines.size(), 1U);
}

TEST_F(RegistrarTest, QueryListsContactsAndChangesNothing)
{
    registerFrom(kPhone);
    registerFrom(kSecond);
    takeChanges();
    clock.passSeconds(600);
    const RegisterReply answer = handle(request({}));
    EXPECT_EQ(uris(answer), (std::vector<std::string>{kPhone, kSecond}));
    EXPECT_EQ(answer.contacts.at(0).expires, 3000U);
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTest, ContactsAreComparedAsUris)
{
    registerFrom("sip:1000@Phone.Test:5060;transport=udp");
    const RegisterReply answer = registerFrom("sip:%31000@phone.test:5060;Transport=UDP");
    EXPECT_EQ(uris(answer), std::vector<std::string>{"sip:%31000@phone.test:5060;Transport=UDP"});
}

TEST_F(RegistrarTest, EleventhContactReplacesTheOneRefreshedLongestAgo)
{
    for (int i = 0; i < 10; ++i) {
        registerFrom("sip:1000@192.0.2.1:" + std::to_string(6000 + i));
        clock.passSeconds(1);
    }
    registerFrom("sip:1000@192.0.2.1:6000");
    clock.passSeconds(1);
    const std::vector<std::string> left = uris(registerFrom("sip:1000@192.0.2.1:7000"));
    EXPECT_EQ(left.size(), kMaxContacts);
    EXPECT_EQ(left.front(), "sip:1000@192.0.2.1:6000");
    EXPECT_EQ(std::count(left.begin(), left.end(), "sip:1000@192.0.2.1:6001"), 0);
    EXPECT_EQ(left.back(), "sip:1000@192.0.2.1:7000");
}

// RFC 3261 section 10.3 knows a telephone by its contact alone. One that comes back elsewhere after a restart, which
// also gives it another Call-ID, is a second one as long as the first is registered.
TEST_F(RegistrarTest, ATelephoneThatComesBackElsewhereIsRegisteredBesideItsFormerSelf)
{
    const std::string former = "sip:1000@192.0.2.1:5060";
    const std::string now = "sip:1000@192.0.2.77:5060";
    registerFrom(former, "192.0.2.1");
    clock.passSeconds(600);
    EXPECT_EQ(uris(registerFrom(now, "192.0.2.77")), (std::vector<std::string>{former, now}));
    clock.passSeconds(Registrar::kMaxExpires - 600);
    registrar->expire();
    EXPECT_EQ(uris(handle(request({}))), std::vector<std::string>{now});
}

TEST_F(RegistrarTest, LowerCSeqOfTheSameCallIsRefused)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 10;
    handle(asked);
    takeChanges();
    asked.cseq = 9;
    asked.contacts = {contact(kSecond), contact(kPhone, 0)};
    EXPECT_EQ(handle(asked).status, 500);
    EXPECT_TRUE(changes.empty()) << "not even the contact that would be new";
    EXPECT_EQ(uris(handle(request({}))), std::vector<std::string>{kPhone});
    asked.callId = "call-2";
    asked.contacts = {contact(kPhone)};
    EXPECT_EQ(handle(asked).status, 200) << "another call counts on its own";
}

TEST_F(RegistrarTest, RequestThatComesAgainWithAnotherNonceChangesNothing)
{
    RegisterRequest asked = request({contact(kPhone, 600)});
    asked.cseq = 10;
    const RegisterReply first = handle(asked);
    takeChanges();
    const RegisterReply second = handle(asked);
    EXPECT_EQ(second.status, first.status);
    EXPECT_EQ(second.contacts.at(0).expires, first.contacts.at(0).expires);
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTest, ExpiresOfTheContactGoesBeforeTheHeader)
{
    RegisterRequest asked = request({contact(kPhone, 120), contact(kSecond)});
    asked.expires = 300;
    const RegisterReply answer = handle(asked);
    EXPECT_EQ(answer.contacts.at(0).expires, 120U);
    EXPECT_EQ(answer.contacts.at(1).expires, 300U);
}

TEST_F(RegistrarTest, ExpiresHasBounds)
{
    RegisterReply answer = handle(request({contact(kPhone, 59)}));
    EXPECT_EQ(answer.status, 423);
    EXPECT_EQ(answer.minExpires, 60U);
    EXPECT_TRUE(changes.empty());
    answer = handle(request({contact(kPhone, 60)}));
    EXPECT_EQ(answer.contacts.at(0).expires, 60U);
    answer = handle(request({contact(kPhone, 3601)}));
    EXPECT_EQ(answer.contacts.at(0).expires, 3600U);
    answer = handle(request({contact(kPhone, UINT32_MAX)}));
    EXPECT_EQ(answer.contacts.at(0).expires, 3600U);
}

TEST_F(RegistrarTest, RequestIsCarriedOutWholeOrNotAtAll)
{
    EXPECT_EQ(handle(request({contact(kPhone), contact(kSecond, 10)})).status, 423);
    EXPECT_EQ(handle(request({contact(kPhone), contact("tel:1000")})).status, 416);
    const std::string tooLong = "sip:" + std::string(505, 'a') + "@h";
    ASSERT_EQ(tooLong.size(), 511U);
    EXPECT_EQ(handle(request({contact(kPhone), contact(tooLong + "h")})).status, 400);
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(handle(request({})).contacts.empty());
    EXPECT_EQ(handle(request({contact(tooLong)})).status, 200);
}

TEST_F(RegistrarTest, LongCallIdIsRefused)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.callId = std::string(255, 'c');
    EXPECT_EQ(handle(asked).status, 200);
    asked.callId += 'c';
    EXPECT_EQ(handle(asked).status, 400);
}

TEST_F(RegistrarTest, UnregisterTellsAndEmptiesTheRow)
{
    registerFrom(kPhone);
    takeChanges();
    const RegisterReply answer = handle(request({contact(kPhone, 0)}));
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.contacts.empty());
    const UserChange change = takeChange();
    EXPECT_TRUE(change.isStateNew && change.isAgentNew && change.isAddressNew);
    EXPECT_FALSE(change.stored.hasRow);
    EXPECT_TRUE(change.stored.contacts.empty());
    EXPECT_EQ(change.stored.row.usrStage, kUsrOffline);
    EXPECT_EQ(change.lines, std::vector<std::string>{"User 1000 unregistered from 192.0.2.1:5060."});
    EXPECT_EQ(handle(request({contact(kPhone, 0)})).status, 200) << "again";
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTest, NewestRemainingContactTakesOver)
{
    registerFrom(kPhone, "192.0.2.1");
    registerFrom(kSecond, "192.0.2.2");
    registerFrom("sip:1000@192.0.2.3", "192.0.2.3");
    registerFrom(kPhone, "192.0.2.1"); // a plain refresh does not make it the newest
    EXPECT_STREQ(takeChanges().back().stored.row.preAddr, "192.0.2.3");
    RegisterRequest asked = request({contact("sip:1000@192.0.2.3", 0)});
    handle(asked);
    const UserChange change = takeChange();
    EXPECT_FALSE(change.isStateNew);
    EXPECT_TRUE(change.isAddressNew);
    EXPECT_STREQ(change.stored.row.preAddr, "192.0.2.2");
}

TEST_F(RegistrarTest, StarRemovesAll)
{
    registerFrom(kPhone);
    registerFrom(kSecond);
    takeChanges();
    RegisterRequest asked = request({RegisterContact{}});
    asked.isStar = true;
    EXPECT_EQ(handle(asked).status, 400) << "without Expires";
    asked.expires = 60;
    EXPECT_EQ(handle(asked).status, 400) << "with another Expires";
    asked.expires = 0;
    asked.contacts.push_back(contact(kPhone));
    EXPECT_EQ(handle(asked).status, 400) << "not alone";
    EXPECT_TRUE(changes.empty());
    asked.contacts.pop_back();
    const RegisterReply answer = handle(asked);
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.contacts.empty());
    EXPECT_FALSE(takeChange().stored.hasRow);
}

TEST_F(RegistrarTest, OutdatedStarRemovesNothing)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 10;
    handle(asked);
    takeChanges();
    asked.contacts = {RegisterContact{}};
    asked.isStar = true;
    asked.expires = 0;
    asked.cseq = 9;
    EXPECT_EQ(handle(asked).status, 500);
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTest, UserAgentIsCleanedEverywhere)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.userAgent = "evil\r\nUser 1 registered" + std::string(200, 'x');
    handle(asked);
    const UserChange change = takeChange();
    EXPECT_EQ(std::string(change.stored.row.userAgent).size(), 128U);
    EXPECT_EQ(std::string(change.stored.row.userAgent).find('\n'), std::string::npos);
    EXPECT_EQ(change.lines.at(0).find('\n'), std::string::npos);
}

TEST_F(RegistrarTest, NoTwoBindingsHaveTheSameText)
{
    registerFrom("sip:1000@192.0.2.1;line=1");
    registerFrom("sip:1000@192.0.2.1;line=2");
    registerFrom("sip:1000@192.0.2.1"); // the same contact as either
    const std::vector<std::string> left = uris(registerFrom("sip:1000@192.0.2.1;line=2"));
    EXPECT_EQ(left, (std::vector<std::string>{"sip:1000@192.0.2.1", "sip:1000@192.0.2.1;line=2"}));
}

TEST_F(RegistrarTest, TheTextOfAContactIsEnough)
{
    const auto textOnly = [](const std::string& text, uint32_t expires) {
        RegisterContact result;
        result.uri.text = text;
        result.expires = expires;
        return result;
    };
    EXPECT_EQ(uris(handle(request({textOnly(kPhone, 600)}))), std::vector<std::string>{kPhone});
    EXPECT_EQ(uris(handle(request({textOnly(kPhone, 600)}))), std::vector<std::string>{kPhone});
    const std::string same = "sip:%31000@192.0.2.1:5060";
    EXPECT_EQ(uris(handle(request({textOnly(same, 600)}))), std::vector<std::string>{same});
    EXPECT_EQ(handle(request({textOnly("tel:1000", 600)})).status, 416);
    EXPECT_EQ(uris(handle(request({textOnly(same, 0), textOnly(same, 600)}))), std::vector<std::string>{same});
    EXPECT_EQ(uris(handle(request({textOnly(kPhone, 600)}))), std::vector<std::string>{kPhone})
        << "what was set again is compared as before";
    EXPECT_TRUE(handle(request({textOnly("sip:1000@192.0.2.1:5060", 0)})).contacts.empty());
}

TEST_F(RegistrarTest, ElevenContactsInOneRequestAreRefused)
{
    std::vector<RegisterContact> contacts;
    for (size_t i = 0; i < kMaxContacts; ++i)
        contacts.push_back(contact("sip:1000@192.0.2.1:" + std::to_string(6000 + i)));
    EXPECT_EQ(handle(request(contacts)).status, 200);
    takeChanges();
    contacts.push_back(contact("sip:1000@192.0.2.1:7000"));
    const RegisterReply answer = handle(request(contacts));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.phrase, "Too Many Contacts");
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarTest, EveryRefusalHasAReasonForTheLog)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 10;
    handle(asked);
    asked.cseq = 9;
    EXPECT_EQ(handle(asked).refusal, "it is older than what was registered");
    asked.isStar = true;
    asked.expires = 0;
    asked.contacts = {RegisterContact{}};
    EXPECT_EQ(handle(asked).refusal, "it is older than what was registered");
    EXPECT_EQ(handle(request({contact(kSecond, 59)})).refusal, "it asks for less than 60 s");
}

} // namespace
