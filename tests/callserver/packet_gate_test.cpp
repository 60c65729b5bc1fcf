#include "sip/packet_gate.h"
#include "sip/packet_text.h"

#include "callserver/fake_clock.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

const std::string kRegister = "REGISTER sip:a.example SIP/2.0\r\nVia: SIP/2.0/UDP b\r\n\r\n";
const std::string kWithCredentials = "REGISTER sip:a.example SIP/2.0\r\nauthorization: Digest x=y\r\n\r\n";

class PacketGateTest : public testing::Test {
protected:
    PacketGateTest()
    {
        gVarSipChallengeRate = 2;
        setList({});
    }

    static constexpr unsigned kDeny = 0;
    static constexpr unsigned kAllow = 1;
    // Takes the place of the one before.
    void setList(const std::vector<std::pair<const char*, unsigned>>& entries)
    {
        Snapshot<Cdb_ip_bwlist>::Builder builder(nullptr);
        for (const auto& [address, action] : entries) {
            Cdb_ip_bwlist record;
            record.action = action;
            BclCopyStr(record.ipAddr, address);
            builder.set(address, record);
        }
        lists.put(std::make_shared<const IpList>(*builder.finish()));
    }

    bool admits(const std::string& packet, const char* address = "192.0.2.1", uint16_t port = 5060)
    {
        sockaddr_in source{};
        source.sin_family = AF_INET;
        source.sin_port = htons(port);
        inet_pton(AF_INET, address, &source.sin_addr);
        return gate.admits(reinterpret_cast<const sockaddr&>(source), packet);
    }
    bool admitsIpv6(const std::string& packet, const char* address)
    {
        sockaddr_in6 source{};
        source.sin6_family = AF_INET6;
        source.sin6_port = htons(5060);
        inet_pton(AF_INET6, address, &source.sin6_addr);
        return gate.admits(reinterpret_cast<const sockaddr&>(source), packet);
    }
    void silence(std::string_view address)
    {
        for (size_t i = 0; i < SourceGuard::kMaxFailures; ++i)
            guard.noteFailure(sourceKey(address), clock.steadyMs());
    }

    struct OneCall final : CallIndex {
        [[nodiscard]] bool has(std::string_view callId, const SourceKey& source) const override
        {
            return callId == "known@a.example" && source == sourceKey(std::string_view("192.0.2.1"));
        }
    };

    FakeClock clock;
    SnapshotBox<IpList> lists;
    SnapshotReader<IpList> newestList{lists};
    SourceGuard guard;
    OneCall calls;
    PacketGate gate{newestList, guard, clock, calls};
};

TEST_F(PacketGateTest, WhatIsNoSipIsDropped)
{
    for (const std::string& packet :
         {std::string("\r\n\r\n"), std::string("\0\0\0\0", 4), std::string("x"), std::string("GET / HTTP/1.1\r\n\r\n"),
          std::string("no line end SIP/2.0"), std::string("a\nREGISTER sip:a SIP/2.0\r\n\r\n")})
        EXPECT_FALSE(isParsable(packet)) << packet;
    for (const std::string& packet : {kRegister, "\r\n\r\n" + kRegister, std::string("SIP/2.0 200 OK\r\n\r\n"),
                                      std::string("OPTIONS sip:a SIP/7.0\n\n")})
        EXPECT_TRUE(isParsable(packet)) << packet;
}

TEST_F(PacketGateTest, ABareCarriageReturnIsFoundWhereverItStands)
{
    const std::string start = "OPTIONS sip:a SIP/2.0\r\na: ";
    for (size_t before = 0; before < 600; ++before) {
        const std::string header = start + std::string(before, 'b');
        EXPECT_FALSE(isParsable(header + "\rc\r\n\r\n")) << before;
        EXPECT_TRUE(isParsable(header + "\r\nc: d\r\n\r\n")) << before;
    }
}

TEST_F(PacketGateTest, HeaderThatWouldHoldTheParserIsDropped)
{
    std::string lines = "OPTIONS sip:a SIP/2.0\r\n";
    for (int i = 1; i < 256; ++i)
        lines += "a:b\r\n";
    EXPECT_TRUE(isParsable(lines + "\r\n" + std::string(30'000, '\n'))) << "a body is not parsed";
    EXPECT_FALSE(isParsable(lines + "a:b\r\n\r\n"));
    EXPECT_TRUE(isParsable("OPTIONS sip:a SIP/2.0\r\nX: " + std::string(16'000, 'x') + "\r\n\r\n"));
    EXPECT_FALSE(isParsable("OPTIONS sip:a SIP/2.0\r\nX: " + std::string(17'000, 'x') + "\r\nY: z\r\n\r\n"));
    EXPECT_FALSE(isParsable("OPTIONS sip:a SIP/2.0\r\nX: " + std::string(17'000, 'x')));
}

TEST_F(PacketGateTest, WhatTheStackWouldReadOtherwiseIsDropped)
{
    for (const char first : {'\0', '\1', ' ', '\x7f', '\xf8', '\xff'})
        EXPECT_FALSE(isParsable(first + kRegister)) << int{first};
    EXPECT_FALSE(isParsable("OPTIONS sip:a SIP/2.0\r\nX: y\rZ: w\r\n\r\n"));
    EXPECT_FALSE(isParsable("OPTIONS sip:a SIP/2.0\r\n X: y\r\n\r\n"));
    EXPECT_TRUE(isParsable("OPTIONS sip:a SIP/2.0\r\nX: y\r\n z\r\n\r\nbody\rbody"));
    std::string list = "OPTIONS sip:a SIP/2.0\r\nAllow: a";
    for (int i = 0; i < 1000; ++i)
        list += ",a";
    EXPECT_TRUE(isParsable(list + "\r\n\r\n"));
    EXPECT_FALSE(isParsable(list + ";a\r\n\r\n"));
}

TEST_F(PacketGateTest, WhatBelongsToACallIsNotCounted)
{
    const std::string known = "BYE sip:a SIP/2.0\r\nVia: x\r\ni : known@a.example \r\n\r\n";
    const std::string other =
        "BYE sip:a SIP/2.0\r\nVia: x\r\nCall-ID: other@a.example\r\n\r\nCall-ID: known@a.example\r\n";
    EXPECT_EQ(callIdOf(known), "known@a.example");
    EXPECT_EQ(callIdOf(other), "other@a.example");
    EXPECT_EQ(callIdOf("BYE sip:a SIP/2.0\r\nCall-IDs: x\r\n\r\n"), "");
    unsigned admitted = 0;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(admits(known));
        admitted += admits(other) ? 1U : 0U;
    }
    EXPECT_LT(admitted, 100U);
}

TEST_F(PacketGateTest, NobodyElseMaySpeakOfACallWithoutLimit)
{
    const std::string known = "BYE sip:a SIP/2.0\r\nCall-ID: known@a.example\r\n\r\n";
    unsigned admitted = 0;
    for (int i = 0; i < 100; ++i)
        admitted += admits(known, "192.0.2.2") ? 1U : 0U;
    EXPECT_GT(admitted, 0U) << "a telephone that moved";
    EXPECT_LT(admitted, 100U);
}

TEST_F(PacketGateTest, PortZeroIsNobody)
{
    EXPECT_FALSE(admits(kWithCredentials, "192.0.2.1", 0));
}

TEST_F(PacketGateTest, ConfirmationsOfNothingAreDropped)
{
    EXPECT_FALSE(admits("ACK sip:a SIP/2.0\r\nCall-ID: other@a.example\r\n\r\n"));
    EXPECT_TRUE(admits("ACK sip:a SIP/2.0\r\nCall-ID: known@a.example\r\n\r\n"));
    EXPECT_TRUE(admits(kRegister)) << "and they do not count";
}

TEST_F(PacketGateTest, CredentialsAreSeenInTheHeaderOnly)
{
    EXPECT_TRUE(lacksCredentials(kRegister));
    EXPECT_TRUE(lacksCredentials(kRegister + "Authorization: Digest x=y\r\n"));
    EXPECT_FALSE(lacksCredentials(kWithCredentials));
    EXPECT_FALSE(lacksCredentials("REGISTER sip:a SIP/2.0\r\nVia: x\r\nAuthorization \t: Digest x=y\r\n\r\n"));
    for (const char* other : {"OPTIONS sip:a SIP/2.0\r\nAuthorization: x\r\n\r\n",
                              "BYE sip:a SIP/2.0\r\nProxy-Authorization: Digest x=y\r\n\r\n",
                              "REGISTER sip:a SIP/2.0\r\nProxy-Authorization: Digest x=y\r\n\r\n",
                              "REGISTER sip:a SIP/2.0\r\nAuthorizationfoo: x\r\n\r\n",
                              "REGISTER sip:a SIP/2.0\r\nX-Authorization: x\r\n\r\n"})
        EXPECT_TRUE(lacksCredentials(other)) << other;
    for (const char* call : {"INVITE sip:a SIP/2.0\r\nProxy-Authorization: Digest x=y\r\n\r\n",
                             "MESSAGE sip:a SIP/2.0\r\nVia: x\r\nauthorization: Digest x=y\r\n\r\n"})
        EXPECT_FALSE(lacksCredentials(call)) << call;
    EXPECT_FALSE(lacksCredentials("SIP/2.0 200 OK\r\nVia: x\r\n\r\n")) << "answers have none";
}

TEST_F(PacketGateTest, RequestsWithoutCredentialsAboveTheRateAreDropped)
{
    size_t admitted = 0;
    for (int i = 0; i < 100; ++i)
        admitted += admits(kRegister) ? 1 : 0;
    EXPECT_EQ(admitted, 20U) << "two a second, ten seconds' worth at once";
    EXPECT_TRUE(admits(kWithCredentials));
    EXPECT_TRUE(admits(kRegister, "192.0.2.2")) << "another source";
    clock.passMs(1000);
    EXPECT_TRUE(admits(kRegister));
    EXPECT_TRUE(admits(kRegister));
    EXPECT_FALSE(admits(kRegister));
}

TEST_F(PacketGateTest, NothingOfASilencedSourceIsAdmitted)
{
    silence("192.0.2.1");
    EXPECT_FALSE(admits(kWithCredentials));
    EXPECT_FALSE(admits(kRegister));
    EXPECT_TRUE(admits(kRegister, "192.0.2.2"));
    clock.passMs(SourceGuard::kSilenceMs);
    EXPECT_TRUE(admits(kWithCredentials));
}

TEST_F(PacketGateTest, NothingOfADeniedAddressIsAdmitted)
{
    setList({{"192.0.2.0/24", kDeny}, {"2001:db8:1:2::1", kDeny}});
    for (const std::string& packet : {kRegister, kWithCredentials, std::string("SIP/2.0 200 OK\r\n\r\n"),
                                      std::string("BYE sip:a SIP/2.0\r\nCall-ID: known@a.example\r\n\r\n"),
                                      std::string("INVITE sip:a SIP/2.0\r\nProxy-Authorization: Digest x=y\r\n\r\n")}) {
        EXPECT_FALSE(admits(packet)) << packet;
        EXPECT_FALSE(admitsIpv6(packet, "::ffff:192.0.2.7")) << packet;
        EXPECT_FALSE(admitsIpv6(packet, "2001:db8:1:2::1")) << packet;
    }
    EXPECT_TRUE(admits(kRegister, "192.0.3.0"));
    EXPECT_TRUE(admitsIpv6(kRegister, "2001:db8:1:2::2")) << "its neighbour";
}

TEST_F(PacketGateTest, ListHoldsForTheNextPacket)
{
    EXPECT_TRUE(admits(kWithCredentials));
    setList({{"192.0.2.1", kDeny}});
    EXPECT_FALSE(admits(kWithCredentials));
    setList({{"192.0.2.1", kDeny}, {"192.0.2.0/24", kAllow}});
    EXPECT_FALSE(admits(kWithCredentials));
    EXPECT_TRUE(admits(kWithCredentials, "192.0.2.2"));
    setList({});
    EXPECT_TRUE(admits(kWithCredentials));
}

TEST_F(PacketGateTest, AllowedAddressIsNeverSilenced)
{
    setList({{"192.0.2.1", kAllow}, {"2001:db8:1:2::1", kAllow}});
    silence("192.0.2.1");
    silence("2001:db8:1:2::9");
    EXPECT_TRUE(admits(kWithCredentials));
    EXPECT_TRUE(admitsIpv6(kWithCredentials, "2001:db8:1:2::1")) << "whatever its neighbours do";
    EXPECT_FALSE(admitsIpv6(kWithCredentials, "2001:db8:1:2::9"));
    setList({});
    EXPECT_FALSE(admits(kWithCredentials));
}

TEST_F(PacketGateTest, AllowedAddressHasNoRate)
{
    setList({{"192.0.2.1", kAllow}});
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(admits(kRegister)) << i;
    EXPECT_FALSE(admits("ACK sip:a SIP/2.0\r\nCall-ID: other@a.example\r\n\r\n")) << "confirms nothing";
    setList({});
    size_t admitted = 0;
    for (int i = 0; i < 100; ++i)
        admitted += admits(kRegister) ? 1 : 0;
    EXPECT_EQ(admitted, 20U) << "as if it had said nothing before";
}

TEST_F(PacketGateTest, WhatIsNoSipIsDroppedFromAnAllowedAddressToo)
{
    setList({{"192.0.2.1", kAllow}});
    EXPECT_FALSE(admits("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(admits(kWithCredentials, "192.0.2.1", 0));
}

} // namespace
