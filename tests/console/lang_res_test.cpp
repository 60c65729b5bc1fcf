// Language items: files, loading, look-up.
#include "common/lang_res.h"

#include "support/console_fixture.h"

#include <QAction>
#include <QDir>
#include <QMenu>

namespace {

class LangRes : public ConsoleFixture {
protected:
    // The name of the language file of a code, without its folder.
    QString fileOf(int code) const
    {
        Cbcl_tmp_str path;
        EXPECT_EQ(GetLangureResFile(code, &path), 0u);
        const QString folder = QDir::currentPath() + QLatin1Char('/');
        const QString full = QString::fromUtf8(path.c_str());
        EXPECT_TRUE(full.startsWith(folder)) << full.toStdString();
        return full.mid(folder.size());
    }
    // Loads a file of these lines.
    void load(const QByteArray& lines) const
    {
        writeFile(inRunFolder(QStringLiteral("res.english")), "[text]\n" + lines);
        EXPECT_EQ(InitLangureRes(0), 0u);
    }
};

const QString kDefault = QStringLiteral("default");

TEST_F(LangRes, EveryCodeHasItsFile)
{
    for (const int code : {1, 6})
        EXPECT_EQ(fileOf(code), QStringLiteral("res.chinese")) << code;
    EXPECT_EQ(fileOf(3), QStringLiteral("res.spanish"));
    EXPECT_EQ(fileOf(5), QStringLiteral("res.japanese"));
    EXPECT_EQ(fileOf(7), QStringLiteral("res.german"));
    EXPECT_EQ(fileOf(9), QStringLiteral("res.russian"));
    for (const int code : {0, 2, 4, 8, 10, 11, 1000, -1})
        EXPECT_EQ(fileOf(code), QStringLiteral("res.english")) << code;
}

TEST_F(LangRes, BeforeLoadingEveryLookUpGivesItsDefault)
{
    for (const int id : {-1, 0, 1, 250, 499, 500})
        EXPECT_EQ(GetLangItem(id, kDefault), kDefault) << id;
    EXPECT_TRUE(gStrPlxRes.isEmpty());
}

TEST_F(LangRes, LoadedItemsStandForThemselves)
{
    load("1=one\n7=seven = 7\n499=last\n");
    ASSERT_EQ(gStrPlxRes.size(), 499);
    EXPECT_EQ(GetLangItem(1, kDefault), QStringLiteral("one"));
    EXPECT_EQ(GetLangItem(7, kDefault), QStringLiteral("seven = 7"));
    EXPECT_EQ(GetLangItem(499, kDefault), QStringLiteral("last"));
    EXPECT_EQ(GetLangItem(2, kDefault), QString()) << "once loaded, a missing item is empty";
    for (const int id : {-1, 0, 500, 2147483647})
        EXPECT_EQ(GetLangItem(id, kDefault), kDefault) << id;
}

TEST_F(LangRes, AMissingLastItemIsEmpty)
{
    load("1=one\n");
    EXPECT_EQ(GetLangItem(499, kDefault), QString());
}

TEST_F(LangRes, AKeyWithALeadingZeroIsAnotherKey)
{
    load("07=wrong\n007=wrong\n+7=wrong\n");
    EXPECT_EQ(GetLangItem(7, kDefault), QString());
}

TEST_F(LangRes, OtherSectionsDoNotCount)
{
    load("1=one\n[other]\n2=two\n");
    EXPECT_EQ(GetLangItem(2, kDefault), QString());
}

TEST_F(LangRes, MissingFileGivesEmptyItems)
{
    ASSERT_TRUE(QFile::remove(inRunFolder(QStringLiteral("res.english"))));
    EXPECT_EQ(InitLangureRes(0), 0u);
    ASSERT_EQ(gStrPlxRes.size(), 499);
    EXPECT_EQ(GetLangItem(1, kDefault), QString());
}

TEST_F(LangRes, LongTextsAreCutBetweenCharacters)
{
    load("1=" + QByteArray("王").repeated(600) + "\n2=short\n");
    EXPECT_EQ(GetLangItem(1, kDefault), QStringLiteral("王").repeated(499)) << "1497 of at most 1499 bytes";
    EXPECT_EQ(GetLangItem(2, kDefault), QStringLiteral("short")) << "nothing is left over from the item before";
}

TEST_F(LangRes, IsLoadedOnce)
{
    load("1=one\n");
    load("1=two\n");
    EXPECT_EQ(gStrPlxRes.size(), 499);
    EXPECT_EQ(GetLangItem(1, kDefault), QStringLiteral("one"));
}

TEST_F(LangRes, FillsActionsMenusWindowsAndBuffers)
{
    load("1=Grüße\n2=\n");
    QAction action;
    QMenu menu;
    QWidget widget;
    Cbcl_tmp_str text("old");
    GetLangItem(1, &action, "x");
    GetLangItem(1, &menu, "x");
    GetLangItem(1, &widget, "x");
    GetLangItem(1, &text, "x");
    EXPECT_EQ(action.text(), QStringLiteral("Grüße"));
    EXPECT_EQ(menu.title(), QStringLiteral("Grüße"));
    EXPECT_EQ(widget.windowTitle(), QStringLiteral("Grüße"));
    EXPECT_STREQ(text.c_str(), "Grüße");
    GetLangItem(2, &text, "x");
    EXPECT_STREQ(text.c_str(), "") << "an empty item replaces what was there";
}

TEST_F(LangRes, DefaultsAreUtf8AndNullIsEmpty)
{
    QAction action;
    GetLangItem(500, &action, "Grüße");
    EXPECT_EQ(action.text(), QStringLiteral("Grüße"));
    GetLangItem(4000000000u, &action, "far");
    EXPECT_EQ(action.text(), QStringLiteral("far"));
    GetLangItem(500, &action, nullptr);
    EXPECT_EQ(action.text(), QString());
}

} // namespace
