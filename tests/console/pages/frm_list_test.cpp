// The base of the list frames, with a page of the tests' own.
#include "common/desktop.h"
#include "common/frm_list.h"
#include "support/page_fixture.h"

#include <QAction>
#include <QGuiApplication>
#include <QHeaderView>
#include <QIcon>
#include <QLocale>
#include <QScreen>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QToolBar>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

// Rows "0", "1", ... of a table whose length the test sets; everything of the base is open to the test.
class NumberList : public Cfrm_list {
public:
    NumberList(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_list(store, parent)
    {
        _addColumn(QStringLiteral("Number"));
        _addFinalColumn(QStringLiteral("Half"));
    }

    using Cfrm_list::_actPrevious;
    using Cfrm_list::_addColumn;
    using Cfrm_list::_deleteRow;
    using Cfrm_list::_disableToolbar;
    using Cfrm_list::_enableToolbar;
    using Cfrm_list::_getItemValue;
    using Cfrm_list::_getSelected;
    using Cfrm_list::_hideColumn;
    using Cfrm_list::_hideEditButton;
    using Cfrm_list::_hideNextButton;
    using Cfrm_list::_hidePreviousButton;
    using Cfrm_list::_hideRefreshButton;
    using Cfrm_list::_hideSearchButton;
    using Cfrm_list::_rowOfKey;
    using Cfrm_list::_selectedKey;
    using Cfrm_list::_selectedRow;
    using Cfrm_list::_setItemValue;
    using Cfrm_list::_showNextButton;
    using Cfrm_list::_showPreviousButton;
    using Cfrm_list::_showRefreshButton;
    using Cfrm_list::_showSearchButton;
    using Cfrm_list::_spacer;
    using Cfrm_list::queryBox;
    using Cfrm_list::translateSIPTransport;

    unsigned total = 0;
    QString tail;      // of the last column's texts
    QStringList calls; // of the handlers

protected:
    void loadData() override
    {
        const unsigned end = std::min(total, getCurrPagePos() + getRecordsPerPage());
        for (unsigned number = getCurrPagePos(); number < end; ++number) {
            const int row = _appendRow();
            _setItemValue(row, 0, number);
            _setItemValue(row, 1, QString::number(number / 2) + tail);
        }
    }
    uint32_t getRecordCnt() override { return total; }
    void onAddBtn() override { calls.append("add"); }
    void onEditBtn() override { calls.append("edit"); }
    void onSearchBtn() override { calls.append("search"); }
    void onDeleteBtn() override { calls.append("delete"); }
};

// A page that overrides nothing but what it must.
class BareList : public Cfrm_list {
public:
    BareList(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_list(store, parent)
    {
        _addFinalColumn(QStringLiteral("Number"));
    }

protected:
    void loadData() override
    {
        for (int number = 0; number < 60; ++number)
            _setItemValue(_appendRow(), 0, number);
    }
};

class FrmList : public PageFixture {
protected:
    NumberList& openWith(unsigned total)
    {
        NumberList& list = open<NumberList>();
        list.total = total;
        list.hide();
        list.show();
        return list;
    }
    [[nodiscard]] bool isShown(Button button) const { return toolbarActions().at(button)->isVisible(); }
};

TEST_F(FrmList, HasItsFlagsAndTakesHalfOfTheDesktopCentred)
{
    const NumberList& list = open<NumberList>();
    // The toolkit itself adds what a close button needs.
    const Qt::WindowFlags wanted = Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
    EXPECT_EQ(list.windowFlags(), QDialog(nullptr, wanted).windowFlags());
    EXPECT_FALSE(list.isModal());
    EXPECT_EQ(list.size(), QSize(qRound(WinDesktopWidth() * 0.5), qRound(WinDesktopHeight() * 0.5)));
    const QRect available = QGuiApplication::screens().first()->availableGeometry();
    EXPECT_EQ(list.pos(), QPoint((available.width() - list.width()) / 2, (available.height() - list.height()) / 2));
}

TEST_F(FrmList, TheToolbarStandsAboveAReadOnlyTable)
{
    const NumberList& list = openWith(1);
    auto* const toolbar = list.findChild<QToolBar*>();
    EXPECT_EQ(toolbar->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
    EXPECT_EQ(toolbar->styleSheet(), "QToolBar{border:0}");
    EXPECT_EQ(list.layout()->itemAt(0)->widget(), toolbar);
    EXPECT_EQ(list.layout()->itemAt(1)->widget(), &view());
    EXPECT_NE(qobject_cast<QVBoxLayout*>(list.layout()), nullptr);
    EXPECT_FALSE(view().rootIsDecorated());
    EXPECT_TRUE(view().alternatingRowColors());
    EXPECT_TRUE(view().isSortingEnabled());
    EXPECT_EQ(view().editTriggers(), QAbstractItemView::NoEditTriggers);
    EXPECT_EQ(model().parent(), &list);
}

TEST_F(FrmList, ButtonsHaveTheirShortcuts)
{
    open<NumberList>();
    const QList<QAction*> actions = toolbarActions();
    EXPECT_EQ(actions[Add]->shortcut(), QKeySequence("A"));
    EXPECT_EQ(actions[Edit]->shortcut(), QKeySequence("E"));
    EXPECT_EQ(actions[Delete]->shortcut(), QKeySequence("Delete"));
    EXPECT_EQ(actions[Previous]->shortcut(), QKeySequence(QKeySequence::MoveToPreviousPage));
    EXPECT_EQ(actions[Next]->shortcut(), QKeySequence(QKeySequence::MoveToNextPage));
    EXPECT_EQ(actions[Refresh]->shortcut(), QKeySequence(QKeySequence::Refresh));
    EXPECT_EQ(actions[Query]->shortcut(), QKeySequence(QKeySequence::Find));
}

TEST_F(FrmList, EachButtonReachesItsHandler)
{
    NumberList& list = openWith(1);
    select(0);
    for (const Button button : {Add, Edit, Delete, Query})
        press(button);
    EXPECT_EQ(list.calls, (QStringList{"add", "edit", "delete", "search"}));
}

TEST_F(FrmList, ADoubleClickEditsOrWarns)
{
    NumberList& list = openWith(1);
    boxes.expect(item(76), item(72));
    emit view().doubleClicked(model().index(0, 0));
    EXPECT_EQ(list.calls, QStringList());
    select(0);
    emit view().doubleClicked(model().index(0, 0));
    EXPECT_EQ(list.calls, QStringList{"edit"});
}

TEST_F(FrmList, HandlersOfARowAreNotReachedWithoutOne)
{
    NumberList& list = openWith(1);
    for (const Button button : {Edit, Delete}) {
        boxes.expect(item(76), item(72));
        press(button);
    }
    EXPECT_EQ(list.calls, QStringList());
}

TEST_F(FrmList, WithoutACountNothingFollows)
{
    open<BareList>();
    ASSERT_EQ(model().rowCount(), 60);
    boxes.expect(item(76), item(357));
    press(Next);
    EXPECT_EQ(model().rowCount(), 60);
}

TEST_F(FrmList, SortingReachesTheLoadedRowsOnlyAndEndsWithThePage)
{
    openWith(60);
    EXPECT_LT(view().header()->sortIndicatorSection(), 0) << "rows stand in the order of their query";
    view().sortByColumn(0, Qt::DescendingOrder);
    EXPECT_EQ(cell(0, 0), "49") << "numbers sort as numbers";
    press(Next);
    EXPECT_EQ(cell(0, 0), "50");
    EXPECT_EQ(cell(9, 0), "59");
    EXPECT_LT(view().header()->sortIndicatorSection(), 0);
}

TEST_F(FrmList, TheGapGoesAndComesWithThePreviousButton)
{
    NumberList& list = open<NumberList>();
    EXPECT_EQ(list._spacer->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred));
    EXPECT_TRUE(isShown(Gap));
    list._hidePreviousButton();
    EXPECT_FALSE(isShown(Previous) || isShown(Gap));
    EXPECT_TRUE(waitUntil([&] { return !list._spacer->isVisible(); }));
    EXPECT_TRUE(isShown(Next));
    list._showPreviousButton();
    EXPECT_TRUE(isShown(Previous) && isShown(Gap));
    EXPECT_TRUE(waitUntil([&] { return list._spacer->isVisible(); }));
}

TEST_F(FrmList, EveryOtherButtonHidesAlone)
{
    NumberList& list = open<NumberList>();
    list._hideNextButton();
    list._hideRefreshButton();
    list._hideSearchButton();
    list._hideEditButton();
    EXPECT_FALSE(isShown(Next) || isShown(Refresh) || isShown(Query) || isShown(Edit));
    EXPECT_TRUE(isShown(Add) && isShown(Delete) && isShown(Gap) && isShown(Previous));
    list._showNextButton();
    list._showRefreshButton();
    list._showSearchButton();
    EXPECT_TRUE(isShown(Next) && isShown(Refresh) && isShown(Query));
    list._disableToolbar();
    EXPECT_FALSE(list.findChild<QToolBar*>()->isEnabled());
    list._enableToolbar();
    EXPECT_TRUE(list.findChild<QToolBar*>()->isEnabled());
}

TEST_F(FrmList, RowsAreFoundByWhatTheyShow)
{
    NumberList& list = openWith(10);
    EXPECT_EQ(list._rowOfKey({"7"}), 7);
    EXPECT_EQ(list._rowOfKey({"7", "3"}), 7);
    EXPECT_EQ(list._rowOfKey({"7", "4"}), -1);
    EXPECT_EQ(list._rowOfKey({"70"}), -1);
    list._setItemValue(3, 0, "7");
    EXPECT_EQ(list._rowOfKey({"7"}), 3);
    select(7);
    EXPECT_EQ(list._rowOfKey({"7"}), 7) << "the current row comes before others";
    EXPECT_EQ(list._selectedKey(2), (QStringList{"7", "3"}));
    EXPECT_EQ(list._selectedRow(), 7);
}

TEST_F(FrmList, WithoutASelectionThereIsNoRowButAWarning)
{
    NumberList& list = openWith(1);
    for (int round = 0; round < 3; ++round)
        boxes.expect(item(76), item(72));
    EXPECT_EQ(list._selectedRow(), -1);
    EXPECT_EQ(list._getSelected(), nullptr);
    EXPECT_EQ(list._selectedKey(), QStringList());
}

TEST_F(FrmList, TheKeyboardsComingSelectsNothing)
{
    NumberList& list = openWith(2);
    list.activateWindow();
    view().clearFocus();
    view().setFocus();
    ASSERT_TRUE(waitUntil([&] { return view().hasFocus(); }));
    EXPECT_FALSE(view().currentIndex().isValid());
    pressKey(view(), Qt::Key_Down);
    EXPECT_EQ(list._selectedRow(), 0);
    view().clearFocus();
    view().setFocus();
    EXPECT_EQ(list._selectedRow(), 0) << "what was selected stays";
}

TEST_F(FrmList, ARowThatIsNotThereIsPassedOver)
{
    NumberList& list = openWith(2);
    list._deleteRow(-1);
    list._setItemValue(-1, 0, "x");
    EXPECT_EQ(list._getItemValue(-1, 0), QString());
    EXPECT_EQ(column(0), (QStringList{"0", "1"}));
    list._deleteRow(0);
    EXPECT_EQ(column(0), QStringList{"1"});
}

TEST_F(FrmList, AHiddenColumnKeepsItsData)
{
    NumberList& list = openWith(2);
    list._hideColumn(0);
    EXPECT_TRUE(view().isColumnHidden(0));
    EXPECT_EQ(list._getItemValue(1, 0), "1");
}

TEST_F(FrmList, ColumnsFitTheFirstRowsAndThenBelongToTheUser)
{
    NumberList& list = openWith(0);
    QHeaderView& header = *view().header();
    EXPECT_GE(header.sectionSize(0), header.sectionSizeHint(0));
    list.total = 60;
    press(Refresh);
    EXPECT_EQ(header.length(), view().viewport()->width()) << "no room is left over, nothing needs to be scrolled";
    EXPECT_NEAR(header.sectionSize(0), header.sectionSize(1), 40);
    header.resizeSection(0, 77);
    press(Next);
    EXPECT_EQ(header.sectionSize(0), 77);
}

// What it holds shows whole under the pointer.
TEST_F(FrmList, ALongLastColumnEndsAtTheEdge)
{
    NumberList& list = openWith(0);
    list.total = 1;
    list.tail = QString(300, QLatin1Char('x'));
    press(Refresh);
    EXPECT_GT(view().fontMetrics().horizontalAdvance(list.tail), view().viewport()->width());
    EXPECT_LE(view().header()->length(), view().viewport()->width());
    const int before = view().header()->sectionSize(1);
    list.resize(list.width() + 20, list.height());
    ASSERT_TRUE(waitUntil([&] { return view().header()->sectionSize(1) > before; }));
    EXPECT_LE(view().header()->length(), view().viewport()->width());
}

TEST_F(FrmList, TransportsHaveNames)
{
    EXPECT_EQ(NumberList::translateSIPTransport(0), "UDP");
    EXPECT_EQ(NumberList::translateSIPTransport(1), "TCP");
    EXPECT_EQ(NumberList::translateSIPTransport(2), "TLS");
    EXPECT_EQ(NumberList::translateSIPTransport(7), "UDP");
}

TEST_F(FrmList, TheQueryBoxHasTheTitleOfTheQueryButton)
{
    NumberList& list = open<NumberList>();
    QString result;
    boxes.expectInput(item(373), "Which?", "this", "that");
    EXPECT_EQ(list.queryBox(result, "Which?", "this"), 0u);
    EXPECT_EQ(result, "that");
}

TEST_F(FrmList, F1WithoutATopicOpensNothing)
{
    open<NumberList>();
    pressKey(view(), Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList());
}

} // namespace

TEST_F(FrmList, NumbersAreShownWithoutSeparatorsOfTheLanguage)
{
    QLocale::setDefault(QLocale(QLocale::German));
    open<NumberList>();
    const auto* const shown = qobject_cast<QStyledItemDelegate*>(view().itemDelegate());
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->displayText(1000U, view().locale()), "1000");
}

TEST_F(FrmList, ArrowsPointTheWayThatListsRun)
{
    const auto image = [](const char* name) { return QIcon(name).pixmap(32, 32).toImage(); };
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    open<NumberList>();
    const QList<QAction*> actions = toolbarActions();
    EXPECT_EQ(actions[Previous]->icon().pixmap(32, 32).toImage(), image(":/images/next_32_32.png"));
    EXPECT_EQ(actions[Next]->icon().pixmap(32, 32).toImage(), image(":/images/previous_32_32.png"));
}
