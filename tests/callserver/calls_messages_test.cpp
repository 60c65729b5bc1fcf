// Instant messages between users (RFC 3428).
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

namespace {

using Statuses = std::vector<int>;

class CallsMessagesTest : public CallsFixture {
protected:
    HeardPtr write(const std::string& from, const std::string& to, const Change& change = {})
    {
        CallMessage message = initial(phone(from), to, SipMethod::Message);
        message.body = {"text/plain;charset=utf-8", "Content-Language: de\r\n", "Grüße"};
        if (change)
            change(message);
        return deliver(message);
    }
    static void forbid(Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrMessages}; }
};

TEST_F(CallsMessagesTest, ReachTheOtherUserAsTheyAre)
{
    const HeardPtr message = write("2001", "2002", [](CallMessage& request) {
        request.maxForwards = 5;
        request.passed = "Subject: lunch\r\n";
        request.authorizations = {"Digest secret"};
        request.from.display = "Director";
    });
    const SentPtr sent = next("MESSAGE");
    const CallRequestOut& out = sent->request;
    EXPECT_EQ(out.body.type, "text/plain;charset=utf-8");
    EXPECT_EQ(out.body.headers, "Content-Language: de\r\n");
    EXPECT_EQ(out.body.data, "Grüße");
    EXPECT_EQ(out.headers, "Subject: lunch\r\n");
    EXPECT_EQ(out.maxForwards, 4U);
    EXPECT_EQ(out.uri, phone("2002").contact());
    EXPECT_EQ(out.from.substr(0, out.from.find(";tag=")), "\"Phone 2001\" <sip:2001@198.51.100.1:5060>")
        << "nobody takes the name of another one";
    EXPECT_EQ(out.to, "<sip:2002@198.51.100.1:5060>");
    EXPECT_FALSE(out.hasContact); // RFC 3428 section 4
    EXPECT_EQ(message->statuses(), Statuses{});
    answer(sent, 202);
    EXPECT_EQ(message->statuses(), Statuses{202});
    EXPECT_TRUE(records.empty());
    EXPECT_TRUE(states.empty());
}

TEST_F(CallsMessagesTest, ShowTheSenderAsHisCallsDo)
{
    const auto shown = [this](const std::string& from) {
        write(from, "2002", [](CallMessage& request) { request.from.display = "Desk"; });
        const SentPtr sent = next("MESSAGE");
        answer(sent, 200);
        return sent->request.from.substr(0, sent->request.from.find(";tag="));
    };
    changeUser("2003", [](Cdb_usr_info& user) { BclCopyStr(user.dispName, ""); });
    Cdb_clr_rewriting_info rule;
    BclCopyStr(rule.callerNbr, "2004");
    BclCopyStr(rule.displayName, "Miller and Sons");
    ASSERT_EQ(store.DbClrReWriteAdd(&rule), kDbOk);
    EXPECT_EQ(shown("2003"), "\"Desk\" <sip:2003@198.51.100.1:5060>");
    EXPECT_EQ(shown("2004"), "\"Miller and Sons\" <sip:2004@198.51.100.1:5060>");
    changeUser("2005", [](Cdb_usr_info& user) { user.flags |= kUsrHideNumber; });
    EXPECT_EQ(shown("2005"), "\"Anonymous\" <sip:anonymous@anonymous.invalid>");
    write("2005", "2002", [](CallMessage& request) { request.passed = "Organization: Desk of 2005\r\n"; });
    EXPECT_EQ(next("MESSAGE")->request.headers, "Privacy: id\r\n");
}

TEST_F(CallsMessagesTest, GoToAllTelephonesAndTheFirstThatTakesThemDecides)
{
    addPhone("2002");
    addPhone("2002");
    const HeardPtr message = write("2001", "2002");
    const SentPtr first = next("MESSAGE");
    const SentPtr second = next("MESSAGE");
    const SentPtr third = next("MESSAGE");
    EXPECT_NE(first->request.callId, second->request.callId);
    answer(first, 486);
    EXPECT_EQ(message->statuses(), Statuses{});
    answer(second, 100);
    answer(second, 200);
    EXPECT_EQ(message->statuses(), Statuses{200});
    answer(third, 202);
    EXPECT_EQ(message->statuses(), Statuses{200});
    EXPECT_EQ(message->transaction, nullptr);
}

TEST_F(CallsMessagesTest, ThatNobodyTakesFailWithTheBestReason)
{
    addPhone("2002");
    const HeardPtr message = write("2001", "2002");
    answerOwn(next("MESSAGE"), 408);
    EXPECT_EQ(message->statuses(), Statuses{});
    answer(next("MESSAGE"), 415);
    EXPECT_EQ(message->statuses(), Statuses{415});
    EXPECT_EQ(message->transaction, nullptr);
}

TEST_F(CallsMessagesTest, AreForbiddenFromAndToUsersWithoutThem)
{
    changeUser("2003", forbid);
    EXPECT_EQ(write("2003", "2002")->status(), 403);
    EXPECT_EQ(write("2001", "2003")->status(), 403);
    EXPECT_FALSE(hasNext("MESSAGE"));
}

TEST_F(CallsMessagesTest, ToNobodyAreNotFoundAndToTheAbsentUnavailable)
{
    removePhones("2002");
    EXPECT_EQ(write("2001", "9999")->status(), 404);
    EXPECT_EQ(write("2001", "2002")->status(), 480);
    EXPECT_EQ(write("2001", "*97")->status(), 503);
    EXPECT_FALSE(hasNext("MESSAGE"));
}

TEST_F(CallsMessagesTest, ThatAreRefusedAreToldInTheLog)
{
    const auto told = [this](const char* from, const char* to) {
        lines.clear();
        write(from, to);
        return lines.size() == 1 ? lines.front() : std::to_string(lines.size()) + " lines";
    };
    const auto isTold = [&told](const char* from, const char* to, const char* text) {
        const std::string line = told(from, to);
        const std::string head =
            "Message of user " + std::string(from) + " from 192.0.2." + from[3] + ":5060 refused: ";
        EXPECT_NE(line.find(head), std::string::npos) << line;
        EXPECT_NE(line.find(text), std::string::npos) << line;
    };
    changeUser("2003", forbid);
    changeUser("2004", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    isTold("2001", "9999", "404, there is no local user 9999.");
    isTold("2004", "2002", "403, local user 2004 has expired.");
    isTold("2001", "2003", "403, local user 2003 may not get messages.");
    isTold("2003", "2002", "403, local user 2003 may not send messages.");
    isTold("2001", "*97", "503, messages over lines and to services are not carried.");
    EXPECT_EQ(told("2001", "9999"), "0 lines") << "one a minute";
    EXPECT_EQ(told("2001", "2002"), "0 lines");
    answer(next("MESSAGE"), 200);
}

TEST_F(CallsMessagesTest, WithUselessCredentialsAreToldAsMessages)
{
    changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAuthCalls; });
    const std::string challenge = write("2001", "2002")->answers.back().headers;
    const size_t realm = challenge.find("realm=");
    ASSERT_NE(realm, std::string::npos);
    const HeardPtr message = write("2001", "2002", [&](CallMessage& request) {
        request.authorizations = {"Digest " + challenge.substr(realm, challenge.find(',', realm) - realm)};
    });
    EXPECT_EQ(message->status(), 400);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("Message of user 2001 from 192.0.2.1:5060 refused: "), std::string::npos)
        << lines.back();
}

TEST_F(CallsMessagesTest, AreNoCallsToTheLimits)
{
    changeUser("2001", [](Cdb_usr_info& user) {
        user.maxCalls = 1;
        user.maxOutCalls = 1;
    });
    talk("2001", "2002");
    const HeardPtr message = write("2001", "2003");
    EXPECT_EQ(message->statuses(), Statuses{});
    answer(next("MESSAGE"), 200);
    EXPECT_EQ(message->status(), 200);
}

TEST_F(CallsMessagesTest, OfAnExpiredUserAreForbidden)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.expiryDate = 20200101; });
    EXPECT_EQ(write("2001", "2002")->status(), 403);
}

TEST_F(CallsMessagesTest, UnderWayEndWithTheSocketsOfUdp)
{
    const HeardPtr message = write("2001", "2002");
    const SentPtr sent = next("MESSAGE");
    server().dropUdp();
    EXPECT_TRUE(message->isDecided);
    EXPECT_FALSE(sent->isHeard);
}

} // namespace
