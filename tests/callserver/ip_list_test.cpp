#include "sip/ip_list.h"

#include "bcl2/text.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr IpVerdict kNone = IpVerdict::None;
constexpr IpVerdict kDeny = IpVerdict::Deny;
constexpr IpVerdict kAllow = IpVerdict::Allow;

using Entries = std::vector<std::pair<std::string, IpVerdict>>;

IpList listOf(const Entries& entries)
{
    Snapshot<Cdb_ip_bwlist>::Builder builder(nullptr);
    for (const auto& [text, verdict] : entries) {
        Cdb_ip_bwlist record;
        record.action = verdict == kAllow ? 1 : 0;
        BclCopyStr(record.ipAddr, text.c_str());
        builder.set(text, record);
    }
    return IpList(*builder.finish());
}

IpVerdict verdictOn(const IpList& list, const char* address)
{
    return list.of(ipAddress(address));
}

void expectVerdicts(const IpList& list, const std::vector<std::pair<const char*, IpVerdict>>& verdicts)
{
    for (const auto& [address, verdict] : verdicts)
        EXPECT_EQ(verdictOn(list, address), verdict) << address;
}

TEST(IpListTest, SaysNothingOfAnybodyWhenItIsEmpty)
{
    EXPECT_TRUE(IpList().isEmpty());
    EXPECT_TRUE(listOf({}).isEmpty());
    EXPECT_EQ(verdictOn(IpList(), "192.0.2.1"), kNone);
}

TEST(IpListTest, AddressIsThatOneOnly)
{
    const IpList list = listOf({{"192.0.2.1", kDeny}, {"2001:db8::1", kAllow}});
    EXPECT_FALSE(list.isEmpty());
    expectVerdicts(list, {{"192.0.2.1", kDeny},
                          {"192.0.2.0", kNone},
                          {"192.0.2.2", kNone},
                          {"2001:db8::1", kAllow},
                          {"2001:db8::", kNone},
                          {"2001:db8::2", kNone}}); // also within one network of 64 bits
}

TEST(IpListTest, NetworkReachesFromItsFirstAddressToItsLast)
{
    const IpList list = listOf({{"198.51.100.64/26", kDeny}, {"2001:db8:1:8000::/49", kDeny}});
    expectVerdicts(list, {{"198.51.100.63", kNone},
                          {"198.51.100.64", kDeny},
                          {"198.51.100.127", kDeny},
                          {"198.51.100.128", kNone},
                          {"2001:db8:1:7fff:ffff:ffff:ffff:ffff", kNone},
                          {"2001:db8:1:8000::", kDeny},
                          {"2001:db8:1:ffff:ffff:ffff:ffff:ffff", kDeny},
                          {"2001:db8:2::", kNone}});
}

TEST(IpListTest, NetworkMayBeNamedByAnyOfItsAddresses)
{
    const IpList list = listOf({{"192.168.7.66/16", kAllow}, {" 2001:db8::9/32 ", kAllow}});
    expectVerdicts(
        list, {{"192.168.0.0", kAllow}, {"192.168.255.255", kAllow}, {"192.169.0.0", kNone}, {"2001:db8::1", kAllow}});
}

TEST(IpListTest, SmallestNetworkCounts)
{
    const IpList list = listOf({{"10.0.0.0/8", kAllow},
                                {"10.1.0.0/16", kDeny},
                                {"10.1.2.0/24", kAllow},
                                {"10.1.2.255", kDeny},
                                {"10.0.0.0", kDeny},
                                {"10.255.255.255", kDeny}});
    expectVerdicts(list, {{"9.255.255.255", kNone},
                          {"10.0.0.0", kDeny},
                          {"10.0.0.1", kAllow},
                          {"10.1.0.0", kDeny},
                          {"10.1.1.255", kDeny},
                          {"10.1.2.0", kAllow},
                          {"10.1.2.254", kAllow},
                          {"10.1.2.255", kDeny},
                          {"10.1.3.0", kDeny},
                          {"10.1.255.255", kDeny},
                          {"10.2.0.0", kAllow},
                          {"10.255.255.254", kAllow},
                          {"10.255.255.255", kDeny},
                          {"11.0.0.0", kNone}});
}

TEST(IpListTest, EverythingOfOneFamilyIsNothingOfTheOther)
{
    const IpList v4 = listOf({{"0.0.0.0/0", kDeny}, {"192.0.2.1", kAllow}});
    expectVerdicts(
        v4, {{"0.0.0.0", kDeny}, {"255.255.255.255", kDeny}, {"192.0.2.1", kAllow}, {"::", kNone}, {"ffff::1", kNone}});
    const IpList v6 = listOf({{"::/0", kDeny}});
    expectVerdicts(v6, {{"::", kDeny},
                        {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", kDeny},
                        {"0.0.0.0", kNone},
                        {"255.255.255.255", kNone}});
}

TEST(IpListTest, MappedAddressesAreTheIpv4OnesInBothPlaces)
{
    const IpList list = listOf({{"::ffff:192.0.2.1", kDeny}, {"::ffff:198.51.100.0/120", kDeny}});
    expectVerdicts(list,
                   {{"192.0.2.1", kDeny}, {"192.0.2.2", kNone}, {"198.51.100.255", kDeny}, {"198.51.101.0", kNone}});
    EXPECT_EQ(verdictOn(listOf({{"192.0.2.0/24", kAllow}}), "::ffff:192.0.2.9"), kAllow);
}

TEST(IpListTest, InterfaceOfALinkLocalAddressIsOfNoInterest)
{
    EXPECT_EQ(verdictOn(listOf({{"fe80::1", kDeny}}), "fe80::1%eth0"), kDeny);
    EXPECT_EQ(verdictOn(listOf({{"fe80::1%eth0", kDeny}}), "fe80::1"), kDeny);
}

TEST(IpListTest, OfTwoEntriesForOneNetworkTheOneThatDeniesCounts)
{
    for (const auto& [first, second] : {std::pair("192.0.2.0/24", "192.0.2.9/24"), {"192.0.2.9/24", "192.0.2.0/24"}})
        EXPECT_EQ(verdictOn(listOf({{first, kAllow}, {second, kDeny}}), "192.0.2.9"), kDeny) << first;
}

TEST(IpListTest, WhatIsNeitherAddressNorNetworkIsToldAndHasNoEffect)
{
    const std::vector<std::string> wrong = {"/24",
                                            "192.0.2",
                                            "192.0.2.0/",
                                            "192.0.2.0/ 24",
                                            "192.0.2.0/+24",
                                            "192.0.2.0/-1",
                                            "192.0.2.0/255.255.255.0",
                                            "192.0.2.0/33",
                                            "192.0.2.0/4294967297",
                                            "192.0.2.0/8/8",
                                            "192.0.2.1:5060",
                                            "2001:db8::/129",
                                            "::ffff:192.0.2.0/24",
                                            "[2001:db8::1]",
                                            "office.example"};
    Entries entries;
    for (const std::string& text : wrong)
        entries.emplace_back(text, kDeny);
    const IpList list = listOf(entries);
    EXPECT_TRUE(list.isEmpty());
    EXPECT_EQ(list.unreadable(), wrong);
    EXPECT_TRUE(listOf({{"192.0.2.1", kDeny}}).unreadable().empty());
}

TEST(IpListTest, AnythingButAllowDenies)
{
    Snapshot<Cdb_ip_bwlist>::Builder builder(nullptr);
    Cdb_ip_bwlist record;
    record.action = 2;
    BclCopyStr(record.ipAddr, "192.0.2.1");
    builder.set(record.ipAddr, record);
    EXPECT_EQ(verdictOn(IpList(*builder.finish()), "192.0.2.1"), kDeny);
}

// Ten thousand networks of all sizes, some in others, beside what a look at each of them says.
TEST(IpListTest, ManyNetworksSayWhatEachOfThemSays)
{
    struct Network {
        uint32_t first;
        unsigned bits;
        IpVerdict verdict;
        [[nodiscard]] bool has(uint32_t address) const { return bits == 0 || (first ^ address) >> (32 - bits) == 0; }
    };
    const auto literal = [](uint32_t address) {
        return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 255) + '.' +
               std::to_string(address >> 8 & 255) + '.' + std::to_string(address & 255);
    };
    std::mt19937 random(1); // NOLINT(bugprone-random-generator-seed,cert-msc51-cpp): the same each time
    std::vector<Network> networks;
    Entries entries;
    for (int i = 0; i < 10'000; ++i) {
        const unsigned bits = 4 + random() % 29;
        const auto first = static_cast<uint32_t>(static_cast<uint64_t>(random()) >> (32 - bits) << (32 - bits));
        networks.push_back({first, bits, random() % 2 == 0 ? kDeny : kAllow});
        entries.emplace_back(literal(first) + "/" + std::to_string(bits), networks.back().verdict);
    }
    const IpList list = listOf(entries);
    EXPECT_TRUE(list.unreadable().empty());
    for (int i = 0; i < 5000; ++i) {
        // Half of them at the edge of a network.
        uint32_t address = static_cast<uint32_t>(random());
        if (i % 2 == 0)
            address = networks[static_cast<size_t>(i)].first - static_cast<uint32_t>(i / 2 % 2);
        const Network* smallest = nullptr;
        for (const Network& network : networks)
            // The same text again took the place of the former one.
            if (network.has(address) && (smallest == nullptr || network.bits >= smallest->bits))
                smallest = &network;
        ASSERT_EQ(list.of(ipAddress(literal(address))), smallest == nullptr ? kNone : smallest->verdict)
            << literal(address);
    }
}

} // namespace
