#include "sip/source_key.h"

#include "sip/numeric_hosts.h"

#include <gtest/gtest.h>

#include <netdb.h>

namespace {

sockaddr_storage addressOf(const char* literal)
{
    addrinfo* info = nullptr;
    sockaddr_storage result{};
    EXPECT_EQ(resolveLiteral(literal, "5060", nullptr, &info), 0);
    std::copy_n(reinterpret_cast<const char*>(info->ai_addr), info->ai_addrlen, reinterpret_cast<char*>(&result));
    freeaddrinfo(info);
    return result;
}

SourceKey keyOf(const char* literal)
{
    const sockaddr_storage address = addressOf(literal);
    return sourceKey(reinterpret_cast<const sockaddr&>(address));
}

TEST(SourceKeyTest, PacketsAndLiteralsOfOneAddressHaveOneKey)
{
    for (const char* literal : {"192.0.2.1", "127.0.0.1", "2001:db8::1", "::1"})
        EXPECT_EQ(keyOf(literal), sourceKey(std::string_view(literal))) << literal;
    EXPECT_NE(keyOf("192.0.2.1"), keyOf("192.0.2.2"));
}

TEST(SourceKeyTest, Ipv6NetworkOfOneCustomerIsOneSource)
{
    EXPECT_EQ(keyOf("2001:db8:1:2::1"), keyOf("2001:db8:1:2:ffff::9"));
    EXPECT_NE(keyOf("2001:db8:1:2::1"), keyOf("2001:db8:1:3::1"));
}

TEST(SourceKeyTest, NeighboursOnALinkAreSourcesOfTheirOwn)
{
    EXPECT_EQ(keyOf("fe80::1"), sourceKey(std::string_view("fe80::1%eth0")));
    EXPECT_NE(keyOf("fe80::1"), keyOf("fe80::2"));
}

TEST(SourceKeyTest, MappedAddressIsTheIpv4Address)
{
    EXPECT_EQ(keyOf("::ffff:192.0.2.1"), keyOf("192.0.2.1"));
    const sockaddr_storage mapped = addressOf("::ffff:192.0.2.1");
    const SipSource source = sourceOfAddress(reinterpret_cast<const sockaddr&>(mapped));
    EXPECT_EQ(source.address, "192.0.2.1");
    EXPECT_EQ(source.port, 5060);
}

TEST(SourceKeyTest, TextNamesWhatTheKeyStandsFor)
{
    EXPECT_EQ(sourceText(keyOf("192.0.2.1")), "192.0.2.1");
    EXPECT_EQ(sourceText(keyOf("2001:db8:1:2::9")), "2001:db8:1:2::/64");
    EXPECT_EQ(sourceText(keyOf("fe80::9")), "fe80::9");
}

TEST(SourceKeyTest, WhatIsNoAddressHasTheKeyOfNone)
{
    EXPECT_EQ(sourceKey(std::string_view("a.example")), SourceKey{});
    EXPECT_NE(sourceKey(std::string_view("0.0.0.0")), SourceKey{});
}

} // namespace
