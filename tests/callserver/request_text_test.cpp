#include "sip/request_text.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kVia = "SIP/2.0/UDP 127.0.0.1:5060;branch=z9hG4bKa;rport";

CallRequestOut ack()
{
    CallRequestOut request;
    request.method = "ACK";
    request.uri = "sip:2002@192.0.2.2:5060";
    request.from = "\"A\" <sip:2001@127.0.0.1>;tag=a";
    request.to = "<sip:2002@127.0.0.1>;tag=b";
    request.callId = "1";
    request.cseq = 7;
    return request;
}

TEST(RequestText, HoldsWhatTheRequestSays)
{
    EXPECT_EQ(requestText(ack(), kVia, {}),
              "ACK sip:2002@192.0.2.2:5060 SIP/2.0\r\n"
              "Via: SIP/2.0/UDP 127.0.0.1:5060;branch=z9hG4bKa;rport\r\n"
              "Max-Forwards: 70\r\n"
              "From: \"A\" <sip:2001@127.0.0.1>;tag=a\r\n"
              "To: <sip:2002@127.0.0.1>;tag=b\r\n"
              "Call-ID: 1\r\n"
              "CSeq: 7 ACK\r\n"
              "Content-Length: 0\r\n"
              "\r\n");
}

TEST(RequestText, RoutesContactHeadersAndBodyStandInTheirPlaces)
{
    CallRequestOut request = ack();
    request.routes = {"<sip:a.example;lr>", "<sip:b.example;lr>"};
    request.headers = "Subject: x\r\n";
    request.body = {"application/sdp", "Content-Disposition: session\r\n", "v=0\r\n"};
    EXPECT_EQ(requestText(request, kVia, "<sip:x@127.0.0.1>"),
              "ACK sip:2002@192.0.2.2:5060 SIP/2.0\r\n"
              "Via: SIP/2.0/UDP 127.0.0.1:5060;branch=z9hG4bKa;rport\r\n"
              "Route: <sip:a.example;lr>\r\n"
              "Route: <sip:b.example;lr>\r\n"
              "Max-Forwards: 70\r\n"
              "From: \"A\" <sip:2001@127.0.0.1>;tag=a\r\n"
              "To: <sip:2002@127.0.0.1>;tag=b\r\n"
              "Call-ID: 1\r\n"
              "CSeq: 7 ACK\r\n"
              "Contact: <sip:x@127.0.0.1>\r\n"
              "Subject: x\r\n"
              "Content-Type: application/sdp\r\n"
              "Content-Disposition: session\r\n"
              "Content-Length: 5\r\n"
              "\r\n"
              "v=0\r\n");
}

TEST(RequestText, NoValueBeginsAnotherHeader)
{
    for (std::string CallRequestOut::*value :
         {&CallRequestOut::uri, &CallRequestOut::from, &CallRequestOut::to, &CallRequestOut::callId})
        for (const char* end : {"\r\nX: y", "\nX: y", "\rX: y"}) {
            CallRequestOut request = ack();
            request.*value += end;
            EXPECT_EQ(requestText(request, kVia, {}), "") << request.*value;
        }
    CallRequestOut request = ack();
    request.routes = {"<sip:a.example;lr>\r\nX: y"};
    EXPECT_EQ(requestText(request, kVia, {}), "");
    EXPECT_EQ(requestText(ack(), kVia, "<sip:x>\r\nX: y"), "");
}

} // namespace
