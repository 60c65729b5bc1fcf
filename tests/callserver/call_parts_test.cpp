// The parts that calls are made of, each by itself.
#include "calls/call_status.h"
#include "calls/dialog.h"
#include "calls/failure_choice.h"
#include "calls/sdp.h"
#include "calls/session_timer.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Refresher = SessionTimer::Refresher;
using Texts = std::vector<std::string>;

constexpr int64_t kNow = 1'000'000;

CallMessage timed(uint32_t interval, Refresher refresher = Refresher::None, uint32_t minimum = 0)
{
    CallMessage message;
    message.isTimerSupported = true;
    message.timer = {interval, minimum, refresher};
    return message;
}

TEST(LegTimer, IsOffAtFirst)
{
    const LegTimer timer;
    EXPECT_FALSE(timer.isOn());
    EXPECT_FALSE(timer.isOurs());
    EXPECT_EQ(timer.dueMs(), 0);
}

TEST(LegTimer, ARequestWithoutSupportSwitchesItOff)
{
    LegTimer timer;
    EXPECT_NE(timer.accept(timed(1800), kNow), "");
    EXPECT_TRUE(timer.isOn());
    CallMessage without = timed(1800);
    without.isTimerSupported = false;
    EXPECT_EQ(timer.accept(without, kNow), "");
    EXPECT_FALSE(timer.isOn());
    EXPECT_EQ(timer.dueMs(), 0);
}

TEST(LegTimer, AcceptsWhatIsAskedForWithinItsBounds)
{
    const auto accepted = [](const CallMessage& request) {
        LegTimer timer;
        return timer.accept(request, kNow);
    };
    const auto lines = [](const std::string& value) { return "Require: timer\r\nSession-Expires: " + value + "\r\n"; };
    EXPECT_EQ(accepted(timed(0)), lines("1800;refresher=uac"));
    EXPECT_EQ(accepted(timed(600)), lines("600;refresher=uac"));
    EXPECT_EQ(accepted(timed(600, Refresher::Uac)), lines("600;refresher=uac"));
    EXPECT_EQ(accepted(timed(600, Refresher::Uas)), lines("600;refresher=uas"));
    EXPECT_EQ(accepted(timed(7200)), lines("1800;refresher=uac"));
    EXPECT_EQ(accepted(timed(7200, Refresher::None, 3600)), lines("3600;refresher=uac"));
    EXPECT_EQ(accepted(timed(UINT32_MAX)), lines("1800;refresher=uac"));
}

TEST(LegTimer, RefreshesAtHalfTimeAndGivesUpBeforeTheEnd)
{
    LegTimer timer;
    (void)timer.accept(timed(600, Refresher::Uas), kNow);
    EXPECT_TRUE(timer.isOurs());
    EXPECT_EQ(timer.dueMs(), kNow + 300'000);
    (void)timer.accept(timed(600, Refresher::Uac), kNow);
    EXPECT_FALSE(timer.isOurs());
    EXPECT_EQ(timer.dueMs(), kNow + 568'000);
    (void)timer.accept(timed(90, Refresher::Uac), kNow);
    EXPECT_EQ(timer.dueMs(), kNow + 60'000); // a third is less
}

TEST(LegTimer, OffersFirstWithoutARefresherThenWithTheOneThereIs)
{
    LegTimer timer;
    EXPECT_EQ(timer.offer(), "Session-Expires: 1800\r\nMin-SE: 90\r\n");
    EXPECT_EQ(timer.offer(2000), "Session-Expires: 2000\r\nMin-SE: 2000\r\n");
    timer.answered(timed(600, Refresher::Uac), kNow);
    EXPECT_TRUE(timer.isOurs());
    EXPECT_EQ(timer.offer(), "Session-Expires: 600;refresher=uac\r\nMin-SE: 90\r\n");
    timer.answered(timed(600, Refresher::Uas), kNow);
    EXPECT_FALSE(timer.isOurs());
    EXPECT_EQ(timer.offer(), "Session-Expires: 600;refresher=uas\r\nMin-SE: 90\r\n");
}

TEST(LegTimer, AnAnswerWithoutItSwitchesItOff)
{
    LegTimer timer;
    timer.answered(timed(600), kNow);
    EXPECT_TRUE(timer.isOurs());
    timer.answered(timed(0), kNow);
    EXPECT_FALSE(timer.isOn());
    EXPECT_FALSE(timer.isOurs());
    EXPECT_EQ(timer.dueMs(), 0);
    timer.answered(timed(1), kNow); // nobody can refresh as fast as that
    EXPECT_EQ(timer.dueMs(), kNow + 45'000);
}

TEST(LegTimer, OnlyWhatIsBelowTheMinimumIsTooShort)
{
    EXPECT_TRUE(LegTimer::isTooShort(timed(89)));
    EXPECT_FALSE(LegTimer::isTooShort(timed(90)));
    EXPECT_FALSE(LegTimer::isTooShort(timed(0)));
}

CallMessage failure(int status)
{
    CallMessage message;
    message.status = status;
    message.phrase = "Because";
    message.passed = "Warning: 399 x \"y\"\r\n";
    return message;
}

int chosen(const std::vector<int>& statuses)
{
    FailureChoice choice;
    for (const int status : statuses)
        choice.add(failure(status));
    return choice.answer().status;
}

TEST(FailureChoice, PrefersWhatTellsTheCallerMost)
{
    EXPECT_EQ(chosen({}), 480);
    EXPECT_EQ(chosen({408, 503, 480, 488, 486, 603}), 603);
    EXPECT_EQ(chosen({408, 503, 480, 488, 486}), 486);
    EXPECT_EQ(chosen({408, 503, 480, 488}), 488);
    EXPECT_EQ(chosen({408, 503, 480}), 480);
    EXPECT_EQ(chosen({503, 408}), 480);
    EXPECT_EQ(chosen({408, 500}), 480);
    EXPECT_EQ(chosen({503}), 500);
    EXPECT_EQ(chosen({408}), 480);
}

TEST(FailureChoice, TheFirstOfEqualsStays)
{
    EXPECT_EQ(chosen({600, 603}), 600);
    EXPECT_EQ(chosen({415, 488}), 415);
}

TEST(FailureChoice, PhraseAndHeadersComeWithTheStatusOnly)
{
    FailureChoice same;
    same.add(failure(486));
    EXPECT_EQ(same.answer().phrase, "Because");
    EXPECT_EQ(same.answer().headers, "Warning: 399 x \"y\"\r\n");
    FailureChoice other;
    other.add(failure(401));
    EXPECT_EQ(other.answer().status, 500);
    EXPECT_EQ(other.answer().phrase, "");
    EXPECT_EQ(other.answer().headers, "");
}

TEST(FailureChoice, RedirectionsStayWithTheServer)
{
    EXPECT_EQ(chosen({301}), 480);
    EXPECT_EQ(chosen({302}), 480);
    EXPECT_EQ(chosen({380}), 480);
}

TEST(WithoutVideo, OnlyThePortsOfVideoChange)
{
    EXPECT_EQ(withoutVideo("v=0\r\nm=audio 10 RTP/AVP 0\r\nm=video 20/2 RTP/AVP 31\r\na=x:20\r\n"),
              "v=0\r\nm=audio 10 RTP/AVP 0\r\nm=video 0 RTP/AVP 31\r\na=x:20\r\n");
    EXPECT_EQ(withoutVideo("m=video 1 A\nm=video 22222 B\n"), "m=video 0 A\nm=video 0 B\n");
    EXPECT_EQ(withoutVideo("a=m=video 5 X\r\ni=m=video 5\r\nm=videos 5 X\r\n"),
              "a=m=video 5 X\r\ni=m=video 5\r\nm=videos 5 X\r\n");
}

TEST(WithoutVideo, BrokenTextsStayTexts)
{
    EXPECT_EQ(withoutVideo(""), "");
    EXPECT_EQ(withoutVideo("\n"), "\n");
    EXPECT_EQ(withoutVideo("m=video"), "m=video");
    EXPECT_EQ(withoutVideo("m=video "), "m=video 0");
    EXPECT_EQ(withoutVideo("m=video \r\nx"), "m=video 0\r\nx");
    EXPECT_EQ(withoutVideo("m=video 99"), "m=video 0");
    EXPECT_EQ(withoutVideo(std::string_view("m=video 9\0 X", 12)), std::string("m=video 0 X"));
}

TEST(HeldAnswer, TakesTheStreamsAndLetsNothingPass)
{
    EXPECT_EQ(heldAnswer("v=0\r\no=- 9 9 IN IP4 192.0.2.9\r\ns=x\r\nc=IN IP4 192.0.2.9\r\nt=7 8\r\na=sendrecv\r\n"
                         "m=audio 4000 RTP/AVP 8 101\r\na=rtpmap:101 telephone-event/8000\r\na=fmtp:101 0-15\r\n"
                         "m=video 4002/2 RTP/AVP 31\r\n",
                         "- 1 1 IN IP4 192.0.2.1"),
              "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=-\r\nc=IN IP4 0.0.0.0\r\nt=7 8\r\n"
              "m=audio 9 RTP/AVP 8 101\r\na=inactive\r\na=rtpmap:101 telephone-event/8000\r\n"
              "m=video 9 RTP/AVP 31\r\na=inactive\r\n");
}

TEST(HeldAnswer, RefusesWhatIsOffOrNeedsKeys)
{
    EXPECT_EQ(
        heldAnswer(
            "c=IN IP6 2001:db8::1\nm=audio 0 RTP/AVP 8\nm=audio 4 RTP/SAVP 8\na=rtpmap:8 X\nm=image 5 udptl t38\n", ""),
        "v=0\r\no=- 1 1 IN IP6 ::\r\ns=-\r\nc=IN IP6 ::\r\nt=0 0\r\n"
        "m=audio 0 RTP/AVP 8\r\nm=audio 0 RTP/SAVP 8\r\nm=image 0 udptl t38\r\n");
}

TEST(HeldAnswer, BrokenTextsAreNoStreams)
{
    const std::string head = "v=0\r\no=o\r\ns=-\r\nc=IN IP4 0.0.0.0\r\nt=0 0\r\n";
    EXPECT_EQ(heldAnswer("", "o"), head);
    EXPECT_EQ(heldAnswer("\n", "o"), head);
    EXPECT_EQ(heldAnswer("m=", "o"), head + "m= 0\r\n");
    EXPECT_EQ(heldAnswer("m=audio", "o"), head + "m=audio 0\r\n");
    EXPECT_EQ(heldAnswer("m=audio 7 ", "o"), head + "m=audio 0 \r\n");
}

TEST(NextOrigin, HasAVersionHigherByOne)
{
    EXPECT_EQ(nextOrigin("- 7 1 IN IP4 192.0.2.1"), "- 7 2 IN IP4 192.0.2.1");
    EXPECT_EQ(nextOrigin("- 7 0 IN IP4 192.0.2.1"), "- 7 1 IN IP4 192.0.2.1");
    EXPECT_EQ(nextOrigin("- 7 199 IN IP4 192.0.2.1"), "- 7 200 IN IP4 192.0.2.1");
    EXPECT_EQ(nextOrigin("- 7 99 IN IP4 192.0.2.1"), "- 7 100 IN IP4 192.0.2.1");
    EXPECT_EQ(nextOrigin("- 7 18446744073709551615 IN"), "- 7 18446744073709551616 IN");
    EXPECT_EQ(nextOrigin("- 7 99999999999999999999 IN"), "- 7 100000000000000000000 IN");
}

TEST(NextOrigin, IsTheSameWithoutAVersion)
{
    for (const char* const origin : {"", " ", "-", "- 7", "- 7 1", "- 7 x IN", "- 7 -1 IN", "- 7 1x IN", "- 7  IN"})
        EXPECT_EQ(nextOrigin(origin), origin);
}

TEST(UriText, WhatAUserPartMayNotHoldIsEscaped)
{
    EXPECT_EQ(sipUri("2001", "host:5060"), "sip:2001@host:5060");
    EXPECT_EQ(sipUri("", "host"), "sip:host");
    EXPECT_EQ(sipUri("*72;x=1", "h"), "sip:*72;x=1@h");
    EXPECT_EQ(sipUri("a b@c>#%", "h"), "sip:a%20b%40c%3E%23%25@h");
    EXPECT_EQ(sipUri("ü\r\n", "h"), "sip:%C3%BC%0D%0A@h");
    EXPECT_EQ(sipUri("2001", "[2001:db8::1]:5060"), "sip:2001@[2001:db8::1]:5060");
}

TEST(UriText, NamesAreQuoted)
{
    EXPECT_EQ(nameAddr("", "sip:a@b"), "<sip:a@b>");
    EXPECT_EQ(nameAddr("Desk", "sip:a@b"), "\"Desk\" <sip:a@b>");
    EXPECT_EQ(nameAddr("a\"b\\c", "sip:a@b"), "\"a\\\"b\\\\c\" <sip:a@b>");
    EXPECT_EQ(nameAddr("x\r\nVia: y\x7f", "sip:a@b"), "\"x  Via: y \" <sip:a@b>");
    EXPECT_EQ(nameAddr("Grüße", "sip:a@b"), "\"Grüße\" <sip:a@b>");
}

class DialogTest : public testing::Test {
protected:
    DialogTest()
    {
        invite.callId = "id";
        invite.cseq = 7;
        invite.from = {"sip:a@there.test", "a", "there.test", "Alice", "theirs"};
        invite.to = {"sip:b@here.test", "b", "here.test", {}, {}};
        invite.contact = "sip:a@192.0.2.1";
        invite.requestUser = "b";
        invite.source = {"192.0.2.9", 5062, kTransportTcp};
    }
    CallMessage invite;
};

TEST_F(DialogTest, OfACallerIsTurnedRound)
{
    Dialog dialog = dialogOfCaller(invite, "ours");
    EXPECT_EQ(dialog.remoteCseq, 7U);
    const CallRequestOut bye = dialog.request("BYE");
    EXPECT_EQ(bye.method, "BYE");
    EXPECT_EQ(bye.uri, "sip:a@192.0.2.1");
    EXPECT_EQ(bye.from, "<sip:b@here.test>;tag=ours");
    EXPECT_EQ(bye.to, "\"Alice\" <sip:a@there.test>;tag=theirs");
    EXPECT_EQ(bye.callId, "id");
    EXPECT_EQ(bye.cseq, 1U);
    EXPECT_EQ(bye.contactUser, "b");
    EXPECT_EQ(bye.destination.port, 5062);
    EXPECT_EQ(bye.destination.transport, kTransportTcp);
    EXPECT_EQ(dialog.request("INFO").cseq, 2U);
}

TEST_F(DialogTest, AnAckHasTheNumberOfItsInvite)
{
    Dialog dialog = dialogOfCaller(invite, "ours");
    const uint32_t number = dialog.request("INVITE").cseq;
    (void)dialog.request("INFO");
    EXPECT_EQ(dialog.ack(number).cseq, number);
    EXPECT_EQ(dialog.ack(number).method, "ACK");
    EXPECT_EQ(dialog.request("BYE").cseq, number + 2);
}

TEST_F(DialogTest, LooseRoutesLeaveTheUri)
{
    invite.routes = {"<sip:one.test;lr>", "<sip:two.test;lr>;x=y"};
    Dialog dialog = dialogOfCaller(invite, "ours");
    const CallRequestOut out = dialog.request("BYE");
    EXPECT_EQ(out.uri, "sip:a@192.0.2.1");
    EXPECT_EQ(out.routes, (Texts{"<sip:one.test;lr>", "<sip:two.test;lr>;x=y"}));
}

// RFC 3261 section 12.2.1.1
TEST_F(DialogTest, AStrictRouteTakesThePlaceOfTheUri)
{
    invite.routes = {"Proxy <sip:one.test>;lr", "<sip:two.test;lr>"};
    Dialog dialog = dialogOfCaller(invite, "ours");
    for (const CallRequestOut& out : {dialog.request("BYE"), dialog.ack(1)}) {
        EXPECT_EQ(out.uri, "sip:one.test");
        EXPECT_EQ(out.routes, (Texts{"<sip:two.test;lr>", "<sip:a@192.0.2.1>"}));
    }
}

TEST_F(DialogTest, LearnsFromAnswersThatHaveATag)
{
    Dialog dialog;
    dialog.remoteParty = "<sip:b@here.test>";
    dialog.remoteTarget = "sip:b@192.0.2.2";
    CallMessage answer;
    answer.contact = "sip:early@192.0.2.2";
    dialog.learn(answer);
    EXPECT_EQ(dialog.request("INVITE").to, "<sip:b@here.test>");
    EXPECT_EQ(dialog.remoteTarget, "sip:b@192.0.2.2");
    answer.to.tag = "theirs";
    answer.routes = {"<sip:near.test;lr>", "<sip:far.test;lr>"};
    dialog.learn(answer);
    const CallRequestOut out = dialog.request("PRACK");
    EXPECT_EQ(out.to, "<sip:b@here.test>;tag=theirs");
    EXPECT_EQ(out.uri, "sip:early@192.0.2.2");
    EXPECT_EQ(out.routes, (Texts{"<sip:far.test;lr>", "<sip:near.test;lr>"})); // in reverse (section 12.1.2)
}

TEST_F(DialogTest, KeepsItsTargetWhereNoneIsSaid)
{
    Dialog dialog = dialogOfCaller(invite, "ours");
    dialog.refreshTarget({});
    EXPECT_EQ(dialog.remoteTarget, "sip:a@192.0.2.1");
    CallMessage moved;
    moved.contact = "sip:a@192.0.2.7";
    dialog.refreshTarget(moved);
    EXPECT_EQ(dialog.remoteTarget, "sip:a@192.0.2.7");
}

TEST_F(DialogTest, TagsDoNotRepeat)
{
    std::set<std::string> tags;
    for (int i = 0; i < 1000; ++i)
        tags.insert(randomTag());
    EXPECT_EQ(tags.size(), 1000U);
    EXPECT_EQ(tags.begin()->size(), 16U);
}

TEST(CallStatusTable, IsEmptyWithoutCalls)
{
    EXPECT_TRUE(callStatusTable({}, 0).empty());
}

TEST(CallStatusTable, AlignsItsColumnsByCharacters)
{
    Ccdr_record_data one;
    BclCopyStr(one.callerNbr, "2001");
    BclCopyStr(one.callerAddr, "192.0.2.1:5060");
    BclCopyStr(one.dialedNbr, "7");
    BclCopyStr(one.calledNbr, "2002");
    one.setTime(kCdrStart, 1000);
    Ccdr_record_data two;
    BclCopyStr(two.callerNbr, "Büro");
    BclCopyStr(two.dialedNbr, "0301234");
    BclCopyStr(two.calledNbr, "0301234");
    BclCopyStr(two.calledAddr, "192.0.2.2:5060");
    two.setTime(kCdrStart, 900);
    two.setTime(kCdrRing, 950);
    two.setTime(kCdrAnswer, 1000);
    const Texts table = callStatusTable({{1, &one}, {12, &two}}, 1000 + 3723);
    EXPECT_EQ(table, (Texts{"  Call  State    Caller                 Dialed   Called                    Time",
                            "  1     calling  2001 (192.0.2.1:5060)  7        2002                      1:02:03",
                            "  12    talking  Büro                   0301234  0301234 (192.0.2.2:5060)  1:02:03"}));
}

TEST(CallStatusTable, CountsFromTheStartUntilTheAnswer)
{
    Ccdr_record_data record;
    record.setTime(kCdrStart, 1000);
    record.setTime(kCdrRing, 1010);
    EXPECT_NE(callStatusTable({{1, &record}}, 1065)[1].find("ringing"), std::string::npos);
    EXPECT_TRUE(callStatusTable({{1, &record}}, 1065)[1].ends_with("  1:05"));
    record.setTime(kCdrAnswer, 1060);
    EXPECT_TRUE(callStatusTable({{1, &record}}, 1065)[1].ends_with("  0:05"));
    EXPECT_TRUE(callStatusTable({{1, &record}}, 500)[1].ends_with("  0:00")); // the clock was set back
}

} // namespace
