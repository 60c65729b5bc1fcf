#include "callserver/registrar_fixture.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr const char* kPhone = "sip:1000@192.0.2.1:5060";

class RegisterAuthTest : public RegistrarFixture {
protected:
    void setRealm(const char* realm)
    {
        Cdb_sys_data record;
        record.SetRealm(realm);
        system.put(std::make_shared<const Cdb_sys_data>(record));
    }
    // The answer to credentials made of the first challenge and then changed.
    RegisterReply withChanged(const std::string& from, const std::string& to)
    {
        RegisterRequest asked = request({contact(kPhone)});
        asked.cseq = 1;
        std::string text = credentials(registrar->handle(asked), asked, "1000", "secret");
        const size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        asked.authorizations = {text.replace(at, from.size(), to)};
        return registrar->handle(asked);
    }
};

TEST_F(RegisterAuthTest, ChallengesWhoHasNoCredentials)
{
    const RegisterReply answer = registrar->handle(request({contact(kPhone)}));
    EXPECT_EQ(answer.status, 401);
    ASSERT_EQ(answer.challenges.size(), 1U);
    EXPECT_NE(answer.challenges[0].find("Digest realm=\"parlovex\", nonce=\""), std::string::npos);
    EXPECT_NE(answer.challenges[0].find("algorithm=MD5, qop=\"auth\""), std::string::npos);
    EXPECT_EQ(answer.challenges[0].find("stale"), std::string::npos);
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegisterAuthTest, AcceptsTheRightPassword)
{
    EXPECT_EQ(handle(request({contact(kPhone)})).status, 200);
}

TEST_F(RegisterAuthTest, ReadsTheResponseInEitherCase)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    std::string text = credentials(registrar->handle(asked), asked, "1000", "secret");
    const size_t start = text.find("response=\"") + 10;
    std::transform(text.begin() + static_cast<ptrdiff_t>(start), text.begin() + static_cast<ptrdiff_t>(start) + 32,
                   text.begin() + static_cast<ptrdiff_t>(start),
                   [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c; });
    asked.authorizations = {text};
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, AnswersEveryWrongCredentialAlike)
{
    putUser("2000", "");
    const RegisterReply wrongPassword = handle(request({contact(kPhone)}), "Secret");
    const RegisterReply unknownUser = handle(request({contact(kPhone)}, "9999"));
    const RegisterReply noPassword = handle(request({contact(kPhone)}, "2000"), "");
    RegisterRequest borrowed = request({contact(kPhone)});
    borrowed.cseq = 1;
    borrowed.authorizations = {credentials(registrar->handle(borrowed), borrowed, "2000", "")};
    const RegisterReply otherUser = registrar->handle(borrowed);
    EXPECT_EQ(wrongPassword.status, 403);
    for (const RegisterReply* answer : {&unknownUser, &noPassword, &otherUser}) {
        EXPECT_EQ(answer->status, wrongPassword.status);
        EXPECT_EQ(answer->phrase, wrongPassword.phrase);
        EXPECT_TRUE(answer->challenges.empty());
    }
    EXPECT_EQ(wrongPassword.refusal, "wrong user name or password");
    EXPECT_TRUE(changes.empty());
}

// All that a client gets, one field a line; the nonce is different each time.
std::string asSent(const RegisterReply& reply)
{
    std::string text = std::to_string(reply.status) + ' ' + reply.phrase;
    for (std::string challenge : reply.challenges)
        text += "\nWWW-Authenticate: " + challenge.erase(challenge.find("nonce=\""), 56);
    for (const RegisterReply::Contact& contact : reply.contacts)
        text += "\nContact: " + contact.uri + ' ' + std::to_string(contact.expires);
    if (reply.minExpires)
        text += "\nMin-Expires: " + std::to_string(*reply.minExpires);
    return text;
}

TEST_F(RegisterAuthTest, StrangersCannotTellUsersApartByAnyAnswer)
{
    putUser("2000", "");
    putUser("3000", "secret", [](Cdb_usr_info& record) { record.expiryDate = 20000101; });
    putUser("4000", "secret");
    ASSERT_EQ(handle(request({contact(kPhone)}, "4000")).status, 200);
    std::vector<std::string> challenged;
    std::vector<std::string> refused;
    for (const char* user : {"1000", "2000", "3000", "4000", "9999"}) {
        RegisterRequest asked = request({contact(kPhone)}, user);
        asked.cseq = 1;
        const RegisterReply challenge = registrar->handle(asked);
        challenged.push_back(asSent(challenge));
        for (const std::string& password : {std::string("guess"), std::string(), std::string(100, 'x')}) {
            asked.authorizations = {credentials(challenge, asked, user, password)};
            refused.push_back(asSent(registrar->handle(asked)));
        }
        // In the name of somebody else, whose password may even be right.
        for (const char* name : {"1000", "2000", "9999"}) {
            if (std::string(name) == user)
                continue;
            asked.authorizations = {credentials(challenge, asked, name, "secret")};
            refused.push_back(asSent(registrar->handle(asked)));
        }
    }
    EXPECT_EQ(challenged.front(),
              "401 Unauthorized\nWWW-Authenticate: Digest realm=\"parlovex\", , algorithm=MD5, qop=\"auth\"");
    EXPECT_EQ(std::count(challenged.begin(), challenged.end(), challenged.front()), 5);
    EXPECT_EQ(refused.front(), "403 Forbidden");
    EXPECT_EQ(std::count(refused.begin(), refused.end(), refused.front()), std::ssize(refused));
}

TEST_F(RegisterAuthTest, StrangersCannotTellUsersApartByTheWork)
{
    putUser("2000", "");
    putUser("4000", "secret");
    for (const unsigned mode : {0U, 2U}) {
        RegisterAuth auth(clock);
        const AuthSettings settings{"parlovex", mode};
        const auto hashesFor = [&](const std::string& to, const std::string& name, const std::string& password) {
            RegisterRequest asked = request({contact(kPhone)}, to);
            RegisterReply challenge;
            challenge.challenges = auth.check(asked, settings, *users.get()).challenges;
            asked.authorizations = {credentials(challenge, asked, name, password)};
            const uint64_t before = auth.hasher().count();
            const AuthOutcome outcome = auth.check(asked, settings, *users.get());
            EXPECT_EQ(outcome.result, password == "secret" && to == name ? AuthResult::Accepted : AuthResult::Refused);
            return auth.hasher().count() - before;
        };
        const uint64_t work = hashesFor("1000", "1000", "guess");
        EXPECT_EQ(work, 3U);
        EXPECT_EQ(hashesFor("9999", "9999", "guess"), work) << "unknown";
        EXPECT_EQ(hashesFor("2000", "2000", ""), work) << "without password";
        EXPECT_EQ(hashesFor("2000", "1000", "secret"), work) << "another user's name";
        EXPECT_EQ(hashesFor("2000", "9999", "guess"), work) << "the name of nobody";
        EXPECT_EQ(hashesFor("4000", "4000", "secret"), work) << "the right one";
        EXPECT_EQ(hashesFor("4000", "4000", "guess"), work) << "after the right one";
    }
}

TEST_F(RegisterAuthTest, UserNamesAreCaseSensitive)
{
    putUser("Anna", "secret");
    EXPECT_EQ(handle(request({contact(kPhone)}, "anna")).status, 403);
    EXPECT_EQ(handle(request({contact(kPhone)}, "Anna")).status, 200);
}

TEST_F(RegisterAuthTest, RefusesToRegisterAnotherUserAndTellsWhoseNameWasUsed)
{
    putUser("1001", "other");
    RegisterRequest asked = request({contact(kPhone)}, "1001");
    asked.cseq = 1;
    const RegisterReply challenge = registrar->handle(asked);
    // Right or wrong, the password is not what is told of.
    for (const char* password : {"secret", "guess"}) {
        asked.authorizations = {credentials(challenge, asked, "1000", password)};
        const RegisterReply answer = registrar->handle(asked);
        EXPECT_EQ(answer.status, 403);
        EXPECT_EQ(answer.phrase, "Forbidden");
        EXPECT_EQ(answer.refusal, "its credentials are those of user 1000");
    }
    asked.authorizations = {credentials(challenge, asked, std::string(500, 'u'), "guess")};
    EXPECT_EQ(registrar->handle(asked).refusal, "its credentials are those of user " + std::string(64, 'u'));
    EXPECT_TRUE(changes.empty());
}

TEST_F(RegisterAuthTest, OldNonceIsRenewedAsStale)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    asked.authorizations = {credentials(registrar->handle(asked), asked, "1000", "secret")};
    clock.passMs(NonceMaker::kLifetimeMs + 1);
    const RegisterReply answer = registrar->handle(asked);
    EXPECT_EQ(answer.status, 401);
    EXPECT_NE(answer.challenges.at(0).find(", stale=true"), std::string::npos);
    asked.authorizations = {credentials(answer, asked, "1000", "secret")};
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, NonceOfAnotherAddressIsStale)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    asked.authorizations = {credentials(registrar->handle(asked), asked, "1000", "secret")};
    asked.source.address = "192.0.2.2";
    const RegisterReply answer = registrar->handle(asked);
    EXPECT_EQ(answer.status, 401);
    EXPECT_NE(answer.challenges.at(0).find("stale=true"), std::string::npos);
    asked.source = {"192.0.2.1", 61000, 0};
    EXPECT_EQ(registrar->handle(asked).status, 200) << "the port may change behind a NAT";
}

TEST_F(RegisterAuthTest, InventedNonceIsChallengedPlainly)
{
    const RegisterReply answer = withChanged("nonce=\"", "nonce=\"x");
    EXPECT_EQ(answer.status, 401);
    EXPECT_EQ(answer.challenges.at(0).find("stale"), std::string::npos);
}

TEST_F(RegisterAuthTest, RealmOfTheSystemRecordHoldsAtOnce)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    asked.authorizations = {credentials(registrar->handle(asked), asked, "1000", "secret")};
    setRealm("o\"ffice");
    const RegisterReply answer = registrar->handle(asked);
    EXPECT_EQ(answer.status, 401) << "a telephone that still uses the former realm is told the new one";
    EXPECT_NE(answer.challenges.at(0).find("realm=\"o\\\"ffice\""), std::string::npos);
    EXPECT_NE(answer.challenges.at(0).find("stale=true"), std::string::npos);
}

TEST_F(RegisterAuthTest, RefusesIncompleteCredentials)
{
    EXPECT_EQ(withChanged("qop=auth", "qop=auth-int").status, 400);
    EXPECT_EQ(withChanged(", qop=auth, nc=00000001", "").status, 400) << "RFC 2069 form";
    EXPECT_EQ(withChanged("nc=00000001", "nc=1").status, 400);
    EXPECT_EQ(withChanged("nc=00000001", "nc=0000000g").status, 400);
    EXPECT_EQ(withChanged("cnonce=\"c0\"", "cnonce=\"\"").status, 400);
    EXPECT_EQ(withChanged("username=", "name=").status, 400);
    EXPECT_EQ(withChanged("response=", "resp=").status, 400);
    EXPECT_EQ(withChanged("realm=", "realm=\"parlovex\", realm=").status, 400);
    EXPECT_EQ(withChanged("uri=\"sip:server.test\"", "uri=\"sip:server.example\"").status, 400);
}

TEST_F(RegisterAuthTest, UriIsComparedWithoutCaseOfHostAndWithoutParameters)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    asked.requestUri = "sip:SERVER.test;transport=udp";
    asked.authorizations = {credentials(registrar->handle(asked), asked, "1000", "secret")};
    asked.requestUri = "sip:server.test";
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, UnknownAlgorithmIsChallengedAgain)
{
    EXPECT_EQ(withChanged("algorithm=MD5", "algorithm=MD5-sess").status, 401);
    EXPECT_EQ(withChanged("algorithm=MD5", "algorithm=SHA-256").status, 401) << "not offered";
}

TEST_F(RegisterAuthTest, AbsentAlgorithmIsMd5)
{
    EXPECT_EQ(withChanged("algorithm=MD5, ", "").status, 200);
}

TEST_F(RegisterAuthTest, CredentialsForOtherRealmsDoNotDisturb)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    const std::string own = credentials(registrar->handle(asked), asked, "1000", "secret");
    const std::string other =
        "Digest username=\"x\", realm=\"elsewhere\", nonce=\"n\", uri=\"sip:server.test\", response=\"00\"";
    asked.authorizations = {"Basic YTpi", other, own, other};
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, CredentialsForOtherRealmsAloneAreChallenged)
{
    EXPECT_EQ(withChanged("realm=\"parlovex\"", "realm=\"other\"").status, 401);
    EXPECT_EQ(withChanged("realm=\"parlovex\", ", "").status, 401) << "none at all";
    RegisterRequest asked = request({contact(kPhone)});
    for (const char* foreign :
         {"Digest realm=\"elsewhere\", nonce=\"n\"", "Digest realm=\"elsewhere\", x", "Digest", "Basic YTpi"}) {
        asked.authorizations = {foreign};
        const RegisterReply answer = registrar->handle(asked);
        EXPECT_EQ(answer.status, 401) << foreign;
        EXPECT_EQ(answer.challenges.size(), 1U) << foreign;
    }
    asked.authorizations = {"Digest realm=\"elsewhere\", x",
                            credentials(registrar->handle(asked), asked, "1000", "secret")};
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, Sha256CanBeOfferedFirst)
{
    gVarSipDigestSha256 = 1;
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    RegisterReply challenge = registrar->handle(asked);
    ASSERT_EQ(challenge.challenges.size(), 2U);
    EXPECT_NE(challenge.challenges[0].find("algorithm=SHA-256"), std::string::npos);
    EXPECT_NE(challenge.challenges[1].find("algorithm=MD5"), std::string::npos);
    asked.authorizations = {credentials(challenge, asked, "1000", "secret")};
    EXPECT_EQ(registrar->handle(asked).status, 200);
    challenge.challenges.erase(challenge.challenges.begin());
    asked.authorizations = {credentials(challenge, asked, "1000", "secret", "00000002")};
    EXPECT_EQ(registrar->handle(asked).status, 200);
}

TEST_F(RegisterAuthTest, Sha256CanBeDemanded)
{
    gVarSipDigestSha256 = 2;
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    RegisterReply challenge = registrar->handle(asked);
    ASSERT_EQ(challenge.challenges.size(), 1U);
    asked.authorizations = {credentials(challenge, asked, "1000", "secret")};
    EXPECT_EQ(registrar->handle(asked).status, 200);
    challenge.challenges[0].replace(challenge.challenges[0].find("SHA-256"), 7, "MD5");
    asked.authorizations = {credentials(challenge, asked, "1000", "secret", "00000002")};
    EXPECT_EQ(registrar->handle(asked).status, 401);
}

TEST_F(RegisterAuthTest, TellsWhatTheCredentialsSaidOfTheSource)
{
    RegisterRequest asked = request({contact(kPhone)});
    asked.cseq = 1;
    const RegisterReply challenge = registrar->handle(asked);
    EXPECT_EQ(challenge.credentials, Credentials::None);
    const std::string right = credentials(challenge, asked, "1000", "secret");
    asked.authorizations = {right};
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Right);
    asked.authorizations = {credentials(challenge, asked, "1000", "guess")};
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Wrong);
    asked.authorizations = {credentials(challenge, asked, "9999", "guess")};
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Wrong) << "nobody has that name";
    asked.authorizations = {"Basic YTpi"};
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Unproven);
    EXPECT_EQ(withChanged("nonce=\"", "nonce=\"x").credentials, Credentials::Unproven) << "an invented nonce";
    EXPECT_EQ(withChanged("realm=\"parlovex\"", "realm=\"other\"").credentials, Credentials::Unproven);
    EXPECT_EQ(withChanged("qop=auth", "qop=auth-int").credentials, Credentials::Unproven) << "400 is no failure";
    EXPECT_EQ(withChanged("response=\"", "response=\"0").credentials, Credentials::Wrong);
    asked.authorizations = {right};
    clock.passMs(NonceMaker::kLifetimeMs + 1);
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Unproven) << "too old, right or wrong";
}

TEST_F(RegisterAuthTest, ARightPasswordUnderAnotherNameThanToIsCountedAsAFailure)
{
    putUser("1001", "other");
    RegisterRequest asked = request({contact(kPhone)}, "1001");
    asked.cseq = 1;
    // Whoever guesses must not learn from what is not counted.
    asked.authorizations = {credentials(registrar->handle(asked), asked, "1000", "secret")};
    EXPECT_EQ(registrar->handle(asked).credentials, Credentials::Wrong);
}

TEST_F(RegisterAuthTest, RefusalsAfterTheRightPasswordAreNotCountedAsFailures)
{
    putUser("1000", "secret", [](Cdb_usr_info& record) { record.expiryDate = 20000101; });
    const RegisterReply answer = handle(request({contact(kPhone)}));
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.credentials, Credentials::Right);
    putUser("1000", "secret");
    EXPECT_EQ(handle(request({contact(kPhone, 1)})).credentials, Credentials::Right);
}

TEST_F(RegisterAuthTest, AccountExpiresAfterItsLastDay)
{
    const auto setLastDay = [this](uint32_t date) {
        putUser("1000", "secret", [date](Cdb_usr_info& record) { record.expiryDate = date; });
    };
    const uint32_t today = BclGetDateInt(clock.wallSeconds());
    setLastDay(today);
    EXPECT_EQ(handle(request({contact(kPhone)})).status, 200);
    clock.passSeconds(86400);
    const RegisterReply answer = handle(request({contact(kPhone)}));
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.refusal, "the account has expired");
    EXPECT_EQ(handle(request({contact(kPhone)}), "wrong").refusal, "wrong user name or password")
        << "strangers are not told of it";
    setLastDay(0);
    EXPECT_EQ(handle(request({contact(kPhone)})).status, 200);
}

} // namespace
