// Conversions from the toolkit's strings.
#include "common/qstr.h"

#include "start_up.h"
#include "support/console_fixture.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

class QStr : public ConsoleFixture {
protected:
    void SetUp() override
    {
        ConsoleFixture::SetUp();
        PrepareApplication(); // sets the codec
    }
};

// A field with neighbours that a wrong copy would hit.
struct Neighbours {
    char before[8];
    char field[33];
    char after[8];

    Neighbours() { std::memset(this, '#', sizeof *this); }
    [[nodiscard]] bool areUntouched() const
    {
        const auto isMark = [](char each) { return each == '#'; };
        return std::all_of(std::begin(before), std::end(before), isMark) &&
               std::all_of(std::begin(after), std::end(after), isMark);
    }
    [[nodiscard]] bool isZeroBehind(size_t length) const
    {
        return std::all_of(field + length, std::end(field), [](char each) { return each == '\0'; });
    }
};

TEST_F(QStr, ABoundBeyondTheFieldIsHarmless)
{
    Neighbours memory;
    EXPECT_EQ(BclCopyQStr(memory.field, QString(2000, QLatin1Char('x')), 1024), 32u);
    EXPECT_EQ(std::string(memory.field), std::string(32, 'x'));
    EXPECT_TRUE(memory.areUntouched());
}

TEST_F(QStr, ABoundOfNMeansNBytesOfText)
{
    Neighbours memory;
    EXPECT_EQ(BclCopyQStr(memory.field, QString(40, QLatin1Char('x')), 32), 32u);
    EXPECT_EQ(BclCopyQStr(memory.field, QString(40, QLatin1Char('y')), 5), 5u);
    EXPECT_STREQ(memory.field, "yyyyy");
    EXPECT_TRUE(memory.isZeroBehind(5));
    for (const int bound : {0, -1}) {
        EXPECT_EQ(BclCopyQStr(memory.field, QStringLiteral("x"), bound), 0u);
        EXPECT_TRUE(memory.isZeroBehind(0));
    }
    EXPECT_TRUE(memory.areUntouched());
}

TEST_F(QStr, NoCharacterIsCutInTwo)
{
    Neighbours memory;
    EXPECT_EQ(BclCopyQStr(memory.field, QStringLiteral("王").repeated(20), 32), 30u);
    EXPECT_EQ(QString::fromUtf8(memory.field), QStringLiteral("王").repeated(10));
    EXPECT_TRUE(memory.isZeroBehind(30));
    EXPECT_EQ(BclCopyQStr(memory.field, QStringLiteral("aü\U0001F4DE"), 6), 3u);
    EXPECT_STREQ(memory.field, "aü");
}

TEST_F(QStr, TheTailIsZero)
{
    Neighbours memory;
    BclCopyQStr(memory.field, QString(32, QLatin1Char('x')), 32);
    BclCopyQStr(memory.field, QStringLiteral("1000"), 32);
    EXPECT_STREQ(memory.field, "1000");
    EXPECT_TRUE(memory.isZeroBehind(4));
}

TEST_F(QStr, ConvertsIntoEveryBuffer)
{
    const QString text = QStringLiteral("Grüße 王 100% %s");
    const QByteArray bytes = text.toUtf8();
    Cbcl_tmp_str tmp("old");
    BclQStringToTmpStr(text, &tmp);
    EXPECT_STREQ(tmp.c_str(), bytes.constData());
    Cbcl_buf_str buf("old");
    BclQStringToBufStr(text, &buf);
    EXPECT_STREQ(buf.c_str(), bytes.constData());
    char memory[64];
    Cbcl_tmp_str_proxy proxy(memory);
    BclQStringToTmpStrPxy(text, &proxy);
    EXPECT_STREQ(memory, bytes.constData());
    BclQStringToTmpStr(QString(), &tmp);
    EXPECT_STREQ(tmp.c_str(), "");
}

TEST_F(QStr, TheProxyIsBounded)
{
    std::array<char, 16> memory{};
    memory.fill('#');
    Cbcl_tmp_str_proxy proxy(memory.data(), 8);
    BclQStringToTmpStrPxy(QStringLiteral("王王王王"), &proxy);
    EXPECT_STREQ(proxy.c_str(), "王王");
    EXPECT_EQ(memory[8], '#');
}

} // namespace
