// The session description in a body of several parts.
#include "calls/sdp_part.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kSdp = "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=-\r\n";
const std::string kText = "Content-Type: text/plain\r\n\r\nhello";

SipBody mixed(const std::string& data, const std::string& type = "multipart/mixed;boundary=x")
{
    return {type, {}, data};
}

std::string part(const std::string& headers, const std::string& data)
{
    return "--x\r\n" + headers + "\r\n\r\n" + data + "\r\n";
}

TEST(SdpPartTest, IsTheWholeOfAPlainBody)
{
    EXPECT_EQ(sdpOf({"application/sdp", {}, kSdp}), kSdp);
    EXPECT_EQ(sdpOf({"text/plain", {}, kSdp}), "");
    EXPECT_EQ(sdpOf({}), "");
}

TEST(SdpPartTest, IsFoundAtEachPlace)
{
    const std::string described = part("Content-Type: application/sdp", kSdp);
    const std::string text = "--x\r\n" + kText + "\r\n";
    for (const std::string& data : {described + "--x--\r\n", text + described + "--x--", described + text + "--x--",
                                    "before\r\n" + described + text + "--x--\r\nafter"}) {
        EXPECT_EQ(sdpOf(mixed(data)), kSdp) << data;
        EXPECT_EQ(sdpOf(mixed(data, "Multipart/Mixed ; charset=a; Boundary=\"x\"")), kSdp) << data;
        EXPECT_EQ(sdpOf(mixed(data, "multipart/mixed;boundary=y")), "") << data;
        EXPECT_EQ(sdpOf(mixed(data, "multipart/mixed")), "") << data;
    }
}

TEST(SdpPartTest, IsNoneWhereItDoesNotStandAsItIs)
{
    const std::string type = "Content-Type: application/sdp";
    EXPECT_EQ(sdpOf(mixed(part(type + "\r\nContent-Transfer-Encoding: base64", "dj0w") + "--x--")), "");
    EXPECT_EQ(sdpOf(mixed(part(type + "\r\nContent-Transfer-Encoding: binary", kSdp) + "--x--")), kSdp);
    EXPECT_EQ(sdpOf(mixed(part(type, kSdp))), ""); // it never ends
    EXPECT_EQ(sdpOf(mixed("--x--\r\n" + part(type, kSdp) + "--x--")), "");
    EXPECT_EQ(sdpOf(mixed("")), "");
    EXPECT_EQ(sdpOf(mixed("--x")), "");
    EXPECT_EQ(sdpOf(mixed("--x\r\n--x\r\n--x--")), "");
    EXPECT_EQ(sdpOf(mixed("\n--x")), "");
}

TEST(SdpPartTest, IsReplacedInItsPlace)
{
    const std::string before = "--x\r\n" + kText + "\r\n";
    const std::string data = before + part("Content-Type: application/sdp", kSdp) + "--x--\r\n";
    const SipBody changed = withSdp(mixed(data), "other");
    EXPECT_EQ(changed.data, before + part("Content-Type: application/sdp", "other") + "--x--\r\n");
    EXPECT_EQ(withSdp({"application/sdp", {}, kSdp}, "other").data, "other");
    EXPECT_EQ(withSdp(mixed("--x--"), "other").data, "--x--");
}

} // namespace
