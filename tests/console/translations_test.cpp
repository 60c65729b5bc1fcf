// Texts of the sources and of the toolkit in the language of the console.
#include "common/input_box.h"
#include "common/translations.h"
#include "common/warning_box.h"
#include "start_up.h"
#include "support/console_fixture.h"

#include <QApplication>
#include <QInputDialog>

namespace {

const QString kMessage = QStringLiteral("Invalid caller prefix.");

struct Spoken {
    int code;
    const char* cancel; // the toolkit's
    friend std::ostream& operator<<(std::ostream& out, const Spoken& each) { return out << each.code; }
};

class Translations : public ConsoleFixture {
protected:
    void begin(int code)
    {
        writeSwitches("gVarGuiLang=" + QByteArray::number(code) + "\n");
        PrepareApplication();
    }
};

class TranslationsInto : public Translations, public testing::WithParamInterface<Spoken> {};

TEST_P(TranslationsInto, AreThoseOfTheLanguage)
{
    begin(GetParam().code);
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"), QString::fromUtf8(GetParam().cancel));
    const QString text = MessageText(kMessage);
    EXPECT_NE(text, kMessage);
    EXPECT_EQ(MessageText(kMessage + QLatin1Char(' ')), text) << "files keep no blank at an end";
    EXPECT_EQ(QCoreApplication::translate("Cfrm_main", "Invalid caller prefix."), text);
    EXPECT_EQ(MessageText(QStringLiteral("Something else ")), QStringLiteral("Something else "));
    EXPECT_EQ(MessageText(QString()), QString());
}

INSTANTIATE_TEST_SUITE_P(Every, TranslationsInto,
                         testing::Values(Spoken{1, "取消"}, Spoken{3, "Cancelar"}, Spoken{5, "キャンセル"},
                                         Spoken{6, "取消"}, Spoken{7, "Abbrechen"}, Spoken{9, "Отмена"}));

TEST_F(Translations, LeaveEnglishAsItIs)
{
    begin(0);
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Cancel"));
    EXPECT_EQ(MessageText(kMessage), kMessage);
}

TEST_F(Translations, LeaveTheDirectionOfTheLayout)
{
    writeSwitches("gVarGuiLang=7\ngVarGuiLayoutDir=1\n");
    PrepareApplication();
    QCoreApplication::processEvents();
    EXPECT_EQ(QApplication::layoutDirection(), Qt::RightToLeft);
}

TEST_F(Translations, ShowInBoxes)
{
    begin(7);
    boxes.expect(QStringLiteral("Ungültiger Parameter"), MessageText(kMessage));
    PlxWarningBox(QStringLiteral("Parameter Invalid"), kMessage);
    boxes.expectEditor(QStringLiteral("IP-Adresse festlegen"), [](QDialog& box) {
        EXPECT_EQ(static_cast<QInputDialog&>(box).labelText(), QStringLiteral("IP-Adresse für den Trace:"));
        box.reject();
    });
    QString text;
    EXPECT_EQ(InputBox(text, nullptr, QStringLiteral("Set IP address"),
                       QStringLiteral("Please input IP address to be traced:"), QString()),
              1u);
}

} // namespace
