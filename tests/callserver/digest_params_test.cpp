#include "registrar/digest_params.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Case {
    const char* name;
    std::string header;
    DigestParse result;
};

std::ostream& operator<<(std::ostream& out, const Case& test)
{
    return out << test.name;
}

std::string params(size_t count)
{
    std::string text = "Digest ";
    for (size_t i = 0; i < count; ++i)
        text += (i == 0 ? "x" : ", x") + std::to_string(i) + "=1";
    return text;
}

class DigestParamsTest : public testing::TestWithParam<Case> {};

TEST_P(DigestParamsTest, ResultIs)
{
    DigestParams out;
    EXPECT_EQ(parseDigestParams(GetParam().header, out), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Headers, DigestParamsTest,
                         testing::ValuesIn(std::vector<Case>{
                             {"plain", "Digest username=\"1000\", realm=\"r\"", DigestParse::Ok},
                             {"schemeInAnyCase", "dIGEST username=\"1000\"", DigestParse::Ok},
                             {"noBlanks", "Digest username=\"1000\",realm=\"r\",qop=auth", DigestParse::Ok},
                             {"blanksEverywhere", "  Digest \t username = \"1000\" , realm\t=\t\"r\"  ",
                              DigestParse::Ok},
                             {"foldedLines", "Digest username=\"1000\",\r\n realm=\"r\"", DigestParse::Ok},
                             {"emptyElements", "Digest ,username=\"1000\",, realm=\"r\",", DigestParse::Ok},
                             {"unknownTwice", "Digest username=\"1000\", x=1, x=2", DigestParse::Ok},
                             {"otherScheme", "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==", DigestParse::OtherScheme},
                             {"empty", "", DigestParse::OtherScheme},
                             {"schemeOnly", "Digest", DigestParse::Malformed},
                             {"commasOnly", "Digest ,,,", DigestParse::Malformed},
                             {"noValue", "Digest username=", DigestParse::Malformed},
                             {"noEquals", "Digest username", DigestParse::Malformed},
                             {"noName", "Digest =\"1000\"", DigestParse::Malformed},
                             {"notClosed", "Digest username=\"1000", DigestParse::Malformed},
                             {"endsInEscape", "Digest username=\"1000\\", DigestParse::Malformed},
                             {"noComma", "Digest username=\"1000\" realm=\"r\"", DigestParse::Malformed},
                             {"lineBreakInQuotes", "Digest username=\"10\r\n00\"", DigestParse::Malformed},
                             {"escapedControl", "Digest username=\"10\\\x01\"", DigestParse::Malformed},
                             {"nulInQuotes", std::string("Digest username=\"1\0002\"", 21), DigestParse::Malformed},
                             {"tokenWithSlash", "Digest uri=sip:a/b", DigestParse::Malformed},
                             {"duplicate", "Digest username=\"1000\", Username=\"1001\"", DigestParse::Duplicate},
                             {"longestValue", "Digest nonce=\"" + std::string(1024, 'a') + "\"", DigestParse::Ok},
                             {"valueTooLong", "Digest nonce=\"" + std::string(1025, 'a') + "\"", DigestParse::TooLong},
                             {"headerTooLong", "Digest nonce=\"a\"" + std::string(4096, ' '), DigestParse::TooLong},
                             {"mostParams", params(32), DigestParse::Ok},
                             {"tooManyParams", params(33), DigestParse::TooLong},
                         }),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(DigestParams, ReadsEveryKnownParameter)
{
    DigestParams out;
    ASSERT_EQ(
        parseDigestParams("Digest username=\"1000\", realm=\"home\", nonce=\"abc\", uri=\"sip:h\", response=\"ff\", "
                          "algorithm=SHA-256, cnonce=\"c\", qop=auth, nc=00000001",
                          out),
        DigestParse::Ok);
    EXPECT_EQ(out.username, "1000");
    EXPECT_EQ(out.realm, "home");
    EXPECT_EQ(out.nonce, "abc");
    EXPECT_EQ(out.uri, "sip:h");
    EXPECT_EQ(out.response, "ff");
    EXPECT_EQ(out.algorithm, "SHA-256");
    EXPECT_EQ(out.cnonce, "c");
    EXPECT_EQ(out.qop, "auth");
    EXPECT_EQ(out.nc, "00000001");
}

TEST(DigestParams, UnescapesQuotedStrings)
{
    DigestParams out;
    ASSERT_EQ(parseDigestParams(R"(Digest username="a\"b\\c, d=e")", out), DigestParse::Ok);
    EXPECT_EQ(out.username, R"(a"b\c, d=e)");
}

TEST(DigestParams, KeepUnescapedValuesWhenTheyMove)
{
    DigestParams out;
    ASSERT_EQ(parseDigestParams(R"(Digest username="\a", realm="b\"", nonce="plain")", out), DigestParse::Ok);
    DigestParams moved = std::move(out);
    out = DigestParams();
    EXPECT_EQ(moved.username, "a");
    EXPECT_EQ(moved.realm, "b\"");
    EXPECT_EQ(moved.nonce, "plain");
}

TEST(DigestParams, TellsEmptyFromAbsent)
{
    DigestParams out;
    ASSERT_EQ(parseDigestParams("Digest username=\"\"", out), DigestParse::Ok);
    EXPECT_EQ(out.username, "");
    EXPECT_FALSE(out.realm.has_value());
}

} // namespace
