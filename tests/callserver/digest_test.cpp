#include "registrar/digest.h"

#include <gtest/gtest.h>

namespace {

TEST(Digest, ComputesTheMd5ExampleOfRfc2617)
{
    DigestHasher hasher;
    EXPECT_EQ(hasher.response(DigestAlgorithm::Md5, "Mufasa", "testrealm@host.com", "Circle Of Life",
                              {"GET", "/dir/index.html", "dcd98b7102dd2f0e8b11d0f600bfb0c093", "00000001", "0a4f113b"}),
              "6629fae49393a05397450978507c4ef1");
}

TEST(Digest, ComputesTheMd5ExampleOfRfc7616)
{
    DigestHasher hasher;
    EXPECT_EQ(hasher.response(DigestAlgorithm::Md5, "Mufasa", "http-auth@example.org", "Circle of Life",
                              {"GET", "/dir/index.html", "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "00000001",
                               "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ"}),
              "8ca523f5e9506fed4657c9700eebdbec");
}

TEST(Digest, ComputesTheSha256ExampleOfRfc7616)
{
    DigestHasher hasher;
    EXPECT_EQ(hasher.response(DigestAlgorithm::Sha256, "Mufasa", "http-auth@example.org", "Circle of Life",
                              {"GET", "/dir/index.html", "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v", "00000001",
                               "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ"}),
              "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1");
}

TEST(Digest, KnowsAlgorithmsByNameInAnyCase)
{
    EXPECT_EQ(digestAlgorithmOf("md5"), DigestAlgorithm::Md5);
    EXPECT_EQ(digestAlgorithmOf("sha-256"), DigestAlgorithm::Sha256);
    EXPECT_EQ(digestAlgorithmOf("MD5-sess"), std::nullopt);
    EXPECT_EQ(digestAlgorithmOf(""), std::nullopt);
    EXPECT_EQ(digestAlgorithmName(DigestAlgorithm::Sha256), "SHA-256");
}

TEST(Digest, CountsItsHashes)
{
    DigestHasher hasher;
    (void)hasher.hash(DigestAlgorithm::Md5, {"a"});
    EXPECT_EQ(hasher.count(), 1U);
    (void)hasher.response(DigestAlgorithm::Sha256, "u", "r", "p", {"REGISTER", "sip:h", "n", "00000001", "c"});
    EXPECT_EQ(hasher.count(), 4U) << "secret, request and both together";
}

TEST(Digest, ComparesWholeTexts)
{
    EXPECT_TRUE(equalInConstantTime("abc", "abc"));
    EXPECT_FALSE(equalInConstantTime("abc", "abd"));
    EXPECT_FALSE(equalInConstantTime("abc", "ab"));
    EXPECT_TRUE(equalInConstantTime("", ""));
}

} // namespace
