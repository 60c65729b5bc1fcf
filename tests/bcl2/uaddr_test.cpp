#include "bcl2/uaddr.h"

#include <gtest/gtest.h>

TEST(Uaddr, showsAddressAndPort)
{
    Cbcl_uaddr address;
    EXPECT_STREQ(address.getURLStr(), "");
    address.setAddress("192.0.2.7", 5060);
    EXPECT_STREQ(address.getURLStr(), "192.0.2.7:5060");
    EXPECT_STREQ(address.getAddress(), "192.0.2.7");
    EXPECT_EQ(address.getPort(), 5060);
    address.setAddress("sip.example.test", 65535);
    EXPECT_STREQ(address.getURLStr(), "sip.example.test:65535");
}

TEST(Uaddr, putsIpv6InBrackets)
{
    Cbcl_uaddr address;
    address.setAddress("::1", 5060);
    EXPECT_STREQ(address.getURLStr(), "[::1]:5060");
    EXPECT_STREQ(address.getAddress(), "::1");
    address.setAddress("fe80::1%eth0", 5060);
    EXPECT_STREQ(address.getURLStr(), "[fe80::1%eth0]:5060");
    address.setAddress("[::1]", 5060);
    EXPECT_STREQ(address.getURLStr(), "[::1]:5060");
}

TEST(Uaddr, hasNoAddressWithoutTextOrPort)
{
    for (const char* blank : {static_cast<const char*>(nullptr), "", " ", "\t\r\n"}) {
        Cbcl_uaddr address;
        address.setAddress("192.0.2.7", 5060);
        address.setAddress(blank, 5060);
        EXPECT_STREQ(address.getURLStr(), "");
        EXPECT_STREQ(address.getAddress(), "");
        EXPECT_EQ(address.getPort(), 0);
    }
    Cbcl_uaddr address;
    address.setAddress("192.0.2.7", 0);
    EXPECT_STREQ(address.getURLStr(), "");
    EXPECT_STREQ(address.getAddress(), "");
}

TEST(Uaddr, takesItsOwnText)
{
    Cbcl_uaddr address;
    address.setAddress("a-host-name-that-is-longer-than-any-small-text.example.test", 5060);
    address.setAddress(address.getAddress(), 5061);
    EXPECT_STREQ(address.getURLStr(), "a-host-name-that-is-longer-than-any-small-text.example.test:5061");
}

TEST(IpFormat, takesLiterals)
{
    for (const char* good : {"0.0.0.0", "1.2.3.4", "255.255.255.255", "::", "::1", "1::", "2001:db8::1", "2001:DB8::aF",
                             "1:2:3:4:5:6:7:8", "::ffff:1.2.3.4", "1:2:3:4:5:6:1.2.3.4"})
        EXPECT_EQ(BclIsIPFormat(good), 1u) << good;
}

TEST(IpFormat, refusesEverythingElse)
{
    for (const char* bad : {"",
                            " ",
                            "1",
                            "1.2.3",
                            "1.2.3.",
                            ".1.2.3",
                            "1.2.3.4.5",
                            "1..2.3",
                            "256.1.1.1",
                            "1.2.3.256",
                            "01.2.3.4",
                            "1.2.3.04",
                            "00.0.0.0",
                            "0x1.2.3.4",
                            "1.2.3.4 ",
                            " 1.2.3.4",
                            "1.2.3.4\n",
                            "1.2.3.a",
                            "-1.2.3.4",
                            "1.2.3.4/8",
                            "1.2.3.4:5060",
                            "localhost",
                            "example.test",
                            ":",
                            ":::",
                            "1::2::3",
                            "1:2:3:4:5:6:7",
                            "1:2:3:4:5:6:7:8:9",
                            "12345::",
                            "::g",
                            "[::1]",
                            " ::1",
                            "::1 ",
                            "::1%lo",
                            "::ffff:1.2.3",
                            "::ffff:01.2.3.4",
                            "1.2.3.4::"})
        EXPECT_EQ(BclIsIPFormat(bad), 0u) << bad;
    EXPECT_EQ(BclIsIPFormat(nullptr), 0u);
}
