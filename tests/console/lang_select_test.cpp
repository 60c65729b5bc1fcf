// Choosing a language in the File menu.
#include "bcl2/ini_file.h"
#include "cachedb2/switch_variants.h"
#include "common/lang_res.h"
#include "support/console_fixture.h"

#include <QAction>
#include <QMessageBox>
#include <QTextEdit>

namespace {

const QString kChineseItem = QStringLiteral("中文 (Chinese)");

class LangSelect : public ConsoleFixture {
protected:
    // What the next start will read.
    std::string storedLanguage() const
    {
        const Cbcl_ini_file file(inHome(QStringLiteral("switch.ini")).toUtf8().constData());
        const std::string* const value = file.find("switch", "gVarGuiLang");
        return value == nullptr ? std::string() : *value;
    }
    void choose(const QString& item) const { pressMenu({GetLangItem(1, QString()), GetLangItem(3, QString()), item}); }
    void expectNotice() { boxes.expect(GetLangItem(71, QString()), GetLangItem(13, QString())); }
};

TEST_F(LangSelect, ChineseIsStoredForTheNextStartAndNoticedOnce)
{
    writeSwitches("gVarGuiLang=0\n");
    buildWindow();
    ASSERT_FALSE(GetLangItem(71, QString()).isEmpty() || GetLangItem(13, QString()).isEmpty());
    std::string storedBefore;
    boxes.expect(GetLangItem(71, QString()), GetLangItem(13, QString()), [&](QMessageBox& box) {
        storedBefore = storedLanguage();
        box.accept();
    });
    choose(kChineseItem);
    EXPECT_EQ(storedBefore, "1") << "the notice follows the change";
    EXPECT_EQ(gVarGuiLang, 1);
    EXPECT_EQ(storedLanguage(), "1");
    EXPECT_EQ(boxes.shown(), 1);
    EXPECT_EQ(logView().toPlainText(), QString()) << "no request to refine this language";
    EXPECT_EQ(GetLangItem(1, QString()), QStringLiteral("&File")) << "the loaded texts stay";
}

TEST_F(LangSelect, TheStoredLanguageIsUsedAtTheNextStart)
{
    writeSwitches("gVarGuiLang=1\n");
    buildWindow();
    EXPECT_EQ(gVarGuiLang, 1);
    EXPECT_NE(GetLangItem(1, QString()), QStringLiteral("&File"));
    EXPECT_NE(menuAction({GetLangItem(1, QString()), GetLangItem(3, QString()), kChineseItem}), nullptr);
}

TEST_F(LangSelect, FromChineseBackToEnglish)
{
    writeSwitches("gVarGuiLang=1\n");
    buildWindow();
    expectNotice();
    choose(QStringLiteral("English"));
    EXPECT_EQ(gVarGuiLang, 0);
    EXPECT_EQ(storedLanguage(), "0");
}

TEST_F(LangSelect, TheActiveLanguageDoesNothing)
{
    buildWindow();
    choose(QStringLiteral("English"));
    EXPECT_EQ(boxes.shown(), 0);
    EXPECT_EQ(storedLanguage(), "");
    EXPECT_EQ(gVarGuiLang, 0);
}

TEST_F(LangSelect, OtherLanguagesAskForRefinement)
{
    buildWindow();
    QAction german;
    german.setData(7);
    QObject::connect(&german, &QAction::triggered, window.get(), &Cfrm_main::actLangSelect);
    expectNotice();
    german.trigger();
    EXPECT_EQ(gVarGuiLang, 7);
    EXPECT_EQ(storedLanguage(), "7");
    EXPECT_EQ(logTexts(), (QStringList{
                              QStringLiteral(" "),
                              QStringLiteral("The language resource file is '%1'").arg(inRunFolder("res.german")),
                              QStringLiteral("It is a INI format text file."),
                              QStringLiteral("That will be very appreciated if you can help us to refine it."),
                              QStringLiteral("Thanks."),
                          }));
}

} // namespace
