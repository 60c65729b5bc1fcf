// The window of the calls as they happen: its columns and colours, and what becomes of each record that the server
// publishes.
#include "frm_realtime_cdr.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/event_ids.h"
#include "common/record_view.h"
#include "support/page_fixture.h"

#include <QAction>
#include <QGuiApplication>
#include <QHeaderView>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QToolBar>

#include <thread>

namespace {

constexpr int kColumns = 15;
constexpr int kId = 0;
constexpr int kCallId = 1;
constexpr int kCaller = 2;
constexpr int kStart = 8;
constexpr int kEnd = 11;
constexpr int kAddress = 13;

class RealtimeCdr : public ConsoleFixture {
protected:
    void SetUp() override
    {
        ConsoleFixture::SetUp();
        qputenv("TZ", "UTC");
        tzset();
        buildWindow(); // for the language
        _frame = std::make_unique<Cfrm_realtime_cdr>(nullptr, nullptr);
    }
    void TearDown() override
    {
        _frame.reset();
        ConsoleFixture::TearDown();
    }

    [[nodiscard]] Cfrm_realtime_cdr& frame() const { return *_frame; }
    [[nodiscard]] QTreeView& view() const { return *_frame->findChild<QTreeView*>(QStringLiteral("cdrRecordView")); }
    [[nodiscard]] QAbstractItemModel& model() const { return *view().model(); }
    [[nodiscard]] QString cell(int row, int column) const { return model().index(row, column).data().toString(); }
    [[nodiscard]] QStringList row(int number) const
    {
        QStringList texts;
        for (int column = 0; column < kColumns; ++column)
            texts.append(cell(number, column));
        return texts;
    }
    [[nodiscard]] QStringList column(int number) const
    {
        QStringList texts;
        for (int row = 0; row < model().rowCount(); ++row)
            texts.append(cell(row, number));
        return texts;
    }
    // The colour that all cells of the row have.
    [[nodiscard]] QColor colour(int number) const
    {
        const auto brush = model().index(number, 0).data(Qt::ForegroundRole).value<QBrush>();
        EXPECT_EQ(brush.style(), Qt::SolidPattern);
        for (int column = 1; column < kColumns; ++column)
            EXPECT_EQ(model().index(number, column).data(Qt::ForegroundRole).value<QBrush>(), brush) << column;
        return brush.color();
    }
    // What the view paints.
    [[nodiscard]] QString displayed(int row, int column) const
    {
        return qobject_cast<QStyledItemDelegate*>(view().itemDelegate())
            ->displayText(model().index(row, column).data(), view().locale());
    }
    [[nodiscard]] QAction* clearAction() const { return _frame->findChild<QToolBar*>()->actions().value(0); }

    static Ccdr_record_data callOf(const char* caller)
    {
        Ccdr_record_data record;
        BclCopyStr(record.callerNbr, caller);
        return record;
    }
    // As the server does it.
    void publish(int id, const Ccdr_record_data& record) const { BclPubEvent(kEvtCallRecord, &id, &record); }

private:
    std::unique_ptr<Cfrm_realtime_cdr> _frame;
};

TEST_F(RealtimeCdr, HasItsTitleAndAViewThatCanBeSortedAndNotEdited)
{
    EXPECT_EQ(frame().windowTitle(), item(48));
    EXPECT_TRUE(frame().isWindow());
    EXPECT_EQ(frame().centralWidget(), &view());
    EXPECT_FALSE(view().rootIsDecorated());
    EXPECT_TRUE(view().alternatingRowColors());
    EXPECT_TRUE(view().isSortingEnabled());
    EXPECT_EQ(view().editTriggers(), QAbstractItemView::NoEditTriggers);
    EXPECT_EQ(view().accessibleName(), item(48));
}

TEST_F(RealtimeCdr, TakesThreeFifthsOfTheScreenInItsMiddle)
{
    const QScreen& screen = *QGuiApplication::screens().first();
    const QSize wanted(qRound(screen.geometry().width() * 0.6), qRound(screen.geometry().height() * 0.6));
    EXPECT_EQ(frame().size(), wanted);
    const QRect available = screen.availableGeometry();
    EXPECT_EQ(frame().pos(),
              QPoint((available.width() - wanted.width()) / 2, (available.height() - wanted.height()) / 2));
}

TEST_F(RealtimeCdr, HasFifteenColumnsOfWhichTheFirstIsHidden)
{
    const QStringList heads = {"CdrID",   item(469), item(232), item(350), item(292), item(161), item(462), item(463),
                               item(464), item(465), item(466), item(467), item(468), item(321), "FCI"};
    ASSERT_EQ(model().columnCount(), kColumns);
    for (int column = 0; column < kColumns; ++column) {
        EXPECT_EQ(model().headerData(column, Qt::Horizontal).toString(), heads[column]);
        EXPECT_EQ(view().isColumnHidden(column), column == 0) << column;
    }
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(RealtimeCdr, NoHeadAndNoTimeIsCut)
{
    frame().show();
    Ccdr_record_data record = callOf("1000");
    for (const Ecdr_time moment : {kCdrStart, kCdrRing, kCdrAnswer, kCdrEnd})
        record.setTime(moment, 1'800'000'000);
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    for (int column = 1; column < kColumns; ++column) {
        EXPECT_GE(view().columnWidth(column), view().header()->sectionSizeHint(column)) << column;
        EXPECT_GE(view().columnWidth(column), view().sizeHintForIndex(model().index(0, column)).width()) << column;
    }
}

TEST_F(RealtimeCdr, TheToolbarHoldsTheClearAction)
{
    ASSERT_EQ(frame().findChildren<QToolBar*>().size(), 1);
    const auto* const toolbar = frame().findChild<QToolBar*>();
    EXPECT_EQ(toolbar->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
    ASSERT_EQ(toolbar->actions().size(), 1);
    EXPECT_EQ(clearAction()->text(), item(461));
    EXPECT_EQ(clearAction()->icon().pixmap(32, 32).toImage(),
              QIcon(QStringLiteral(":/images/clear.png")).pixmap(32, 32).toImage());
}

TEST_F(RealtimeCdr, ShowsEachValueInItsColumn)
{
    Ccdr_record_data record;
    record.callId = -7;
    BclCopyStr(record.callerNbr, "1000");
    BclCopyStr(record.dialedNbr, "0123");
    BclCopyStr(record.calledNbr, "123");
    BclCopyStr(record.extLine, "outside");
    record.peerServerId = 12;
    record.releaseCode = 4'000'000'000;
    record.setTime(kCdrStart, 1'800'000'000);
    record.setTime(kCdrRing, 1'800'000'001);
    record.setTime(kCdrAnswer, 1'800'000'002);
    record.setTime(kCdrEnd, 1'800'000'063);
    record.duration = 3'000'000'000;
    BclCopyStr(record.fci, "prepaid=100;rate=3;fee=24");
    frame().slotDisplayCDRInfo(5, QVariant::fromValue(record));
    ASSERT_EQ(model().rowCount(), 1);
    EXPECT_EQ(row(0), (QStringList{"5", "-7", "1000", "0123", "123", "outside", "12", "4000000000",
                                   "2027-01-15 08:00:00", "2027-01-15 08:00:01", "2027-01-15 08:00:02",
                                   "2027-01-15 08:01:03", "3000000000", "", "prepaid=100;rate=3;fee=24"}));
    const auto type = [this](int column) { return model().index(0, column).data(Qt::EditRole).userType(); };
    for (const int column : {kId, kCallId, 6})
        EXPECT_EQ(type(column), QMetaType::Int) << column;
    for (const int column : {7, 12})
        EXPECT_EQ(type(column), QMetaType::UInt) << column;
}

TEST_F(RealtimeCdr, TheAddressIsThatOfTheCalledSideOnceKnownElseOfTheCaller)
{
    Ccdr_record_data record;
    BclCopyStr(record.calledAddr, "called:1");
    BclCopyStr(record.callerAddr, "caller:2");
    const auto shown = [&](uint32_t flags) {
        record.flags = flags;
        frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
        return cell(0, kAddress);
    };
    EXPECT_EQ(shown(0), "");
    EXPECT_EQ(shown(kCdrCallerAddr), "caller:2");
    EXPECT_EQ(shown(kCdrCalledAddr), "called:1");
    EXPECT_EQ(shown(kCdrCalledAddr | kCdrCallerAddr), "called:1");
}

TEST_F(RealtimeCdr, ATimeStampWithoutItsFlagIsNotShown)
{
    Ccdr_record_data record;
    for (int64_t& stamp : record.times)
        stamp = 1'800'000'000;
    record.flags = kCdrHasRing;
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    EXPECT_EQ(row(0).mid(kStart, 4), (QStringList{"", "2027-01-15 08:00:00", "", ""}));
}

TEST_F(RealtimeCdr, WithoutTimeStampsARowIsBlackAndItsTimesAreEmpty)
{
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(callOf("1000")));
    EXPECT_EQ(row(0).mid(kStart, 4), (QStringList{"", "", "", ""}));
    EXPECT_EQ(colour(0), QColor(Qt::black));
}

TEST_F(RealtimeCdr, WithAllFourTimeStampsARowShowsThemInGray)
{
    Ccdr_record_data record;
    for (const Ecdr_time moment : {kCdrStart, kCdrRing, kCdrAnswer, kCdrEnd})
        record.setTime(moment, 1'800'000'000);
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    EXPECT_FALSE(row(0).mid(kStart, 4).contains(QString()));
    EXPECT_EQ(colour(0), QColor(Qt::gray));
}

// The latest moment decides, whichever others are known.
TEST_F(RealtimeCdr, ACallGoesFromBlackToBlueToRedToGray)
{
    const auto colourOf = [this](uint32_t flags) {
        Ccdr_record_data record;
        record.flags = flags;
        frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
        return colour(0);
    };
    for (uint32_t flags = 0; flags < 16; ++flags) {
        const Qt::GlobalColor wanted = (flags & kCdrHasEnd) != 0      ? Qt::gray
                                       : (flags & kCdrHasAnswer) != 0 ? Qt::red
                                       : (flags & kCdrHasRing) != 0   ? Qt::blue
                                                                      : Qt::black;
        EXPECT_EQ(colourOf(flags), QColor(wanted)) << flags;
    }
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(RealtimeCdr, ASecondRecordOfTheSameIdUpdatesItsRow)
{
    for (const int id : {1, 12, 2, 21})
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("first")));
    frame().slotDisplayCDRInfo(2, QVariant::fromValue(callOf("second")));
    EXPECT_EQ(column(kId), (QStringList{"1", "12", "2", "21"}));
    EXPECT_EQ(column(kCaller), (QStringList{"first", "first", "second", "first"}));
}

TEST_F(RealtimeCdr, ARecordWithIdZeroAlwaysAddsARow)
{
    for (const char* caller : {"a", "b", "c"})
        frame().slotDisplayCDRInfo(0, QVariant::fromValue(callOf(caller)));
    EXPECT_EQ(column(kCaller), (QStringList{"a", "b", "c"}));
    EXPECT_EQ(column(kId), (QStringList{"0", "0", "0"}));
}

TEST_F(RealtimeCdr, ANegativeIdIsFoundLikeAnyOther)
{
    frame().slotDisplayCDRInfo(-4, QVariant::fromValue(callOf("a")));
    frame().slotDisplayCDRInfo(4, QVariant::fromValue(callOf("b")));
    frame().slotDisplayCDRInfo(-4, QVariant::fromValue(callOf("c")));
    EXPECT_EQ(column(kCaller), (QStringList{"c", "b"}));
}

TEST_F(RealtimeCdr, AValueOfAnotherTypeGivesAnEmptyRecord)
{
    frame().slotDisplayCDRInfo(3, QVariant::fromValue(callOf("1000")));
    frame().slotDisplayCDRInfo(3, QVariant(QStringLiteral("no record")));
    frame().slotDisplayCDRInfo(4, QVariant());
    const QStringList empty = {"0", "", "", "", "", "0", "0", "", "", "", "", "0", "", ""};
    ASSERT_EQ(model().rowCount(), 2);
    EXPECT_EQ(row(0), QStringList("3") + empty);
    EXPECT_EQ(row(1), QStringList("4") + empty);
    EXPECT_EQ(colour(0), QColor(Qt::black));
}

TEST_F(RealtimeCdr, With1001RowsTheNextRecordLeavesExactlyOneRow)
{
    for (int id = 1; id <= 1001; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("old")));
    ASSERT_EQ(model().rowCount(), 1001);
    frame().slotDisplayCDRInfo(1002, QVariant::fromValue(callOf("new")));
    ASSERT_EQ(model().rowCount(), 1);
    EXPECT_EQ(cell(0, kId), "1002");
    EXPECT_EQ(cell(0, kCaller), "new");
}

TEST_F(RealtimeCdr, With1001RowsAnUpdateOfOneOfThemLeavesIt)
{
    for (int id = 1; id <= 1001; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("old")));
    frame().slotDisplayCDRInfo(500, QVariant::fromValue(callOf("new")));
    EXPECT_EQ(column(kId), QStringList("500"));
    frame().slotDisplayCDRInfo(499, QVariant::fromValue(callOf("new")));
    EXPECT_EQ(column(kId), (QStringList{"500", "499"})) << "the row that 499 once had is gone";
}

TEST_F(RealtimeCdr, With1000RowsAnUpdateLeavesThemAll)
{
    for (int id = 1; id <= 1000; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("old")));
    frame().slotDisplayCDRInfo(1000, QVariant::fromValue(callOf("new")));
    EXPECT_EQ(model().rowCount(), 1000);
    EXPECT_EQ(cell(999, kCaller), "new");
}

TEST_F(RealtimeCdr, ClearRemovesAllRows)
{
    clearAction()->trigger();
    EXPECT_EQ(model().rowCount(), 0) << "an empty list stays as it is";
    QSignalSpy removals(&model(), &QAbstractItemModel::rowsRemoved);
    frame().actClearCDRInfo();
    EXPECT_EQ(removals.size(), 0);
    for (int id = 1; id <= 3; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("a")));
    clearAction()->trigger();
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(model().columnCount(), kColumns);
    frame().slotDisplayCDRInfo(2, QVariant::fromValue(callOf("b")));
    EXPECT_EQ(column(kId), QStringList("2"));
}

TEST_F(RealtimeCdr, SortedByAColumnEachUpdateFindsItsRow)
{
    frame().show();
    for (int id = 1; id <= 30; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf(QByteArray::number(100 - id).constData())));
    view().sortByColumn(kCaller, Qt::AscendingOrder);
    EXPECT_EQ(cell(0, kId), "30");
    for (int id = 1; id <= 30; ++id) {
        Ccdr_record_data record = callOf("7");
        record.callId = id * 1000;
        record.setTime(kCdrRing, 1'800'000'000);
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(record));
        if (id % 10 == 0)
            view().sortByColumn(id == 10 ? kCallId : kId, Qt::DescendingOrder);
    }
    frame().slotDisplayCDRInfo(31, QVariant::fromValue(callOf("new")));
    ASSERT_EQ(model().rowCount(), 31);
    EXPECT_EQ(cell(30, kId), "31") << "a new row comes last";
    for (int row = 0; row < 30; ++row) {
        EXPECT_EQ(cell(row, kCallId), cell(row, kId) + "000");
        EXPECT_EQ(cell(row, kCaller), "7");
        EXPECT_EQ(colour(row), QColor(Qt::blue));
    }
}

TEST_F(RealtimeCdr, NumbersAreSortedAsNumbers)
{
    for (const int id : {9, 100, 20}) {
        Ccdr_record_data record;
        record.callId = id;
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(record));
    }
    view().sortByColumn(kCallId, Qt::AscendingOrder);
    EXPECT_EQ(column(kCallId), (QStringList{"9", "20", "100"}));
}

TEST_F(RealtimeCdr, NumbersHaveNoSeparators)
{
    Ccdr_record_data record;
    record.callId = 1'234'567;
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    EXPECT_EQ(displayed(0, kCallId), "1234567");
}

TEST_F(RealtimeCdr, NumbersAndTimesReadFromLeftToRightInARightToLeftList)
{
    Ccdr_record_data record = callOf("+4989123");
    BclCopyStr(record.dialedNbr, "\xd7\x90\xd7\x91");
    record.setTime(kCdrStart, 1'800'000'000);
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    EXPECT_EQ(displayed(0, kCaller), "+4989123");
    view().setLayoutDirection(Qt::RightToLeft);
    const QString mark(QChar(0x200e));
    EXPECT_EQ(displayed(0, kCaller), mark + "+4989123");
    EXPECT_EQ(displayed(0, kStart), mark + "2027-01-15 08:00:00");
    EXPECT_EQ(displayed(0, 3), cell(0, 3)) << "a name in Hebrew letters";
    EXPECT_EQ(displayed(0, 5), "");
}

TEST_F(RealtimeCdr, TextsAreUtf8AndEndWithTheirField)
{
    Ccdr_record_data record;
    BclCopyStr(record.callerNbr, "\xd0\x90\xd0\xbd\xd0\xbd\xd0\xb0");
    BclCopyStr(record.extLine, "\xe5\xa4\x96\xe7\xba\xbf");
    std::memset(record.calledNbr, '8', sizeof record.calledNbr);
    BclCopyStr(record.fci, "\xff broken");
    frame().slotDisplayCDRInfo(1, QVariant::fromValue(record));
    EXPECT_EQ(cell(0, kCaller), QStringLiteral("Анна"));
    EXPECT_EQ(cell(0, 5), QStringLiteral("外线"));
    EXPECT_EQ(cell(0, 4), QString(33, QLatin1Char('8')));
    EXPECT_EQ(cell(0, 14), QString(QChar(QChar::ReplacementCharacter)) + " broken");
}

TEST_F(RealtimeCdr, EventsOfAnotherThreadComeThroughTheEventLoopInTheirOrder)
{
    std::thread([this] {
        for (int id = 1; id <= 50; ++id) {
            Ccdr_record_data record = callOf("ringing");
            publish(id, record);
            record = callOf("ended");
            record.setTime(kCdrEnd, 1'800'000'000);
            publish(id, record);
        }
    }).join();
    EXPECT_EQ(model().rowCount(), 0) << "no other thread touches the model";
    ASSERT_TRUE(waitUntil([this] { return model().rowCount() == 50 && cell(49, kCaller) == "ended"; }));
    for (int row = 0; row < 50; ++row) {
        EXPECT_EQ(cell(row, kId), QString::number(row + 1));
        EXPECT_EQ(cell(row, kCaller), "ended");
        EXPECT_FALSE(cell(row, kEnd).isEmpty());
    }
}

TEST_F(RealtimeCdr, TheRecordIsCopiedBeforeItsEventIsOver)
{
    std::thread([this] {
        Ccdr_record_data record = callOf("1000");
        int id = 8;
        BclPubEvent(kEvtCallRecord, &id, &record);
        id = 9;
        std::memset(static_cast<void*>(&record), 'x', sizeof record);
    }).join();
    ASSERT_TRUE(waitUntil([this] { return model().rowCount() == 1; }));
    EXPECT_EQ(cell(0, kId), "8");
    EXPECT_EQ(cell(0, kCaller), "1000");
}

TEST_F(RealtimeCdr, TheRecordTravelsUnderItsNameThroughTheSignal)
{
    QSignalSpy told(&frame(), &Cfrm_realtime_cdr::sigDisplayCDRInfo);
    frame().showCDRInfo(6, callOf("1000"));
    ASSERT_EQ(told.size(), 1);
    EXPECT_EQ(told[0][0].toInt(), 6);
    const auto value = told[0][1].value<QVariant>();
    EXPECT_STREQ(value.typeName(), "Ccdr_record_data");
    EXPECT_STREQ(value.value<Ccdr_record_data>().callerNbr, "1000");
    EXPECT_EQ(column(kId), QStringList("6"));
}

// A row that is measured at every change of one of its cells would stop the window at hundreds of events a second.
class MeasuringDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        ++measured;
        return QStyledItemDelegate::sizeHint(option, index);
    }

    mutable int measured = 0;
};

TEST_F(RealtimeCdr, AnUpdateMeasuresNoRow)
{
    auto* const delegate = new MeasuringDelegate(&frame());
    view().setItemDelegate(delegate);
    frame().show();
    for (int id = 1; id <= 3; ++id)
        frame().slotDisplayCDRInfo(id, QVariant::fromValue(callOf("a")));
    ASSERT_TRUE(waitUntil([&] { return delegate->measured > 0; }));
    QCoreApplication::processEvents();
    delegate->measured = 0;
    frame().slotDisplayCDRInfo(2, QVariant::fromValue(callOf("b")));
    QCoreApplication::processEvents();
    EXPECT_EQ(delegate->measured, 0);
}

TEST_F(RealtimeCdr, AClosedAndReopenedWindowKeepsAndGathersRows)
{
    frame().show();
    publish(1, callOf("before"));
    frame().close();
    publish(2, callOf("meanwhile"));
    frame().show();
    EXPECT_EQ(column(kCaller), (QStringList{"before", "meanwhile"}));
}

} // namespace
