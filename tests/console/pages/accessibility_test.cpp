// What assistive technology is told of every window, in every language of the console.
#include "common/dlg_common.h"
#include "common/input_box.h"
#include "console/pages/list_pages.h"
#include "dlg_callback.h"
#include "dlg_sys_tbl.h"
#include "frm_realtime_cdr.h"
#include "support/accessible_tree.h"
#include "support/key_walk.h"
#include "support/page_fixture.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QSet>
#include <QTabWidget>

#include <algorithm>
#include <array>
#include <functional>
#include <set>

namespace {

using list_pages::Page;
using list_pages::pages;

struct Language {
    const char* name;
    int code;
};

void PrintTo(const Language& language, std::ostream* out)
{
    *out << language.name;
}

constexpr std::array<Language, 6> kLanguages = {
    {{"English", 0}, {"Chinese", 1}, {"Spanish", 3}, {"Japanese", 5}, {"German", 7}, {"Russian", 9}}};

using Look = std::function<void(QWidget&)>;

class Accessibility : public PageFixture, public testing::WithParamInterface<Language> {
protected:
    void SetUp() override
    {
        writeSwitches("gVarGuiLang=" + QByteArray::number(GetParam().code) + '\n');
        PageFixture::SetUp();
    }

    // Every dialog, each of its tabs in turn.
    void forEachDialog(const Look& look)
    {
        for (const Page& page : pages()) {
            const testing::ScopedTrace trace(__FILE__, __LINE__, page.name);
            show(page.make(&store()));
            for (Cdlg_common* const dialog : frame().findChildren<Cdlg_common*>())
                lookAtDialog(*dialog, look);
        }
        Cdlg_sys_tbl settings(&store(), nullptr);
        lookAtDialog(settings, look);
        Cdlg_callback callback(&store(), nullptr);
        lookAtDialog(callback, look);
        QString text;
        boxes.expectEditor(item(373), [&](QDialog& box) {
            look(box);
            box.reject();
        });
        (void)InputBox(text, nullptr, item(373), item(118), QString());
    }
    void forEachWindow(const Look& look)
    {
        for (const Page& page : pages()) {
            const testing::ScopedTrace trace(__FILE__, __LINE__, page.name);
            show(page.make(&store()));
            look(frame());
        }
        Cfrm_realtime_cdr calls(&store(), nullptr);
        calls.show();
        look(calls);
        forEachDialog(look);
    }

private:
    static void lookAtDialog(QDialog& dialog, const Look& look)
    {
        const testing::ScopedTrace trace(__FILE__, __LINE__, dialog.windowTitle().toStdString());
        dialog.show();
        auto* const tabs = dialog.findChild<QTabWidget*>();
        for (int at = 0; at < (tabs == nullptr ? 1 : tabs->count()); ++at) {
            if (tabs != nullptr)
                tabs->setCurrentIndex(at);
            look(dialog);
        }
        dialog.hide();
    }
};

TEST_P(Accessibility, EveryControlHasANameInTheLanguageOfTheConsole)
{
    const QSet<QString> sameEverywhere = {"SMTP", "CdrID", "FCI", "dp"};
    const QSet<QString> texts = textsOfTheLanguage() + sameEverywhere;
    int named = 0;
    forEachWindow([&](QWidget& shown) {
        forEachNamed(shown, [&](const QAccessibleInterface& part, const QString& name) {
            ++named;
            EXPECT_TRUE(texts.contains(name)) << described(part);
        });
    });
    EXPECT_GT(named, 500);
}

// What a label stands for: the input that is next to it in its line, else the next one below.
const QWidget* nextTo(const QLabel& label)
{
    const QRect place(label.mapTo(label.window(), QPoint()), label.size());
    const QWidget* found = nullptr;
    QPoint least;
    for (const QWidget* const each : controlsOf(*label.window(), Controls::AlsoDisabled)) {
        const QRect other(each->mapTo(label.window(), QPoint()), each->size());
        const bool isInLine = other.top() <= place.center().y() && other.bottom() >= place.center().y();
        if (other.bottom() < place.center().y() || (isInLine && other.left() < place.right()))
            continue;
        const QPoint distance(other.left(), isInLine ? 0 : other.top());
        const bool isNearer =
            found == nullptr || distance.y() < least.y() || (distance.y() == least.y() && distance.x() < least.x());
        if (isNearer) {
            found = each;
            least = distance;
        }
    }
    return found;
}

TEST_P(Accessibility, EveryLabelHasItsInputForABuddy)
{
    int labels = 0;
    forEachDialog([&](QWidget& dialog) {
        for (const QLabel* const label : dialog.findChildren<QLabel*>()) {
            if (!label->isVisible())
                continue;
            ++labels;
            ASSERT_NE(label->buddy(), nullptr) << label->text().toStdString();
            EXPECT_EQ(label->buddy(), nextTo(*label)) << label->text().toStdString();
        }
    });
    EXPECT_GT(labels, 150);
}

// Letters with Alt: of labels, buttons, groups and tabs alike.
TEST_P(Accessibility, LettersOfAWindowAreTakenOnce)
{
    forEachWindow([&](QWidget& shown) {
        QStringList texts;
        for (const QLabel* const each : shown.findChildren<QLabel*>())
            texts.append(each->isVisible() ? each->text() : QString());
        for (const QGroupBox* const each : shown.findChildren<QGroupBox*>())
            texts.append(each->isVisible() ? each->title() : QString());
        for (const QAbstractButton* const each : shown.findChildren<QAbstractButton*>())
            texts.append(each->isVisible() ? each->text() : QString());
        for (const QTabWidget* const tabs : shown.findChildren<QTabWidget*>()) {
            for (int at = 0; at < tabs->count(); ++at)
                texts.append(tabs->tabText(at));
        }
        std::set<QKeySequence> taken;
        for (const QString& text : texts) {
            const QKeySequence letter = QKeySequence::mnemonic(text);
            EXPECT_TRUE(letter.isEmpty() || taken.insert(letter).second) << text.toStdString();
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Languages, Accessibility, testing::ValuesIn(kLanguages),
                         [](const auto& language) { return std::string(language.param.name); });

} // namespace
