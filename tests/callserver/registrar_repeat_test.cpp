#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";
constexpr const char* kSecond = "sip:1000@192.0.2.2:5060";

// One request, and the same credentials for it or for others.
class RegistrarRepeatTest : public RegistrarFixture {
protected:
    RegistrarRepeatTest()
    {
        asked.cseq = 1;
        challenge = send();
        sign();
    }
    RegisterReply send() { return registrar->handle(asked); }
    void sign(const std::string& nc = "00000001", const std::string& password = "secret")
    {
        asked.authorizations = {credentials(challenge, asked, "1000", password, nc)};
    }
    static bool isStale(const RegisterReply& reply)
    {
        return reply.status == 401 && reply.challenges.at(0).find("stale=true") != std::string::npos;
    }
    static std::vector<std::string> uris(const RegisterReply& reply)
    {
        std::vector<std::string> result;
        for (const auto& contact : reply.contacts)
            result.push_back(contact.uri);
        return result;
    }

    RegisterRequest asked = request({contact(kPhone, 600)});
    RegisterReply challenge;
};

TEST_F(RegistrarRepeatTest, RetransmissionGetsTheSameAnswerAndChangesNothing)
{
    const RegisterReply first = send();
    ASSERT_EQ(first.status, 200);
    takeChanges();
    const RegisterReply second = send();
    EXPECT_EQ(second.status, 200);
    EXPECT_EQ(second.phrase, first.phrase);
    EXPECT_EQ(uris(second), uris(first));
    EXPECT_EQ(second.contacts.at(0).expires, first.contacts.at(0).expires);
    EXPECT_EQ(second.credentials, Credentials::Unproven) << "anybody who heard it may have sent it";
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarRepeatTest, RetransmissionIsNotCarriedOutAgain)
{
    send();
    takeChanges();
    // Whoever captured the request has other wishes.
    asked.contacts = {contact("sip:1000@198.51.100.1")};
    EXPECT_EQ(uris(send()), std::vector<std::string>{kPhone});
    asked.contacts = {RegisterContact{}};
    asked.isStar = true;
    asked.expires = 0;
    EXPECT_EQ(uris(send()), std::vector<std::string>{kPhone});
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarRepeatTest, RetransmittedRemovalDoesNotRemoveWhatCameSince)
{
    send();
    asked.contacts = {RegisterContact{}};
    asked.isStar = true;
    asked.expires = 0;
    asked.cseq = 2;
    sign("00000002");
    EXPECT_TRUE(send().contacts.empty());
    RegisterRequest other = request({contact(kSecond)});
    other.callId = "call-2";
    handle(other);
    takeChanges();
    const RegisterReply again = send();
    EXPECT_EQ(again.status, 200);
    EXPECT_EQ(uris(again), std::vector<std::string>{kSecond});
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegistrarRepeatTest, RetransmissionOfWhatWasRefusedIsRefusedAlike)
{
    asked.contacts = {contact(kPhone, 10)};
    const RegisterReply first = send();
    ASSERT_EQ(first.status, 423);
    putUser("1000", "secret", [](Cdb_usr_info& record) { record.expiryDate = 20000101; });
    const RegisterReply second = send();
    EXPECT_EQ(second.status, 423);
    EXPECT_EQ(second.phrase, first.phrase);
    EXPECT_EQ(second.minExpires, first.minExpires);
    EXPECT_EQ(second.refusal, first.refusal);
}

TEST_F(RegistrarRepeatTest, RetransmissionIsKnownAlsoWhenAnotherRequestCameBetween)
{
    send();
    RegisterRequest second = asked;
    second.cseq = 2;
    second.authorizations = {credentials(challenge, second, "1000", "secret", "00000002")};
    ASSERT_EQ(registrar->handle(second).status, 200);
    EXPECT_EQ(send().status, 200);
    EXPECT_EQ(registrar->handle(second).status, 200);
}

TEST_F(RegistrarRepeatTest, ALateRetransmissionIsNone)
{
    send();
    clock.passMs(RecentAnswers::kRepeatMs - 1);
    EXPECT_EQ(send().status, 200);
    clock.passMs(1);
    EXPECT_TRUE(isStale(send()));
}

TEST_F(RegistrarRepeatTest, UsedCountIsStaleAndNoFailure)
{
    send();
    takeChanges();
    const RegisterRequest first = asked;
    asked.cseq = 2;
    RegisterReply answer = send();
    EXPECT_TRUE(isStale(answer)) << "another CSeq";
    EXPECT_EQ(answer.credentials, Credentials::Unproven);
    EXPECT_EQ(answer.refusal, "");
    asked = first;
    asked.callId = "call-2";
    EXPECT_TRUE(isStale(send())) << "another Call-ID";
    asked = first;
    asked.requestUri = "sip:server.test;x=1";
    sign();
    EXPECT_TRUE(isStale(send())) << "another response";
    EXPECT_TRUE(changes.empty());
    // What the telephone does of it.
    challenge = answer;
    asked = first;
    asked.cseq = 3;
    sign();
    EXPECT_EQ(send().status, 200);
}

TEST_F(RegistrarRepeatTest, NextCountsNeedNoChallengeAndMayOvertakeEachOther)
{
    for (const char* nc : {"00000001", "00000005", "00000003", "0000000a", "00000004"}) {
        ++asked.cseq;
        sign(nc);
        EXPECT_EQ(send().status, 200) << nc;
        ++asked.cseq;
        sign(nc);
        EXPECT_TRUE(isStale(send())) << nc;
    }
}

TEST_F(RegistrarRepeatTest, CountIsReadInEitherCase)
{
    sign("0000000a");
    EXPECT_EQ(send().status, 200);
    ++asked.cseq;
    sign("0000000A");
    EXPECT_TRUE(isStale(send()));
}

TEST_F(RegistrarRepeatTest, CountsAreThoseOfTheUser)
{
    putUser("1001", "secret");
    send();
    RegisterRequest other = request({contact("sip:1001@192.0.2.1")}, "1001");
    other.cseq = 1;
    other.authorizations = {credentials(challenge, other, "1001", "secret")};
    EXPECT_EQ(registrar->handle(other).status, 200);
}

TEST_F(RegistrarRepeatTest, WrongPasswordUsesNoCount)
{
    const std::string right = asked.authorizations.at(0);
    sign("00000001", "guess");
    EXPECT_EQ(send().status, 403);
    asked.authorizations = {right};
    EXPECT_EQ(send().status, 200);
}

TEST_F(RegistrarRepeatTest, WrongPasswordIsAFailureAlsoWithAUsedCount)
{
    send();
    sign("00000001", "guess");
    const RegisterReply answer = send();
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.credentials, Credentials::Wrong);
}

TEST_F(RegistrarRepeatTest, RetransmittedWrongRequestIsRefusedAlikeAndCountedOnce)
{
    sign("00000001", "guess");
    const RegisterReply first = send();
    EXPECT_EQ(first.credentials, Credentials::Wrong);
    for (int i = 0; i < 3; ++i) {
        const RegisterReply again = send();
        EXPECT_EQ(again.status, first.status);
        EXPECT_EQ(again.phrase, first.phrase);
        EXPECT_EQ(again.credentials, Credentials::Unproven);
    }
    ++asked.cseq;
    EXPECT_EQ(send().credentials, Credentials::Wrong) << "another request";
    sign("00000001", "other guess");
    EXPECT_EQ(send().credentials, Credentials::Wrong) << "another guess";
    sign("00000002", "guess");
    EXPECT_EQ(send().credentials, Credentials::Wrong) << "another count";
}

TEST_F(RegistrarRepeatTest, MemoryForWrongRequestsIsBounded)
{
    sign("00000001", "guess");
    EXPECT_EQ(send().credentials, Credentials::Wrong);
    const RegisterRequest first = asked;
    for (size_t i = 0; i < RegisterAuth::kMaxRefused; ++i) {
        ++asked.cseq;
        EXPECT_EQ(send().credentials, Credentials::Wrong);
    }
    EXPECT_EQ(send().credentials, Credentials::Unproven) << "the last one is known";
    EXPECT_EQ(registrar->handle(first).credentials, Credentials::Wrong) << "the first one was pushed out";
}

TEST_F(RegistrarRepeatTest, ManyNoncesAreBoundedAndTheOldestBecomeStale)
{
    RegisterRequest unused = asked;
    ASSERT_EQ(send().status, 200);
    RegisterRequest late = asked;
    late.cseq = 1000;
    late.authorizations.clear();
    const RegisterReply lateChallenge = registrar->handle(late);
    for (size_t i = 0; i <= UsedNonces::kMaxNonces; ++i) {
        ++asked.cseq;
        asked.authorizations.clear();
        challenge = send();
        sign();
        EXPECT_EQ(send().status, 200);
    }
    late.authorizations = {credentials(lateChallenge, late, "1000", "secret")};
    EXPECT_TRUE(isStale(registrar->handle(late))) << "older than one that was forgotten";
    unused.cseq = 1001;
    EXPECT_TRUE(isStale(registrar->handle(unused))) << "forgotten";
}

TEST_F(RegistrarRepeatTest, DeletedUserLeavesNoCounts)
{
    send();
    asked.cseq = 2;
    ASSERT_TRUE(isStale(send()));
    registrar->userChanged("1000");
    ASSERT_TRUE(isStale(send())) << "a change is no removal";
    registrar->userChanged("1000", true);
    EXPECT_EQ(send().status, 200) << "a new user of the same name";
    asked.cseq = 3;
    ASSERT_TRUE(isStale(send()));
    registrar->userChanged("");
    ASSERT_TRUE(isStale(send()));
    removeUser("1000");
    registrar->userChanged("");
    putUser("1000", "secret");
    EXPECT_EQ(send().status, 200) << "after a removal among many changes";
    asked.contacts = {contact(kPhone, 0)};
    asked.cseq = 4;
    sign("00000002");
    EXPECT_EQ(send().status, 200);
    asked.cseq = 5;
    ASSERT_TRUE(isStale(send()));
    removeUser("1000");
    registrar->userChanged("");
    putUser("1000", "secret");
    EXPECT_EQ(send().status, 200) << "the same of one who was not registered";
}

} // namespace
