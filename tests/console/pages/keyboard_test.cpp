// Every page, editor and box without a mouse.
#include "common/dlg_common.h"
#include "common/input_box.h"
#include "common/warning_box.h"
#include "console/pages/list_pages.h"
#include "dlg_callback.h"
#include "dlg_local_user.h"
#include "dlg_sys_tbl.h"
#include "frm_local_users.h"
#include "frm_realtime_cdr.h"
#include "support/key_walk.h"
#include "support/page_fixture.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeView>

#include <set>

namespace {

using list_pages::Page;
using list_pages::pages;

// Presses counted, with nothing behind them.
int pressesOf(QAction& action, const QKeySequence& keys)
{
    int presses = 0;
    const auto counting = QObject::connect(&action, &QAction::triggered, [&] { ++presses; });
    const int key = keys[0];
    typeKey(key & ~Qt::KeyboardModifierMask, Qt::KeyboardModifiers(key & Qt::KeyboardModifierMask));
    QObject::disconnect(counting);
    return presses;
}

// Each button of the window's toolbars has keys of its own, and each of them presses it.
void expectButtonsHaveKeys(const QWidget& window)
{
    std::set<QString> taken;
    int buttons = 0;
    for (const QToolBar* const toolbar : window.findChildren<QToolBar*>()) {
        for (QAction* const action : toolbar->actions()) {
            if (!action->isVisible() || action->text().isEmpty())
                continue;
            ++buttons;
            action->disconnect(SIGNAL(triggered(bool)));
            EXPECT_FALSE(action->shortcuts().isEmpty()) << action->text().toStdString() << " has no key";
            for (const QKeySequence& keys : action->shortcuts()) {
                EXPECT_TRUE(taken.insert(keys.toString()).second) << keys.toString().toStdString() << " is taken";
                EXPECT_EQ(pressesOf(*action, keys), 1)
                    << action->text().toStdString() << ": " << keys.toString().toStdString();
            }
        }
    }
    EXPECT_GT(buttons, 0);
}

QPushButton* okOf(const QDialog& dialog)
{
    return dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
}

// Every tab, by Ctrl+Tab from the first back to it.
void forEachTab(QDialog& dialog, const std::function<void()>& look)
{
    const auto* const tabs = dialog.findChild<QTabWidget*>();
    if (tabs == nullptr)
        return look();
    for (int at = 0; at < tabs->count(); ++at) {
        const testing::ScopedTrace trace(__FILE__, __LINE__, tabs->tabText(at).toStdString());
        ASSERT_EQ(tabs->currentIndex(), at);
        look();
        typeKey(Qt::Key_Tab, Qt::ControlModifier);
    }
    EXPECT_EQ(tabs->currentIndex(), 0);
    typeKey(Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(tabs->currentIndex(), tabs->count() - 1);
    typeKey(Qt::Key_Tab, Qt::ControlModifier);
}

// Return is OK wherever the keyboard is, except on a button of its own.
void expectReturnIsOk(QDialog& dialog)
{
    auto& buttons = *dialog.findChild<QDialogButtonBox*>();
    buttons.disconnect(SIGNAL(accepted())); // the key counts here, not what OK does
    int presses = 0;
    QObject::connect(okOf(dialog), &QPushButton::clicked, [&] { ++presses; });
    (void)walkByTab(dialog, Qt::Key_Tab, [&](QWidget& at) {
        if (at.inherits("QPushButton"))
            return;
        presses = 0;
        typeKey(Qt::Key_Return);
        EXPECT_EQ(presses, 1) << "from " << described(at);
    });
    QObject::disconnect(okOf(dialog), &QPushButton::clicked, nullptr, nullptr);
    QObject::connect(&buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
}

void expectWorksByKeys(QDialog& dialog)
{
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    EXPECT_EQ(QApplication::focusWidget()->window(), &dialog);
    forEachTab(dialog, [&] {
        expectEveryControlReached(dialog);
        expectReturnIsOk(dialog);
    });
    typeKey(Qt::Key_Escape);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

class Keyboard : public PageFixture {
protected:
    static void awaitActive(QWidget& shown)
    {
        shown.activateWindow();
        ASSERT_TRUE(waitUntil([&] { return shown.isActiveWindow(); }));
    }
};

class KeyboardOnPage : public Keyboard, public testing::WithParamInterface<Page> {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        if (GetParam().prepare)
            GetParam().prepare(store());
        for (const unsigned number : {1, 2})
            ASSERT_EQ(GetParam().addRow(store(), number), kDbOk);
        show(GetParam().make(&store()));
        awaitActive(frame());
    }
};

TEST_P(KeyboardOnPage, BeginsInTheListWhereArrowsChooseARow)
{
    EXPECT_EQ(QApplication::focusWidget(), &view());
    EXPECT_FALSE(view().currentIndex().isValid());
    typeKey(Qt::Key_Down);
    EXPECT_EQ(view().currentIndex().row(), 0);
    EXPECT_TRUE(view().selectionModel()->isRowSelected(0, {}));
    typeKey(Qt::Key_Down);
    EXPECT_EQ(view().currentIndex().row(), 1);
    expectEveryControlReached(frame());
}

TEST_P(KeyboardOnPage, ButtonsOfTheToolbarHaveKeysOfTheirOwn)
{
    expectButtonsHaveKeys(frame());
}

TEST_P(KeyboardOnPage, F1OpensItsHelpAndEscapeCloses)
{
    typeKey(Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList{QStringLiteral("help/") + QLatin1String(GetParam().help)});
    typeKey(Qt::Key_Escape);
    EXPECT_FALSE(frame().isVisible());
}

TEST_P(KeyboardOnPage, EditorsWorkByKeys)
{
    const auto walk = [this](QDialog& dialog) {
        awaitActive(dialog);
        typeKey(Qt::Key_F1);
        EXPECT_EQ(help.takeOpened().size(), 1);
        expectWorksByKeys(dialog);
    };
    const QString title = frame().findChild<Cdlg_common*>()->windowTitle();
    boxes.expectEditor(title, walk);
    typeKey(Qt::Key_Insert);
    if (!actionOf(Edit)->isVisible())
        return;
    for (const Qt::Key key : {Qt::Key_F2, Qt::Key_Return}) {
        awaitActive(frame());
        select(1);
        boxes.expectEditor(title, walk);
        typeKey(key);
    }
}

INSTANTIATE_TEST_SUITE_P(All, KeyboardOnPage, testing::ValuesIn(pages()),
                         [](const auto& page) { return std::string(page.param.name); });

class KeyboardInWindow : public Keyboard {
protected:
    static void showActive(QWidget& shown)
    {
        shown.show();
        awaitActive(shown);
    }
    static void walk(QDialog& dialog)
    {
        showActive(dialog);
        expectWorksByKeys(dialog);
    }
};

TEST_F(KeyboardInWindow, WorksInTheSystemSettings)
{
    Cdlg_sys_tbl dialog(&store(), nullptr);
    walk(dialog);
}

TEST_F(KeyboardInWindow, WorksInTheSettingsOfCallback)
{
    Cdlg_callback dialog(&store(), nullptr);
    dialog.Init();
    walk(dialog);
}

TEST_F(KeyboardInWindow, WorksInTheEditorThatAddsManyUsers)
{
    show(std::make_unique<Cfrm_local_users>(&store(), nullptr));
    awaitActive(frame());
    boxes.expectEditor(item(388), [](QDialog& dialog) {
        awaitActive(dialog);
        expectWorksByKeys(dialog);
    });
    typeKey(Qt::Key_A, Qt::ShiftModifier);
}

TEST_F(KeyboardInWindow, FollowsTheReadingOrderFromRightToLeft)
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    Cdlg_local_user dialog(&store(), nullptr);
    dialog.Init(nullptr, kUsrAdd);
    walk(dialog);
}

TEST_F(KeyboardInWindow, WorksOnThePageOfCallsInProgress)
{
    Cfrm_realtime_cdr page(&store(), nullptr);
    showActive(page);
    EXPECT_EQ(QApplication::focusWidget(), page.centralWidget());
    expectEveryControlReached(page);
    expectButtonsHaveKeys(page);
    typeKey(Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList("help/index.html#records"));
    typeKey(Qt::Key_Escape);
    EXPECT_FALSE(page.isVisible());
}

TEST_F(KeyboardInWindow, WorksInTheBoxThatAsksForALine)
{
    QString text;
    boxes.expectEditor("Title", [](QDialog& box) {
        awaitActive(box);
        auto* const edit = box.findChild<QLineEdit*>();
        EXPECT_EQ(QApplication::focusWidget(), edit);
        typeKey(Qt::Key_7);
        expectEveryControlReached(box);
        typeKey(Qt::Key_Tab); // from OK
        typeKey(Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(), edit);
        typeKey(Qt::Key_Return);
    });
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", "old"), 0u);
    EXPECT_EQ(text, "7") << "what stood there is selected, so that typing replaces it";
    boxes.expectEditor("Title", [](QDialog& box) {
        awaitActive(box);
        typeKey(Qt::Key_Escape);
    });
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", "old"), 1u);
}

TEST_F(KeyboardInWindow, ReturnAndEscapeCloseAWarning)
{
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space, Qt::Key_Escape}) {
        boxes.expectEditor("Title", [key](QDialog& box) {
            awaitActive(box);
            expectEveryControlReached(box);
            typeKey(key);
        });
        PlxWarningBox("Title", "Text");
    }
}

} // namespace
