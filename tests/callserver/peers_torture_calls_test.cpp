// The torture messages of RFC 4475 within a call: each is answered as it should, and the call goes on.
#include "callserver/two_telephones.h"

#include <utility>
#include <vector>

namespace {

struct TortureRequest {
    const char* section; // of RFC 4475
    // Its line and headers; @ names stand for the parts of the dialog.
    std::string text;
    int status = 0; // 0: it goes to the other side
    std::string body{};
};

const std::string kUsual = "Via: @VIA@\r\nFrom: @FROM@\r\nTo: @TO@\r\nCall-ID: @CALLID@\r\n";
const std::string kEnd = "CSeq: @CSEQ@\r\nMax-Forwards: 70\r\n";

std::string request(const std::string& method, const std::string& headers = {})
{
    return method + " @URI@ SIP/2.0\r\n" + kUsual + kEnd + headers;
}

// The text once more and once more, with a number behind it.
std::string many(const std::string& text, int count)
{
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text + std::to_string(i) + "\r\n";
    return all;
}

const std::string kTortuous =
    "INVITE @URI@;unknownparam SIP/2.0\r\nTO :\r\n <sip:2002@127.0.0.1> ;   tag    = @TOTAG@\r\n"
    "from   : \"J Rosenberg \\\\\\\"\"       <sip:2001@127.0.0.1>\r\n  ;\r\n  tag = @FROMTAG@\r\n"
    "MaX-fOrWaRdS: 0068\r\nCall-ID: @CALLID@\r\ncseq: 00@NUMBER@\r\n  INVITE\r\n"
    "Via  : SIP  /   2.0\r\n /UDP\r\n    @SOURCE@;rport;branch=z9hG4bK-@NUMBER@\r\ns :\r\n"
    "NewFangledHeader:   newfangled value\r\n continued newfangled value\r\n"
    "UnknownHeaderWithUnusualValue: ;;,,;;,;\r\nContent-Type: application/sdp\r\n"
    "Route:\r\n <sip:services.example.com;lr;unknownwith=value;unknown-no-value>\r\n"
    "v:  SIP  / 2.0  / TCP     spindle.example.com   ;\r\n  branch  =   z9hG4bK9ikj8  ,\r\n"
    " SIP  /    2.0   / UDP  192.168.255.111   ; branch=\r\n z9hG4bK30239\r\n"
    "m:\"Quoted string \\\"\\\"\" <@CONTACT@> ; newparam =\r\n      newvalue ;\r\n  secondparam ; q = 0.33\r\n";

const std::string kParts = std::string("--7a9cbec02ceef655\r\nContent-Type: text/plain\r\n\r\nHello\r\n"
                                       "--7a9cbec02ceef655\r\nContent-Type: application/octet-stream\r\n\r\n") +
                           std::string("\x30\x82\x00\x01\xff\xfe", 6) + "\r\n--7a9cbec02ceef655--\r\n";

std::vector<TortureRequest> requests()
{
    const std::string offer = CallPhone::kOffer;
    const std::string isSdp = "Contact: <@CONTACT@>\r\nContent-Type: application/sdp\r\n";
    return {
        {"3.1.1.1", kTortuous, 0, offer},
        {"3.1.1.2", request("!interesting-Method0123456789_*+`.%indeed'~"), 501},
        {"3.1.1.3", "OPTIONS sip:sips%3Auser%40example.com@127.0.0.1 SIP/2.0\r\n" + kUsual + kEnd, 200},
        {"3.1.1.5", request("RE%47IST%45R"), 501},
        {"3.1.1.6",
         "OPTIONS @URI@ SIP/2.0\r\nVia: @VIA@\r\nFrom: caller<sip:2001@127.0.0.1>;tag=@FROMTAG@\r\n"
         "To: @TO@\r\nCall-ID: @CALLID@\r\n" +
             kEnd,
         200},
        {"3.1.1.7", request("INFO", many("Via: SIP/2.0/TCP sip33.example.com;branch=z9hG4bK", 33) +
                                        many("Unknown-" + std::string(100, 'L') + ": " + std::string(500, 'v'), 10))},
        {"3.1.1.8", request("INFO") + "Content-Length: 0\r\n\r\nINFO sip:2002@127.0.0.1 SIP/2.0\r\nTo: nobody\r\n\r\n"},
        {"3.1.1.9", "OPTIONS sip:user;par=u%40example.net@127.0.0.1 SIP/2.0\r\n" + kUsual + kEnd, 200},
        {"3.1.1.10",
         request("OPTIONS", "Via: SIP/2.0/SCTP t2.example.com;branch=z9hG4bKklasjdhf\r\n"
                            "Via: SIP/2.0/UNKNOWN t4.example.com;branch=z9hG4bKkajshdf\r\n"),
         200},
        {"3.1.1.11", request("MESSAGE", "Content-Type: multipart/mixed;boundary=7a9cbec02ceef655\r\n"), 0, kParts},
        {"3.1.2.1", request("INVITE", "Contact: \"Joe\" <@CONTACT@>;;,;,,\r\n"), 400},
        {"3.1.2.2", request("INFO", "Content-Type: text/plain\r\nContent-Length: 9999\r\n") + "\r\nshort", 400},
        {"3.1.2.3", request("INFO") + "Content-Length: -999\r\n\r\n", 400},
        {"3.1.2.4", "INFO @URI@ SIP/2.0\r\n" + kUsual + "CSeq: 36893488147419103232 INFO\r\n", 400},
        {"3.1.2.6",
         "INFO @URI@ SIP/2.0\r\nVia: @VIA@\r\nFrom: @FROM@\r\nTo: \"Mr. J. User <sip:2002@127.0.0.1>;tag=@TOTAG@\r\n"
         "Call-ID: @CALLID@\r\n" +
             kEnd,
         400},
        {"3.1.2.7", "INFO <@URI@> SIP/2.0\r\n" + kUsual + kEnd, 400},
        {"3.1.2.8", "INFO @URI@; lr SIP/2.0\r\n" + kUsual + kEnd, 400},
        {"3.1.2.9", "INFO  @URI@  SIP/2.0\r\n" + kUsual + kEnd, 400},
        {"3.1.2.10", "INFO @URI@ SIP/2.0  \r\n" + kUsual + kEnd, 400},
        {"3.1.2.11", "INFO @URI@?Route=%3Csip:example.com%3E SIP/2.0\r\n" + kUsual + kEnd, 400},
        {"3.1.2.12", request("INFO", "Date: Fri, 01 Jan 2010 16:00:00 EST\r\n")},
        {"3.1.2.16", "INFO @URI@ SIP/7.0\r\n" + kUsual + kEnd, 505},
        {"3.1.2.17", "OPTIONS @URI@ SIP/2.0\r\n" + kUsual + "CSeq: @NUMBER@ INVITE\r\n", 400},
        {"3.1.2.18", "NEWMETHOD @URI@ SIP/2.0\r\n" + kUsual + "CSeq: @NUMBER@ INVITE\r\n", 400},
        {"3.3.1", "INFO @URI@ SIP/2.0\r\nVia: @VIA@\r\nCSeq: @CSEQ@\r\n", 400},
        {"3.3.2", "INFO nobodyKnowsThisScheme:totallyopaquecontent SIP/2.0\r\n" + kUsual + kEnd, 416},
        {"3.3.5", request("INFO", "Require: nothingSupportsThis, nothingSupportsThisEither\r\n"), 420},
        {"3.3.6", request("INFO", "Content-Type: application/unknownformat\r\n"), 0, "<audio> <pcmu port=\"443\"/>"},
        {"3.3.8", request("BYE", "CSeq: 1 BYE\r\nFrom: <sip:other@example.com>;tag=23\r\nTo: <sip:x@example.com>\r\n"),
         400},
        {"3.3.9", request("BYE", "Content-Length: 13\r\nContent-Length: 5\r\n"), 400},
        {"3.3.11", "INFO @URI@ SIP/2.0\r\n" + kUsual + "CSeq: @CSEQ@\r\nMax-Forwards: 0\r\n"},
        {"3.3.15", request("INVITE", isSdp + "Accept: text/nobodyKnowsThis\r\n"), 0, offer},
    };
}

class TortureCallsTest : public TwoTelephones {
protected:
    void begin()
    {
        startTelephones();
        caller->invite("2002");
        const PhoneMessage invite = called->expect("INVITE");
        called->answer(invite, 200, CallPhone::kAnswer);
        called->expect("ACK");
        success = caller->expect("200");
        caller->ack(success);
        EXPECT_TRUE(events.waitForPart("call 1 answer"));
    }

    static std::string tagOf(const std::string& party) { return party.substr(party.find(";tag=") + 5); }

    // The request with the parts of the caller's dialog.
    std::string within(std::string text, const std::string& body)
    {
        const std::string number = std::to_string(++cseq);
        const std::string method = text.substr(0, text.find(' '));
        const std::string at = "127.0.0.1:" + std::to_string(caller->port());
        const std::string contact = caller->contact().substr(1, caller->contact().find('>') - 1);
        for (const auto& [name, value] :
             {std::pair<std::string, std::string>("@URI@", "sip:2002@127.0.0.1:" + std::to_string(port)),
              {"@VIA@", "SIP/2.0/UDP " + at + ";rport;branch=z9hG4bK-" + number},
              {"@FROM@", success.header("From")},
              {"@TO@", success.header("To")},
              {"@FROMTAG@", tagOf(success.header("From"))},
              {"@TOTAG@", tagOf(success.header("To"))},
              {"@CALLID@", success.header("Call-ID")},
              {"@CSEQ@", number + " " + method},
              {"@NUMBER@", number},
              {"@SOURCE@", at},
              {"@CONTACT@", contact}})
            for (size_t found = text.find(name); found != std::string::npos; found = text.find(name, found))
                text.replace(found, name.size(), value);
        if (text.find("\r\n\r\n") == std::string::npos)
            text += (text.find("Content-Length:") == std::string::npos
                         ? "Content-Length: " + std::to_string(body.size()) + "\r\n"
                         : std::string()) +
                    "\r\n" + body;
        return text;
    }

    void expectPassed(const TortureRequest& sent)
    {
        const std::string method = sent.text.substr(0, sent.text.find(' '));
        const PhoneMessage passed = called->expect(method);
        EXPECT_EQ(passed.body(), sent.body);
        called->answer(passed, 200, method == "INVITE" ? CallPhone::kAnswer : "");
        if (method == "INVITE")
            called->expect("ACK");
        const PhoneMessage answer = caller->expect("200");
        EXPECT_EQ(answer.header("CSeq"), std::to_string(cseq) + " " + method);
        if (method == "INVITE")
            caller->sendText(
                within("ACK @URI@ SIP/2.0\r\n" + kUsual + "CSeq: " + std::to_string(cseq) + " ACK\r\n", ""));
    }

    // A signal gets from end to end.
    void expectAlive()
    {
        caller->sendText(within(request("INFO"), ""));
        expectPassed({"", "INFO ", 0});
    }

    PhoneMessage success;
    int cseq = 100;
};

TEST_F(TortureCallsTest, RequestsAreAnsweredAndTheCallGoesOn)
{
    begin();
    for (const TortureRequest& sent : requests()) {
        SCOPED_TRACE(sent.section);
        caller->sendText(within(sent.text, sent.body));
        if (sent.status == 0)
            expectPassed(sent);
        else
            caller->expect(std::to_string(sent.status));
        if (HasFailure())
            return;
        expectAlive();
    }
    caller->sendText(within(request("BYE"), ""));
    caller->expect("200");
    called->answer(called->expect("BYE"), 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
}

// RFC 4475 sections 3.1.1.12, 3.1.1.13, 3.1.2.5, 3.1.2.19 and 3.3.10
TEST_F(TortureCallsTest, AnswersArePassedOrNone)
{
    begin();
    const std::string strange = "= 2**3 * 5**2 \xd0\xbd\xd0\xbe \xd1\x81\xd1\x82\xd0\xbe";
    for (const std::string& line : {"200 " + strange, std::string("200 ")}) {
        caller->sendText(within(request("INFO"), ""));
        const PhoneMessage passed = called->expect("INFO");
        const auto answerWith = [&](const std::string& status, const std::string& via, const std::string& number) {
            called->sendText("SIP/2.0 " + status + "\r\nVia: " + via + "\r\nFrom: " + passed.header("From") +
                             "\r\nTo: " + passed.header("To") + "\r\nCall-ID: " + passed.header("Call-ID") +
                             "\r\nCSeq: " + number + " INFO\r\nContent-Length: 0\r\n\r\n");
        };
        const std::string number = std::to_string(std::stoi(passed.header("CSeq")));
        answerWith("4294967301 better not break the receiver", passed.header("Via"), number);
        answerWith("200 OK", passed.header("Via"), "9292394834772304023312");
        answerWith("200 OK", "SIP/2.0/UDP 255.255.255.255;branch=z9hG4bKnobody", number);
        EXPECT_TRUE(caller->hearsNothing(100));
        answerWith(line, passed.header("Via"), number);
        const PhoneMessage answer = caller->expect("200");
        if (line != "200 ") {
            EXPECT_TRUE(answer.has(strange)) << answer.text;
        }
    }
    expectAlive();
}

} // namespace
