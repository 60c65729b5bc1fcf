#include "sip/reply_text.h"

#include <gtest/gtest.h>

namespace {

const SipSource kSource = {"192.0.2.7", 5062, kTransportUdp};

std::string answerTo(const std::string& headers, const ReplyLine& line = {200, "OK", {}, "t1"})
{
    return replyText("OPTIONS sip:a.example SIP/2.0\r\n" + headers + "\r\n", kSource, line);
}

TEST(ReplyTextTest, CopiesWhatBelongsToTheRequest)
{
    const std::string answer =
        answerTo("Via: SIP/2.0/UDP 10.0.0.1:5062;branch=z9hG4bK1\r\nMax-Forwards: 70\r\nFrom: A <sip:a@x>;tag=f\r\n"
                 "To: \"B\" <sip:b@x>\r\nCall-ID: c@x\r\nCSeq: 7 OPTIONS\r\nContact: <sip:a@y>\r\n",
                 {404, "Not Found", "Allow: OPTIONS\r\n", "t1"});
    EXPECT_EQ(answer, "SIP/2.0 404 Not Found\r\n"
                      "Via: SIP/2.0/UDP 10.0.0.1:5062;branch=z9hG4bK1;received=192.0.2.7;rport=5062\r\n"
                      "From: A <sip:a@x>;tag=f\r\nTo: \"B\" <sip:b@x>;tag=t1\r\nCall-ID: c@x\r\nCSeq: 7 OPTIONS\r\n"
                      "Allow: OPTIONS\r\nContent-Length: 0\r\n\r\n");
}

TEST(ReplyTextTest, OwnReceivedAndRportOfTheFirstViaAreReplaced)
{
    const std::string answer =
        answerTo("v: SIP/2.0/UDP a;rport;received=1.1.1.1;Rport=9;branch=b;RECEIVED=2.2.2.2\r\n");
    EXPECT_NE(answer.find("\r\nVia: SIP/2.0/UDP a;branch=b;received=192.0.2.7;rport=5062\r\n"), std::string::npos)
        << answer;
}

TEST(ReplyTextTest, OtherViasStayAsTheyAre)
{
    const std::string answer = answerTo("Via: SIP/2.0/UDP a;x=\"1,2;rport\",SIP/2.0/TCP b;received=1.1.1.1;rport=4\r\n"
                                        "Via: SIP/2.0/TLS c;maddr=9.9.9.9;rport=3\r\n");
    EXPECT_NE(answer.find("\r\nVia: SIP/2.0/UDP a;x=\"1,2;rport\";received=192.0.2.7;rport=5062,"
                          "SIP/2.0/TCP b;received=1.1.1.1;rport=4\r\nVia: SIP/2.0/TLS c;maddr=9.9.9.9;rport=3\r\n"),
              std::string::npos)
        << answer;
}

TEST(ReplyTextTest, TagOfToIsKept)
{
    const std::string answer = answerTo("Via: SIP/2.0/UDP a\r\nt: <sip:b@x>;tag=old\r\n", {200, "OK", {}, {}});
    EXPECT_NE(answer.find("\r\nTo: <sip:b@x>;tag=old\r\n"), std::string::npos) << answer;
}

TEST(ReplyTextTest, FoldedLinesAndCompactNamesAreCopied)
{
    const std::string answer = answerTo("V : SIP/2.0/UDP a\r\n ;branch=b\r\nf:\r\n <sip:a@x>\r\n ;tag=1\r\nI:c\r\n");
    EXPECT_NE(answer.find("\r\nVia: SIP/2.0/UDP a;branch=b;received"), std::string::npos) << answer;
    EXPECT_NE(answer.find("\r\nFrom: <sip:a@x>\r\n ;tag=1\r\n"), std::string::npos) << answer;
    EXPECT_NE(answer.find("\r\nCall-ID: c\r\n"), std::string::npos) << answer;
}

TEST(ReplyTextTest, SecondHeadersOfOneKindAndTheBodyAreNotCopied)
{
    const std::string answer =
        answerTo("Via: SIP/2.0/UDP a\r\nCSeq: 1 A\r\nCSeq: 2 B\r\n\r\nVia: SIP/2.0/UDP body\r\n");
    EXPECT_NE(answer.find("CSeq: 1 A"), std::string::npos);
    EXPECT_EQ(answer.find("CSeq: 2 B"), std::string::npos);
    EXPECT_EQ(answer.find("body"), std::string::npos);
}

TEST(ReplyTextTest, RequestWithoutViaHasNoAnswer)
{
    EXPECT_EQ(answerTo("From: <sip:a@x>\r\n"), "");
    EXPECT_EQ(replyText("", kSource, {}), "");
    EXPECT_EQ(replyText("OPTIONS", kSource, {}), "");
}

} // namespace
