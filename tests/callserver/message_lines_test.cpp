#include "sip/message_lines.h"

#include "sip/quoted_nuls.h"
#include "sip/sip_request.h"
#include "sip/via_source.h"
#include "support/torture_messages.h"

#include <gtest/gtest.h>

#include <memory>
#include <sofia-sip/msg.h>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/sip_header.h>
#include <string>

namespace {

struct MessageDeleter {
    void operator()(msg_t* message) const { msg_destroy(message); }
};
using Message = std::unique_ptr<msg_t, MessageDeleter>;

Message parsed(const std::string& bytes)
{
    return Message(msg_make(sourceBoundMessages(), 0, bytes.data(), static_cast<ssize_t>(bytes.size())));
}

// A whole request with this first line, CSeq and Via.
Message request(const std::string& line, const std::string& cseq, const std::string& via)
{
    return parsed(line + "\r\nVia: " + via +
                  "\r\nFrom: <sip:a@b>;tag=1\r\nTo: <sip:a@b>\r\nCall-ID: c\r\nCSeq: " + cseq + "\r\n\r\n");
}

std::vector<std::string> contactsOf(const std::string& name)
{
    const Message message = parsed(tortureMessage(TEST_DATA "/torture", name).bytes);
    std::vector<std::string> contacts;
    for (const RegisterContact& contact : registerRequest(message.get(), sip_object(message.get()), {}).contacts)
        contacts.push_back(contact.uri.text);
    return contacts;
}

TEST(MessageLines, ContactHasItsUriAsItStands)
{
    using Uris = std::vector<std::string>;
    EXPECT_EQ(contactsOf("cparam01"), Uris{"sip:+19725552222@gw1.example.net"});
    EXPECT_EQ(contactsOf("cparam02"), Uris{"sip:+19725552222@gw1.example.net;unknownparam"});
    EXPECT_EQ(contactsOf("regescrt"), Uris{"sip:user@example.com?Route=%3Csip:sip.example.com%3E"});
    EXPECT_EQ(contactsOf("escnull"), (Uris{"sip:%00@host5.example.com", "sip:%00%00@host5.example.com"}));
}

TEST(MessageLines, RequestLineIsReadLetterByLetter)
{
    const auto typeOf = [](const std::string& line) {
        const Message message = request(line, "1 OPTIONS", "SIP/2.0/UDP h");
        const sip_t* sip = sip_object(message.get());
        return sip->sip_request == nullptr ? int{url_any} : int{sip->sip_request->rq_url->url_type};
    };
    EXPECT_EQ(typeOf("OPTIONS sip:a@b SIP/2.0"), url_sip);
    EXPECT_EQ(typeOf("OPTIONS tel:1 sip/2.0"), url_tel);
    for (const char* wrong :
         {"OPTIONS  sip:a@b SIP/2.0", "OPTIONS sip:a@b  SIP/2.0", "OPTIONS sip:a@b SIP/2.0 ",
          "OPTIONS\tsip:a@b SIP/2.0", "OPTIONS sip:a b SIP/2.0", "OPTIONS <sip:a@b> SIP/2.0",
          "OPTIONS sip:2001:db8::1 SIP/2.0", "OPTIONS  SIP/2.0", "OPT(IONS sip:a@b SIP/2.0", "OPTIONS sip:@ SIP/2.0"})
        EXPECT_EQ(typeOf(wrong), url_invalid) << wrong;
    for (const char* other : {"OPTIONS sip:a@b", "OPTIONS SIP/2.0", "OPTIONS sip:a@b SIP", "OPTIONS sip:a@b SIP/2",
                              "OPTIONS sip:a@b SIP/.0", "OPTIONS sip:a@b SIP/2.x", "OPTIONS sip:a@b HTTP/1.1"})
        EXPECT_EQ(typeOf(other), url_any) << other;
}

TEST(MessageLines, OtherVersionsAreTold)
{
    const auto isOther = [](const std::string& version) {
        const Message message = request("OPTIONS sip:a@b " + version, "1 OPTIONS", "SIP/2.0/UDP h");
        return isOtherVersion(sip_object(message.get()));
    };
    EXPECT_FALSE(isOther("SIP/2.0"));
    EXPECT_FALSE(isOther("sip/2.0"));
    EXPECT_TRUE(isOther("SIP/3.0"));
    EXPECT_TRUE(isOther("SIP/2.00"));
    EXPECT_TRUE(isOther("SIP/20.0"));
}

TEST(MessageLines, MethodsHaveAllCharactersOfTokens)
{
    const std::string name = "A!z0-.%*_+`'~";
    const Message message = request(name + " sip:a@b SIP/2.0", "7 " + name, "SIP/2.0/UDP h");
    const sip_t* sip = sip_object(message.get());
    EXPECT_EQ(sip->sip_request->rq_method_name, name);
    EXPECT_EQ(sip->sip_request->rq_method, sip_method_unknown);
    ASSERT_NE(sip->sip_cseq, nullptr);
    EXPECT_EQ(sip->sip_cseq->cs_method_name, name);
    EXPECT_EQ(sip->sip_cseq->cs_seq, 7U);

    const auto cseqOf = [](const std::string& cseq) {
        const Message other = request("INFO sip:a@b SIP/2.0", cseq, "SIP/2.0/UDP h");
        const sip_cseq_t* header = sip_object(other.get())->sip_cseq;
        return header == nullptr ? sip_method_invalid : header->cs_method;
    };
    EXPECT_EQ(cseqOf("1 INFO"), sip_method_info);
    EXPECT_EQ(cseqOf("1 INFOX"), sip_method_unknown);
    for (const char* wrong : {"INFO", "1", "1 ", "-1 INFO", "1 IN FO", "1 IN@FO", "4294967296 INFO"})
        EXPECT_EQ(cseqOf(wrong), sip_method_invalid) << wrong;
}

TEST(MessageLines, BrokenViaStillNamesHostAndBranch)
{
    const auto viaOf = [](const std::string& text) {
        const Message message = request("OPTIONS sip:a@b SIP/2.0", "1 OPTIONS", text);
        const sip_t* sip = sip_object(message.get());
        const sip_via_t* via = sip->sip_via;
        if (via == nullptr)
            return std::string("none");
        const auto shown = [](const char* part) { return part == nullptr ? std::string("-") : std::string(part); };
        return std::string((sip->sip_flags & MSG_FLG_ERROR) != 0 ? "broken " : "") + via->v_host + " " +
               shown(via->v_port) + " " + shown(via->v_branch) + (via->v_next == nullptr ? "" : " more");
    };
    EXPECT_EQ(viaOf("SIP/2.0/UDP h:1;branch=b"), "h 1 b");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h:1;branch=b, SIP/2.0/TCP i"), "h 1 b more");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h;;,;,,"), "broken h - -");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h/x;branch=b"), "broken h - -");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h;branch=b@x"), "broken h - b");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h:1x;branch=b"), "broken h 1 -");
    EXPECT_EQ(viaOf("SIP/2.0/UDP [2001:db8::1]x"), "broken [2001:db8::1] - -");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h;branch=b (never closed"), "broken h - b");
    EXPECT_EQ(viaOf("SIP/2.0/UDP h;branch=b, ///"), "broken h - b");
    EXPECT_EQ(viaOf("SIP/2.0/UDP"), "none");
    EXPECT_EQ(viaOf("SIP/2.0/UDP ;branch=b"), "none");
}

TEST(MessageLines, NulsBehindBackslashesInTheHeaderBecomeBlanks)
{
    const auto blanked = [](std::string packet) {
        blankQuotedNuls(packet.data(), packet.size());
        return packet;
    };
    using namespace std::string_literals;
    EXPECT_EQ(blanked("a\\\0b"s), "a\\ b"s);
    EXPECT_EQ(blanked("a\0b"s), "a\0b"s);
    EXPECT_EQ(blanked("a\\\\\0b"s), "a\\\\\0b"s) << "the backslash is escaped itself";
    EXPECT_EQ(blanked("\\\0\r\n\r\n\\\0"s), "\\ \r\n\r\n\\\0"s) << "a body stays as it is";
    EXPECT_EQ(blanked(""s), ""s);
}

} // namespace
