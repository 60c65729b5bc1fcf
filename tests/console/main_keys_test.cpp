// The main window without a mouse.
#include "common/lang_res.h"
#include "frm_time_cond.h"
#include "log_view.h"
#include "support/accessible_tree.h"
#include "support/console_fixture.h"
#include "support/help_spy.h"
#include "support/key_walk.h"

#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QSet>
#include <QTest>

#include <array>
#include <set>

namespace {

constexpr int kRoomForEveryMenu = 1000; // pixels; the desktop of the tests is smaller than any other

class MainKeys : public ConsoleFixture {
protected:
    void showActive()
    {
        startConsole();
        window->resize(kRoomForEveryMenu, window->height());
        activate();
    }
    // As the desktop does when a menu or a page is closed.
    void activate()
    {
        window->activateWindow();
        ASSERT_TRUE(waitUntil([this] { return window->isActiveWindow(); }));
        window->centralWidget()->setFocus();
    }
};

// Letters that open an item, as Alt and the letter; those of two alike fail the test.
std::set<QString> mnemonicsOf(const QList<QAction*>& items)
{
    std::set<QString> letters;
    for (const QAction* const item : items) {
        const QString letter = QKeySequence::mnemonic(item->text()).toString();
        EXPECT_TRUE(letter.isEmpty() || letters.insert(letter).second)
            << item->text().toStdString() << " has the letter of another one";
    }
    return letters;
}

// Menus take keys while they show, wherever the focus is.
void typeToMenu(Qt::Key key)
{
    QWidget* const menu = QApplication::activePopupWidget();
    ASSERT_NE(menu, nullptr);
    QTest::keyClick(menu, key);
}

// Walks down the menu that shows, into its submenus and back, until it is at its first item again.
void walkMenu(QSet<QAction*>& reached)
{
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    for (QAction* at = menu->activeAction(); at != nullptr && !reached.contains(at); at = menu->activeAction()) {
        reached.insert(at);
        if (at->menu() != nullptr) {
            typeToMenu(Qt::Key_Right);
            ASSERT_EQ(QApplication::activePopupWidget(), at->menu());
            walkMenu(reached);
            typeToMenu(Qt::Key_Left);
            ASSERT_EQ(QApplication::activePopupWidget(), menu);
        }
        typeToMenu(Qt::Key_Down);
    }
}

TEST_F(MainKeys, EveryItemOfTheMenusIsReached)
{
    showActive();
    QSet<QAction*> reached;
    for (const QAction* const bar : window->menuBar()->actions()) {
        const int key = QKeySequence::mnemonic(bar->text())[0];
        typeKey(key & ~Qt::KeyboardModifierMask, Qt::AltModifier);
        ASSERT_EQ(QApplication::activePopupWidget(), bar->menu()) << bar->text().toStdString();
        walkMenu(reached);
        typeToMenu(Qt::Key_Escape);
        EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
        window->menuBar()->setActiveAction(nullptr);
        activate();
    }
    int items = 0;
    for (QAction* const each : window->findChildren<QAction*>()) {
        const bool isItem = each->parent()->inherits("QMenu") && !each->isSeparator() && each->isEnabled() &&
                            each->menu() != each->parent();
        if (!isItem)
            continue;
        ++items;
        EXPECT_TRUE(reached.contains(each)) << "no key leads to " << each->text().toStdString();
    }
    EXPECT_GT(items, 50);
}

TEST_F(MainKeys, ReturnOpensAPageAndEscapeComesBack)
{
    showActive();
    typeKey(Qt::Key_D, Qt::AltModifier);
    typeToMenu(Qt::Key_Down);
    typeToMenu(Qt::Key_Return);
    auto* const page = window->findChild<Cfrm_time_cond*>();
    ASSERT_NE(page, nullptr);
    ASSERT_TRUE(waitUntil([&] { return page->isActiveWindow(); }));
    typeKey(Qt::Key_Escape);
    EXPECT_FALSE(page->isVisible());
    EXPECT_TRUE(window->isVisible());
}

TEST_F(MainKeys, TheKeyboardReadsAndClearsTheLog)
{
    showActive();
    EXPECT_EQ(QApplication::focusWidget(), window->centralWidget());
    expectEveryControlReached(*window);
    ASSERT_TRUE(waitUntil([this] { return logLines() > 0; }));
    window->findChild<Clog_view*>()->showWaiting();
    typeKey(Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(logView().textCursor().hasSelection());
    typeKey(Qt::Key_Delete);
    EXPECT_TRUE(logView().toPlainText().isEmpty());
}

TEST_F(MainKeys, F1OpensTheStartOfTheHelp)
{
    HelpSpy help;
    showActive();
    typeKey(Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList("help/index.html"));
}

TEST_F(MainKeys, ShortcutsAreTakenOnce)
{
    buildWindow();
    std::set<QString> taken;
    for (const QAction* const each : window->findChildren<QAction*>()) {
        for (const QKeySequence& keys : each->shortcuts())
            EXPECT_TRUE(taken.insert(keys.toString()).second) << keys.toString().toStdString();
    }
    EXPECT_EQ(taken, (std::set<QString>{"Ctrl+S", "Del"}));
}

class MainInLanguage : public MainKeys, public testing::WithParamInterface<int> {};

TEST_P(MainInLanguage, LettersAreUniqueInEveryMenu)
{
    writeSwitches("gVarGuiLang=" + QByteArray::number(GetParam()) + '\n');
    buildWindow();
    const QList<QAction*> bar = window->menuBar()->actions();
    EXPECT_EQ(mnemonicsOf(bar).size(), static_cast<size_t>(bar.size())) << "each menu needs a letter to be opened";
    for (const QMenu* const menu : window->menuBar()->findChildren<QMenu*>()) {
        const testing::ScopedTrace trace(__FILE__, __LINE__, menu->title().toStdString());
        (void)mnemonicsOf(menu->actions());
    }
}

TEST_P(MainInLanguage, EveryPartOfTheWindowHasAName)
{
    keepServerLocal();
    writeSwitches("gVarGuiLang=" + QByteArray::number(GetParam()) + '\n');
    buildWindow().show();
    QSet<QString> texts = textsOfTheLanguage();
    texts.insert(window->windowTitle());
    int named = 0;
    forEachNamed(*window, [&](const QAccessibleInterface& part, const QString& name) {
        ++named;
        EXPECT_TRUE(texts.contains(name)) << described(part);
    });
    EXPECT_GT(named, 10);
    EXPECT_EQ(logView().accessibleName(), GetLangItem(474));
}

INSTANTIATE_TEST_SUITE_P(Languages, MainInLanguage, testing::Values(0, 1, 3, 5, 7, 9),
                         [](const auto& code) { return "Code" + std::to_string(code.param); });

} // namespace
