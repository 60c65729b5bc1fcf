#include "sip/contact_uri.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Pair {
    const char* name;
    const char* a;
    const char* b;
    bool isSame;
};

std::ostream& operator<<(std::ostream& out, const Pair& pair)
{
    return out << pair.name;
}

class SameContactTest : public testing::TestWithParam<Pair> {};

TEST_P(SameContactTest, BothWays)
{
    const Pair& pair = GetParam();
    const ContactUri a = makeContactUri(pair.a);
    const ContactUri b = makeContactUri(pair.b);
    EXPECT_EQ(isSameContact(a, b), pair.isSame);
    EXPECT_EQ(isSameContact(b, a), pair.isSame);
}

// Most of them stand in RFC 3261 section 19.1.4.
INSTANTIATE_TEST_SUITE_P(
    Uris, SameContactTest,
    testing::ValuesIn(std::vector<Pair>{
        {"escapedUser", "sip:%61lice@atlanta.com;transport=TCP", "sip:alice@AtLanTa.CoM;Transport=tcp", true},
        {"extraOtherParam", "sip:carol@chicago.com", "sip:carol@chicago.com;newparam=5", true},
        {"paramsInAnyOrder", "sip:carol@chicago.com;a=1;b=2", "sip:carol@chicago.com;b=2;a=1", true},
        {"headersInAnyOrder", "sip:b@bx.com?to=alice&priority=urgent", "sip:b@bx.com?priority=urgent&to=alice", true},
        {"otherUserCase", "sip:ALICE@AtLanTa.CoM;Transport=udp", "sip:alice@AtLanTa.CoM;Transport=UDP", false},
        {"portGivenOnce", "sip:bob@biloxi.com", "sip:bob@biloxi.com:5060", false},
        {"transportGivenOnce", "sip:bob@biloxi.com", "sip:bob@biloxi.com;transport=udp", false},
        {"portAndTransport", "sip:bob@biloxi.com", "sip:bob@biloxi.com:6000;transport=tcp", false},
        {"headerGivenOnce", "sip:carol@chicago.com", "sip:carol@chicago.com?Subject=next%20meeting", false},
        {"otherHost", "sip:bob@phone21.boxesbybob.com", "sip:bob@192.0.2.4", false},
        {"otherParamDiffers", "sip:carol@chicago.com;security=on", "sip:carol@chicago.com;security=off", false},
        {"secureScheme", "sips:bob@biloxi.com", "sip:bob@biloxi.com", false},
        {"noUser", "sip:biloxi.com", "sip:bob@biloxi.com", false},
        {"lineOfTelephone", "sip:1000@192.0.2.1:5060;line=x1", "sip:1000@192.0.2.1:5060;line=x2", false},
    }),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ContactUri, KeepsTheTextAsItCame)
{
    EXPECT_EQ(makeContactUri("sip:%61lice@AtLanTa.CoM;Transport=TCP").text, "sip:%61lice@AtLanTa.CoM;Transport=TCP");
}

TEST(ContactUri, KnowsWhatIsNoSipUri)
{
    EXPECT_TRUE(makeContactUri("sip:1000@[2001:db8::1]:5070").isSip());
    EXPECT_FALSE(makeContactUri("tel:+15551234").isSip());
    EXPECT_FALSE(makeContactUri("http://example.org/").isSip());
    EXPECT_FALSE(makeContactUri("").isSip());
    EXPECT_FALSE(makeContactUri("sip:").isSip());
    const std::string longest = "sip:" + std::string(kMaxContactUri - 6, 'a') + "@h";
    EXPECT_TRUE(makeContactUri(longest).isSip());
    EXPECT_FALSE(makeContactUri(longest + "h").isSip());
    EXPECT_EQ(makeContactUri(longest + "h").text, longest + "h");
}

} // namespace
