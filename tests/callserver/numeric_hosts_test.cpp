#include "sip/numeric_hosts.h"

#include <gtest/gtest.h>

#include <cstring>
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

} // namespace
