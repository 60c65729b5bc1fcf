#include "sip/numeric_hosts.h"

#include <gtest/gtest.h>

#include <sofia-sip/msg.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/su.h>
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

} // namespace
