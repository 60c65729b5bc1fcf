#include "sip/numeric_hosts.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <sofia-sip/msg.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/su.h>
#include <sofia-sip/su_addrinfo.h>
#include <sofia-sip/su_wait.h>

namespace {

// The stack binds a host name when it can resolve it; "localhost" every machine can.
bool canBind(const char* url)
{
    su_init();
    su_root_t* root = su_root_create(nullptr);
    const auto ignore = [](nta_agent_magic_t*, nta_agent_t*, msg_t* message, sip_t*) {
        msg_destroy(message);
        return 0;
    };
    nta_agent_t* agent = nta_agent_create(root, reinterpret_cast<const url_string_t*>(url), ignore, nullptr, TAG_END());
    if (agent != nullptr)
        nta_agent_destroy(agent);
    su_root_destroy(root);
    return agent != nullptr;
}

TEST(NumericHosts, TheStackResolvesNoNames)
{
    EXPECT_TRUE(canBind("sip:127.0.0.1:*;transport=udp"));
    EXPECT_FALSE(canBind("sip:localhost:*;transport=udp"));
}

TEST(NumericHosts, LiteralsAreTakenAndNamesAreRefused)
{
    addrinfo* info = nullptr;
    ASSERT_EQ(resolveLiteral("::1", "5060", nullptr, &info), 0);
    EXPECT_EQ(info->ai_family, AF_INET6);
    freeaddrinfo(info);
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    ASSERT_EQ(resolveLiteral("127.0.0.1", "5060", &hints, &info), 0);
    EXPECT_EQ(info->ai_socktype, SOCK_DGRAM);
    freeaddrinfo(info);
    EXPECT_EQ(resolveLiteral("localhost", "5060", nullptr, &info), EAI_NONAME);
}

// As the stack asks for each packet that it sends.
TEST(NumericHosts, TheStackHearsOfAnAddressWhatTheCLibrarySays)
{
    su_addrinfo_t hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_protocol = IPPROTO_UDP;
    su_addrinfo_t* ours = nullptr;
    addrinfo* theirs = nullptr;
    ASSERT_EQ(su_getaddrinfo("192.0.2.1", "65535", &hints, &ours), 0);
    ASSERT_EQ(resolveLiteral("192.0.2.1", "65535", &hints, &theirs), 0);
    EXPECT_EQ(ours->ai_family, theirs->ai_family);
    EXPECT_EQ(ours->ai_socktype, theirs->ai_socktype);
    EXPECT_EQ(ours->ai_protocol, theirs->ai_protocol);
    ASSERT_EQ(ours->ai_addrlen, theirs->ai_addrlen);
    EXPECT_EQ(std::memcmp(ours->ai_addr, theirs->ai_addr, theirs->ai_addrlen), 0);
    EXPECT_EQ(ours->ai_next, nullptr);
    su_freeaddrinfo(ours);
    freeaddrinfo(theirs);
    for (const char* node : {"192.0.2.256", "localhost"})
        EXPECT_EQ(su_getaddrinfo(node, "5060", &hints, &ours), EAI_NONAME) << node;
    hints.ai_family = AF_INET6;
    EXPECT_NE(su_getaddrinfo("192.0.2.1", "5060", &hints, &ours), 0);
}

// Everything in this process that writes an address takes ours.
TEST(NumericHosts, AddressesAreWrittenAsTheCLibraryWritesThem)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    for (const uint32_t address : {0U, 0xffffffffU, 0x7f000001U, 0x01020304U, 0x0a0064ffU, 0xc0000209U}) {
        const in_addr value = {htonl(address)};
        std::array<char, NI_MAXHOST> expected{};
        sockaddr_in whole{};
        whole.sin_family = AF_INET;
        whole.sin_addr = value;
        ASSERT_EQ(getnameinfo(reinterpret_cast<const sockaddr*>(&whole), sizeof whole, expected.data(), expected.size(),
                              nullptr, 0, NI_NUMERICHOST),
                  0);
        text.fill('x');
        ASSERT_EQ(inet_ntop(AF_INET, &value, text.data(), text.size()), text.data());
        EXPECT_STREQ(text.data(), expected.data());
        const auto length = static_cast<socklen_t>(std::strlen(expected.data()));
        EXPECT_NE(inet_ntop(AF_INET, &value, text.data(), length + 1), nullptr);
        errno = 0;
        EXPECT_EQ(inet_ntop(AF_INET, &value, text.data(), length), nullptr) << "no room for the end";
        EXPECT_EQ(errno, ENOSPC);
    }
    const in6_addr v6 = IN6ADDR_LOOPBACK_INIT;
    EXPECT_STREQ(inet_ntop(AF_INET6, &v6, text.data(), text.size()), "::1");
    errno = 0;
    EXPECT_EQ(inet_ntop(AF_UNIX, &v6, text.data(), text.size()), nullptr);
    EXPECT_EQ(errno, EAFNOSUPPORT);
}

} // namespace
