// What goes from one side to the other, and what stays.
#include "callserver/calls_fixture.h"

#include "bcl2/text.h"

namespace {

class CallsHeadersTest : public CallsFixture {
protected:
    static void hide(Cdb_usr_info& user) { user.flags |= kUsrHideNumber; }
    static std::string shown(const CallRequestOut& request)
    {
        return request.from.substr(0, request.from.find(";tag="));
    }
    void hideByRule(const char* caller, const char* displayName)
    {
        Cdb_clr_rewriting_info rule;
        BclCopyStr(rule.callerNbr, caller);
        BclCopyStr(rule.displayName, displayName);
        rule.isAnonymous = 1;
        ASSERT_EQ(store.DbClrReWriteAdd(&rule), kDbOk);
    }
};

TEST_F(CallsHeadersTest, TheCalledSideSeesTheServerAndTheCallersName)
{
    call("2001", "2002", [](CallMessage& invite) { invite.maxForwards = 12; });
    const CallRequestOut& request = next("INVITE")->request;
    EXPECT_EQ(request.from.substr(0, request.from.find(";tag=")), "\"Phone 2001\" <sip:2001@198.51.100.1:5060>");
    EXPECT_EQ(request.to, "<sip:2002@198.51.100.1:5060>");
    EXPECT_EQ(request.uri, phone("2002").contact());
    EXPECT_EQ(request.destination.address, "192.0.2.2");
    EXPECT_EQ(request.maxForwards, 11U);
    EXPECT_EQ(request.cseq, 1U);
    EXPECT_TRUE(request.hasContact);
    EXPECT_EQ(request.contactUser, "2001");
    EXPECT_TRUE(request.routes.empty());
    EXPECT_TRUE(isIn(request.headers, "User-Agent: Parlovex"));
    EXPECT_EQ(request.body.data, kOffer);
}

TEST_F(CallsHeadersTest, AnotherDomainStandsInTheNames)
{
    changeSystem([](Cdb_sys_data& system) { BclCopyStr(system.sipDomain, "office.test"); });
    call("2001", "2002");
    const CallRequestOut& request = next("INVITE")->request;
    EXPECT_EQ(request.from.substr(0, request.from.find(";tag=")), "\"Phone 2001\" <sip:2001@office.test>");
    EXPECT_EQ(request.to, "<sip:2002@office.test>");
}

TEST_F(CallsHeadersTest, WithoutADisplayNameThatOfTheTelephoneIsShown)
{
    changeUser("2001", [](Cdb_usr_info& user) { BclCopyStr(user.dispName, ""); });
    call("2001", "2002", [](CallMessage& invite) { invite.from.display = "De \"sk\""; });
    const CallRequestOut& request = next("INVITE")->request;
    EXPECT_EQ(request.from.substr(0, request.from.find(";tag=")), "\"De \\\"sk\\\"\" <sip:2001@198.51.100.1:5060>");
}

TEST_F(CallsHeadersTest, WhatConcernsTheOtherSideIsPassed)
{
    const HeardPtr invite = call("2001", "2002", [](CallMessage& request) {
        request.passed = "Alert-Info: <urn:x>\r\nSubject: lunch\r\n";
        request.authorizations = {"Digest secret"};
        request.routes = {"<sip:proxy.test;lr>"};
        request.body = {"application/sdp", "Content-Disposition: session\r\n", kOffer};
    });
    const SentPtr branch = next("INVITE");
    EXPECT_EQ(branch->request.headers.find("Alert-Info: <urn:x>\r\nSubject: lunch\r\n"), 0U);
    EXPECT_EQ(branch->request.headers.find("secret"), std::string::npos);
    EXPECT_TRUE(branch->request.routes.empty());
    EXPECT_EQ(branch->request.body.headers, "Content-Disposition: session\r\n");
    answer(branch, 180, {}, [](CallMessage& ringing) { ringing.passed = "Alert-Info: <urn:y>\r\n"; });
    EXPECT_TRUE(isIn(invite->answers.back().headers, "Alert-Info: <urn:y>"));
    answer(branch, 200, kAnswer, [](CallMessage& success) {
        success.phrase = "Sure";
        success.routes = {"<sip:other.test;lr>"};
    });
    EXPECT_EQ(invite->answers.back().phrase, "Sure");
    EXPECT_EQ(invite->answers.back().headers.find("other.test"), std::string::npos);
    EXPECT_TRUE(isIn(invite->answers.back().headers, "Server: Parlovex"));
    EXPECT_TRUE(invite->answers.back().hasContact);
    EXPECT_EQ(invite->answers.back().contactUser, "2002");
}

TEST_F(CallsHeadersTest, StrangersCannotHaveTelephonesPickUp)
{
    changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAcceptUnknown; });
    const FakePhone stranger{"somebody", {"203.0.113.9", 5060, kTransportUdp}};
    call(stranger, "2002", [](CallMessage& invite) {
        invite.passed =
            "Alert-Info: <urn:x>\r\nSubject: lunch\r\nAnswer-Mode: Auto\r\nCall-Info: <sip:x>;answer-after=0\r\n";
    });
    EXPECT_EQ(next("INVITE")->request.headers.find("Subject: lunch\r\nAllow: "), 0U);
}

TEST_F(CallsHeadersTest, EachLegKeepsItsRoutes)
{
    Talk made = talk(
        "2001", "2002",
        [](CallMessage& invite) {
            invite.routes = {"<sip:a.test;lr>", "<sip:b.test;lr>"};
        },
        [](CallMessage& success) {
            success.routes = {"<sip:c.test;lr>", "<sip:d.test;lr>"};
        });
    EXPECT_EQ(made.branch->acks.at(0).routes, (std::vector<std::string>{"<sip:d.test;lr>", "<sip:c.test;lr>"}));
    send(made.caller, SipMethod::Info);
    EXPECT_EQ(next("INFO")->request.routes, (std::vector<std::string>{"<sip:d.test;lr>", "<sip:c.test;lr>"}));
    send(made.called, SipMethod::Info);
    EXPECT_EQ(next("INFO")->request.routes, (std::vector<std::string>{"<sip:a.test;lr>", "<sip:b.test;lr>"}));
}

TEST_F(CallsHeadersTest, OnlyWhatTheOtherSideUnderstandsIsAllowed)
{
    call("2001", "2002", [](CallMessage& invite) { invite.allow = "INVITE, ACK, BYE, CANCEL, INFO"; });
    EXPECT_TRUE(isIn(next("INVITE")->request.headers,
                     "Allow: INVITE, ACK, CANCEL, BYE, OPTIONS, PRACK, REFER, SUBSCRIBE, INFO"));
}

TEST_F(CallsHeadersTest, AHiddenNumberShowsNowhere)
{
    changeUser("2001", hide);
    Talk made = talk();
    const CallRequestOut& request = made.branch->request;
    EXPECT_EQ(request.from.substr(0, request.from.find(";tag=")), "\"Anonymous\" <sip:anonymous@anonymous.invalid>");
    EXPECT_TRUE(isIn(request.headers, "Privacy: id"));
    EXPECT_EQ(request.contactUser, "anonymous");
    send(made.caller, SipMethod::Bye);
    for (const SentPtr& one : transport.sent) {
        const CallRequestOut& out = one->request;
        for (const std::string& text : {out.from, out.to, out.headers, out.uri, out.contactUser, out.callId})
            EXPECT_EQ(text.find("2001"), std::string::npos) << out.method << ": " << text;
    }
}

TEST_F(CallsHeadersTest, WhoHidesHisNumberIsNotToldByOtherHeaders)
{
    constexpr const char* kTelling = "Call-Info: <http://b.test/2001.png>;purpose=icon\r\nIn-Reply-To: 1@2001.test\r\n"
                                     "Organization: Desk of 2001\r\nPriority: urgent\r\nSubject: 2001 here\r\n";
    constexpr const char* kKept = "Priority: urgent\r\n";
    const auto tell = [&](CallMessage& request) { request.passed = kTelling; };
    Talk open = talk("2003", "2004", tell);
    EXPECT_EQ(open.branch->request.headers.find(kTelling), 0U);
    changeUser("2001", hide);
    Talk made = talk("2001", "2002", tell);
    EXPECT_EQ(made.branch->request.headers.find(std::string(kKept) + "Allow: "), 0U);
    send(made.caller, SipMethod::Invite, kHold, tell);
    EXPECT_EQ(next("INVITE")->request.headers.find(std::string(kKept) + "Allow: "), 0U);
    send(made.caller, SipMethod::Info, "x", tell);
    EXPECT_EQ(next("INFO")->request.headers, kKept);
    send(made.called, SipMethod::Info, "x", tell);
    EXPECT_EQ(next("INFO")->request.headers, kTelling) << "the other side hides nothing";
}

TEST_F(CallsHeadersTest, ARuleThatHidesTheNumberKeepsItsName)
{
    hideByRule("2001", "Miller and Sons");
    hideByRule("2003", "");
    call("2001", "2002");
    const CallRequestOut named = next("INVITE")->request;
    EXPECT_EQ(shown(named), "\"Miller and Sons\" <sip:anonymous@anonymous.invalid>");
    EXPECT_TRUE(isIn(named.headers, "Privacy: id"));
    EXPECT_EQ(named.contactUser, "anonymous");
    EXPECT_EQ(named.headers.find("2001"), std::string::npos) << named.headers;
    call("2003", "2004");
    EXPECT_EQ(shown(next("INVITE")->request), "\"Anonymous\" <sip:anonymous@anonymous.invalid>");
}

TEST_F(CallsHeadersTest, ANameThatHidesTheNumberGoesAlongWhenTheCallIsSentOn)
{
    hideByRule("2001", "Miller and Sons");
    call("2001", "2002");
    answer(next("INVITE"), 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    EXPECT_EQ(shown(next("INVITE")->request), "\"Miller and Sons\" <sip:anonymous@anonymous.invalid>");
}

TEST_F(CallsHeadersTest, ACallerWhoAsksForPrivacyKeepsItWhenTheCallIsSentOn)
{
    call("2001", "2002", [](CallMessage& invite) { invite.isAnonymous = true; });
    answer(next("INVITE"), 302, {}, [](CallMessage& response) { response.contactUser = "2003"; });
    EXPECT_EQ(shown(next("INVITE")->request), "\"Anonymous\" <sip:anonymous@anonymous.invalid>");
}

TEST_F(CallsHeadersTest, ACallerWhoAsksForPrivacyGetsIt)
{
    call("2001", "2002", [](CallMessage& invite) { invite.isAnonymous = true; });
    const CallRequestOut& request = next("INVITE")->request;
    EXPECT_EQ(request.from.find("2001"), std::string::npos) << request.from;
    EXPECT_TRUE(isIn(request.headers, "Privacy: id"));
    EXPECT_EQ(request.contactUser, "anonymous");
}

TEST_F(CallsHeadersTest, AnAnonymousCallerIsRejectedByThoseWhoDoNotWantHim)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags |= kUsrRejectAnonymous | kUsrDoNotDisturb; });
    EXPECT_EQ(call("2001", "2002", [](CallMessage& invite) { invite.isAnonymous = true; })->status(), 433);
    changeUser("2001", hide);
    EXPECT_EQ(call("2001", "2002")->status(), 433);
    changeUser("2002", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrDoNotDisturb}; });
    expectNothingLeft();
    EXPECT_EQ(call("2003", "2002")->status(), 100);
}

TEST_F(CallsHeadersTest, ACallerWithoutNumberIsAnonymousToo)
{
    changeSystem([](Cdb_sys_data& system) { system.callFlags |= kSysAcceptUnknown; });
    changeUser("2002", [](Cdb_usr_info& user) { user.flags |= kUsrRejectAnonymous; });
    const FakePhone stranger{"anonymous", {"203.0.113.9", 5060, kTransportUdp}};
    EXPECT_EQ(call(stranger, "2002")->status(), 433);
    EXPECT_EQ(call(FakePhone{"", stranger.source}, "2002")->status(), 433);
    const auto hideHost = [](CallMessage& invite) { invite.from.host = "Anonymous.invalid"; };
    EXPECT_EQ(call(FakePhone{"x", stranger.source}, "2002", hideHost)->status(), 433);
    EXPECT_EQ(call(FakePhone{"x", stranger.source}, "2002")->status(), 100);
    call(stranger, "2003");
    (void)next("INVITE");
    EXPECT_TRUE(isIn(next("INVITE")->request.headers, "Privacy: id"));
}

TEST_F(CallsHeadersTest, AUserWhoIsNotToBeDisturbedIsBusyButMayCall)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags |= kUsrDoNotDisturb; });
    EXPECT_EQ(call("2001", "2002")->status(), 486);
    EXPECT_FALSE(hasNext("INVITE"));
    EXPECT_EQ(call("2002", "2001")->status(), 100);
}

class CallsVideoTest : public CallsFixture {
protected:
    static constexpr const char* kVideo = "v=0\r\nm=audio 4000 RTP/AVP 8\r\nm=video 4002 RTP/AVP 96\r\na=x:1\r\n";
    static constexpr const char* kNoVideo = "v=0\r\nm=audio 4000 RTP/AVP 8\r\nm=video 0 RTP/AVP 96\r\na=x:1\r\n";

    // The offer as the telephone got it, and the answer as the caller did.
    std::pair<std::string, std::string> exchanged()
    {
        const HeardPtr invite = call("2001", "2002", [](CallMessage& request) { request.body = sdp(kVideo); });
        const SentPtr branch = next("INVITE");
        answer(branch, 200, kVideo);
        ack(invite);
        PhoneDialog caller = callerOf(invite, phone("2001"));
        const HeardPtr reinvite = send(caller, SipMethod::Invite, kVideo);
        const SentPtr passed = next("INVITE");
        EXPECT_EQ(passed->request.body.data, branch->request.body.data);
        answer(passed, 200, kVideo);
        EXPECT_EQ(reinvite->answers.back().body.data, invite->answers.back().body.data);
        return {branch->request.body.data, invite->answers.back().body.data};
    }
};

TEST_F(CallsVideoTest, PassesWhereBothMayHaveIt)
{
    EXPECT_EQ(exchanged(), std::pair(std::string(kVideo), std::string(kVideo)));
}

TEST_F(CallsVideoTest, IsOffBothWaysForACallerWithoutIt)
{
    changeUser("2001", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrVideo}; });
    EXPECT_EQ(exchanged(), std::pair(std::string(kNoVideo), std::string(kNoVideo)));
}

TEST_F(CallsVideoTest, IsOffBothWaysForACalledUserWithoutIt)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrVideo}; });
    EXPECT_EQ(exchanged(), std::pair(std::string(kNoVideo), std::string(kNoVideo)));
}

TEST_F(CallsVideoTest, IsATextLikeAnyOtherInAMessage)
{
    changeUser("2002", [](Cdb_usr_info& user) { user.flags &= ~uint32_t{kUsrVideo}; });
    Talk made = talk();
    send(made.caller, SipMethod::Message, {}, [](CallMessage& text) { text.body = {"text/plain", {}, kVideo}; });
    EXPECT_EQ(next("MESSAGE")->request.body.data, kVideo);
}

} // namespace
