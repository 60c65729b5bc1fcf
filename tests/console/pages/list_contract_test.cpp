// What every list frame promises, held over all of them (list_pages.cpp).
#include "common/dlg_common.h"
#include "console/pages/list_pages.h"
#include "support/page_fixture.h"

#include <QAbstractButton>
#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeView>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace {

using list_pages::Page;
using list_pages::pages;

class ListContract : public PageFixture, public testing::WithParamInterface<Page> {
protected:
    void addRows(unsigned count)
    {
        for (unsigned number = 1; number <= count; ++number)
            ASSERT_EQ(GetParam().addRow(store(), number), kDbOk);
    }
    void openPage()
    {
        show(GetParam().make(&store()));
        takeStatements();
    }
    [[nodiscard]] bool isPaged() const { return GetParam().count != nullptr; }
    [[nodiscard]] QString statementOf(int page) const
    {
        const QString select = QString::fromUtf8(GetParam().select);
        return isPaged() ? select + QStringLiteral(" limit %1, 50").arg(page * 50) : select;
    }
    // What turning a page sends.
    [[nodiscard]] QStringList turningTo(int page) const
    {
        const QString count = QString::fromUtf8(GetParam().count);
        return count.isEmpty() ? QStringList{statementOf(page)} : QStringList{count, statementOf(page)};
    }
    void expectNoMore() { boxes.expect(item(76), item(357)); }
    // Inputs of a tab that was never shown have no place yet.
    static void layOutEveryTab(QDialog& shown)
    {
        for (QTabWidget* const tabs : shown.findChildren<QTabWidget*>()) {
            for (int at = tabs->count() - 1; at >= 0; --at)
                tabs->setCurrentIndex(at);
        }
    }
    Cdlg_common& editor() { return *frame().findChild<Cdlg_common*>(); }
    // All dialogs of the page, its editor first.
    QList<Cdlg_common*> dialogs() { return frame().findChildren<Cdlg_common*>(); }
};

TEST_P(ListContract, ShowsItsCaptionAndColumns)
{
    openPage();
    EXPECT_EQ(frame().windowTitle(), item(GetParam().caption));
    EXPECT_EQ(view().accessibleName(), item(GetParam().caption));
    QStringList shown;
    for (int column = 0; column < model().columnCount(); ++column) {
        if (!view().isColumnHidden(column))
            shown.append(model().headerData(column, Qt::Horizontal).toString());
    }
    QStringList wanted;
    for (const int column : GetParam().columns)
        wanted.append(item(column));
    EXPECT_EQ(shown, wanted);
}

TEST_P(ListContract, ShowsItsButtonsWithTextsAndImages)
{
    openPage();
    struct Wanted {
        std::string name;
        int text;
        const char* image;
    };
    const std::vector<Wanted> kButtons = {{"Add", 66, "add.png"},
                                          {"AddMany", 387, "add.png"},
                                          {"Edit", 68, "edit.png"},
                                          {"Delete", 67, "del.png"},
                                          {"Gap", 0, ""},
                                          {"Previous", 355, "previous_32_32.png"},
                                          {"Next", 356, "next_32_32.png"},
                                          {"Refresh", 311, "refresh.PNG"},
                                          {"Query", 373, "search_32x32.png"}};
    std::string visible;
    for (const QAction* const action : toolbarActions()) {
        const auto known = std::find_if(kButtons.begin(), kButtons.end(), [action](const Wanted& each) {
            return action->text() == (each.text == 0 ? QString() : item(each.text));
        });
        ASSERT_NE(known, kButtons.end()) << action->text().toStdString();
        if (action->isVisible())
            visible += (visible.empty() ? "" : " ") + known->name;
        if (known->text == 0)
            continue;
        const QIcon wanted(QStringLiteral(":/images/") + known->image);
        EXPECT_EQ(action->icon().pixmap(32, 32).toImage(), wanted.pixmap(32, 32).toImage()) << known->name;
    }
    EXPECT_EQ(visible, GetParam().toolbar);
}

TEST_P(ListContract, SendsItsStatements)
{
    addRows(51);
    show(GetParam().make(&store()));
    EXPECT_EQ(takeStatements(), QStringList{statementOf(0)});
    frame().hide();
    frame().show();
    EXPECT_EQ(takeStatements(), QStringList{statementOf(0)});
    if (actionOf(Refresh)->isVisible()) {
        press(Refresh);
        EXPECT_EQ(takeStatements(), QStringList{statementOf(0)});
    }
    if (!isPaged())
        return;
    press(Next);
    EXPECT_EQ(takeStatements(), turningTo(1));
    press(Previous);
    EXPECT_EQ(takeStatements(), QStringList{statementOf(0)});
}

TEST_P(ListContract, PagesThroughItsTableAndWarnsAtBothEnds)
{
    constexpr std::array<unsigned, 5> kSizes = {0, 50, 51, 100, 101};
    unsigned rows = 0;
    openPage();
    for (const unsigned wanted : kSizes) {
        const unsigned size = std::min(wanted, GetParam().most);
        while (rows < size)
            ASSERT_EQ(GetParam().addRow(store(), ++rows), kDbOk);
        frame().hide();
        frame().show();
        if (!isPaged()) {
            EXPECT_EQ(static_cast<unsigned>(model().rowCount()), size);
            for (const Button button : {Previous, Next}) {
                if (!actionOf(button)->isVisible())
                    continue;
                expectNoMore();
                press(button);
                EXPECT_EQ(static_cast<unsigned>(model().rowCount()), size);
            }
            continue;
        }
        for (unsigned first = 0;; first += 50) {
            EXPECT_EQ(static_cast<unsigned>(model().rowCount()), std::min(size - first, 50u)) << size << " rows";
            if (first + 50 >= size) {
                const QStringList last = column(0);
                expectNoMore();
                press(Next);
                EXPECT_EQ(column(0), last) << "the shown rows stay";
                break;
            }
            press(Next);
        }
        for (unsigned page = size == 0 ? 0 : (size - 1) / 50; page > 0; --page)
            press(Previous);
        EXPECT_EQ(static_cast<unsigned>(model().rowCount()), std::min(size, 50u));
        expectNoMore();
        press(Previous);
        EXPECT_EQ(static_cast<unsigned>(model().rowCount()), std::min(size, 50u));
    }
}

TEST_P(ListContract, APagePastTheEndIsEmptyAndHasAWayBack)
{
    addRows(51);
    openPage();
    if (!isPaged()) {
        EXPECT_EQ(model().rowCount(), 51);
        return;
    }
    press(Next);
    ASSERT_EQ(model().rowCount(), 1);
    select(0);
    press(Delete);
    press(Refresh);
    EXPECT_EQ(model().rowCount(), 0);
    press(Previous);
    EXPECT_EQ(model().rowCount(), 50);
}

TEST_P(ListContract, WarnsWhenNoRowIsSelected)
{
    addRows(1);
    openPage();
    view().setCurrentIndex(QModelIndex());
    for (const Button button : {Edit, Delete}) {
        if (!actionOf(button)->isVisible())
            continue;
        boxes.expect(item(76), item(72));
        press(button);
    }
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_P(ListContract, F1OpensItsDocumentationFromListAndEditor)
{
    openPage();
    const QString help_ = QStringLiteral("help/") + QLatin1String(GetParam().help);
    pressKey(view(), Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList{help_});
    for (Cdlg_common* const dialog : dialogs()) {
        pressKey(*dialog, Qt::Key_F1);
        EXPECT_EQ(help.takeOpened(), QStringList{help_});
    }
}

TEST_P(ListContract, EscapeHidesItAndItComesBackOnTheSamePage)
{
    addRows(51);
    openPage();
    if (isPaged())
        press(Next);
    const QStringList rows = column(0);
    pressKey(view(), Qt::Key_Escape);
    EXPECT_TRUE(frame().isHidden());
    frame().show();
    EXPECT_EQ(column(0), rows);
}

TEST_P(ListContract, NothingInItsEditorLacksItsText)
{
    openPage();
    for (const Cdlg_common* const dialog : dialogs()) {
        EXPECT_FALSE(dialog->windowTitle().isEmpty());
        for (const QLabel* const label : dialog->findChildren<QLabel*>())
            EXPECT_FALSE(label->text().isEmpty());
        for (const QAbstractButton* const button : dialog->findChildren<QAbstractButton*>()) {
            if (button->isCheckable()) {
                EXPECT_FALSE(button->text().isEmpty()) << button->metaObject()->className();
            }
        }
        for (const QTabWidget* const tabs : dialog->findChildren<QTabWidget*>()) {
            for (int at = 0; at < tabs->count(); ++at)
                EXPECT_FALSE(tabs->tabText(at).isEmpty()) << at;
        }
    }
}

TEST_P(ListContract, EveryInputOfItsEditorIsNamedAndTabFollowsTheReadingOrder)
{
    if (GetParam().prepare)
        GetParam().prepare(store());
    openPage();
    boxes.expectEditor(editor().windowTitle(), [](QDialog& shown) {
        layOutEveryTab(shown);
        const auto* const box = shown.findChild<QDialogButtonBox*>();
        QRect last;
        const QWidget* lastParent = nullptr;
        bool isBehindButtons = false;
        int inputs = 0;
        for (QWidget* each = shown.nextInFocusChain(); each != &shown; each = each->nextInFocusChain()) {
            if ((each->focusPolicy() & Qt::TabFocus) == 0 || each->focusProxy() != nullptr)
                continue;
            isBehindButtons = isBehindButtons || box->isAncestorOf(each);
            if (box->isAncestorOf(each))
                continue;
            EXPECT_FALSE(isBehindButtons) << each->metaObject()->className() << " comes after the buttons";
            const bool isInside = each->parentWidget()->focusProxy() != nullptr; // the line of an editable box
            if (each->inherits("QTabBar") || each->inherits("QTabWidget") || isInside)
                continue;
            ++inputs;
            EXPECT_FALSE(each->accessibleName().isEmpty() && each->property("text").toString().isEmpty())
                << each->metaObject()->className() << " has no name";
            if (each->isHidden())
                continue; // what does not apply now has no place
            if (each->parentWidget() == lastParent) {
                EXPECT_TRUE(each->y() > last.bottom() ||
                            (each->geometry().bottom() >= last.y() && each->x() > last.x()))
                    << each->accessibleName().toStdString() << " is out of order";
            }
            last = each->geometry();
            lastParent = each->parentWidget();
        }
        EXPECT_GT(inputs, 0);
        EXPECT_TRUE(isBehindButtons);
        pressCancel(shown);
    });
    press(Add);
}

INSTANTIATE_TEST_SUITE_P(All, ListContract, testing::ValuesIn(pages()),
                         [](const auto& page) { return std::string(page.param.name); });

} // namespace
