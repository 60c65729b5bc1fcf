// The page of the external lines: its rows, its commands, and what the server tells of its lines.
#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/event_ids.h"
#include "frm_ext_lines.h"
#include "support/ext_lines_fixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QThread>
#include <QTreeView>

#include <thread>

namespace {

class ExtLines : public ExtLinesFixture {
protected:
    // As the server does it: what a page loads from then on, then the event, on a thread of its own.
    void setState(const char* name, uint8_t state)
    {
        ASSERT_EQ(store().DbWriteExtLineState(name, state), kDbOk);
        publishState(name, state);
    }
    static void publishState(const char* name, uint8_t state)
    {
        std::thread([=] {
            uint8_t byte = state;
            BclPubEvent(kEvtLineState, name, &byte);
        }).join();
    }
    // 1 on, 0 off, -1 neither.
    [[nodiscard]] int shownState(int row) const
    {
        const auto image = [](const QIcon& icon) { return icon.pixmap(32, 32).toImage(); };
        const QImage shown = image(model().index(row, 0).data(Qt::DecorationRole).value<QIcon>());
        if (shown == image(QIcon(":/images/extline_on.png")))
            return 1;
        return shown == image(QIcon(":/images/extline_off.png")) ? 0 : -1;
    }
    void searchFor(const QString& name) { boxes.expectInput(item(373), item(165), QString(), name); }
};

TEST_F(ExtLines, ALineShowsWithItsStateInTheOrderOfTheStore)
{
    Cdb_ext_line_info record = line("b");
    BclCopyStr(record.description, "Zürich 王");
    BclCopyStr(record.destination, "100");
    record.serverPort = 5071;
    record.transport = 1;
    keep(record);
    keep(line("a"));
    ASSERT_EQ(store().DbWriteExtLineState("b", 1), kDbOk);
    open<Cfrm_ext_lines>();
    EXPECT_EQ(row(0), (QStringList{"b", QString::fromUtf8("Zürich 王"), "192.0.2.1", "5071", "TCP", "100"}));
    EXPECT_EQ(row(1), (QStringList{"a", "", "192.0.2.1", "5060", "UDP", ""}));
    EXPECT_EQ(shownState(0), 1);
    EXPECT_EQ(shownState(1), 0);
}

TEST_F(ExtLines, EveryStateButZeroIsOn)
{
    keep(line("a"));
    open<Cfrm_ext_lines>();
    for (const uint8_t state : {1, 0, 2, 0, 255, 0}) {
        publishState("a", state);
        QCoreApplication::processEvents();
        EXPECT_EQ(shownState(0), state == 0 ? 0 : 1) << unsigned{state};
    }
}

TEST_F(ExtLines, ATransportWithoutANameShowsAsUdp)
{
    const std::vector<std::pair<uint32_t, QString>> kTransports = {
        {0, "UDP"}, {1, "TCP"}, {2, "TLS"}, {3, "UDP"}, {255, "UDP"}};
    for (const auto& [transport, text] : kTransports) {
        Cdb_ext_line_info record = line(std::to_string(transport).c_str());
        record.transport = transport;
        keep(record);
    }
    open<Cfrm_ext_lines>();
    for (int row = 0; row < model().rowCount(); ++row)
        EXPECT_EQ(cell(row, 4), kTransports[static_cast<size_t>(row)].second) << row;
}

TEST_F(ExtLines, EventsAreEmittedOnTheServersThreadAndTakenOnThatOfTheWindow)
{
    keep(line("a"));
    Cfrm_ext_lines& page = open<Cfrm_ext_lines>();
    QSignalSpy states(&page, SIGNAL(sigExtLineStateUpdate(QString, int)));
    const QThread* writer = nullptr;
    QObject::connect(&model(), &QAbstractItemModel::dataChanged, [&] { writer = QThread::currentThread(); });
    publishState("a", 1);
    EXPECT_EQ(shownState(0), 0) << "nothing changes before the event loop runs";
    publishState(nullptr, 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(shownState(0), 1);
    ASSERT_EQ(states.size(), 2);
    EXPECT_EQ(states[0], (QVariantList{"a", 1}));
    EXPECT_EQ(states[1], (QVariantList{"", 1}));
    EXPECT_EQ(writer, page.thread());
}

TEST_F(ExtLines, TheSlotIsFoundByItsName)
{
    keep(line("a"));
    Cfrm_ext_lines& page = open<Cfrm_ext_lines>();
    ASSERT_TRUE(QMetaObject::invokeMethod(&page, "slotExtLineStateUpdate", Q_ARG(QString, "a"), Q_ARG(int, 1)));
    EXPECT_EQ(shownState(0), 1);
}

TEST_F(ExtLines, EventsOfLinesThatAreNotOnThePageChangeNothing)
{
    for (int number = 1000; number <= 1050; ++number)
        keep(line(std::to_string(number).c_str()));
    open<Cfrm_ext_lines>();
    int changes = 0;
    QObject::connect(&model(), &QAbstractItemModel::dataChanged, [&changes] { ++changes; });
    for (const char* const name : {"1050", "100", "10000", "1000 ", ""})
        publishState(name, 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 0);
    setState("1050", 1);
    press(Next);
    EXPECT_EQ(shownState(0), 1) << "loaded with its page";
}

TEST_F(ExtLines, AStateThatChangesUnderAnOpenEditorIsNotOverwrittenByTheEdit)
{
    keep(line("a"));
    keep(line("b"));
    ASSERT_EQ(store().DbWriteExtLineState("b", 1), kDbOk);
    open<Cfrm_ext_lines>();
    edit("a", [this](QDialog& editor) {
        setState("a", 1);
        input<QLineEdit>(editor, 283).setText("edited");
        pressOk(editor);
    });
    edit("b", [this](QDialog& editor) {
        setState("b", 0);
        input<QLineEdit>(editor, 283).setText("edited");
        pressOk(editor);
    });
    for (int round = 0; round < 2; ++round) {
        QCoreApplication::processEvents();
        EXPECT_EQ(shownState(0), 1) << round;
        EXPECT_EQ(shownState(1), 0) << round;
        EXPECT_EQ(column(1), (QStringList{"edited", "edited"}));
        press(Refresh);
    }
}

TEST_F(ExtLines, AddAppendsTheLineAsItWasEntered)
{
    keep(line("m"));
    open<Cfrm_ext_lines>();
    takeStatements();
    add([](QDialog& editor) {
        input<QLineEdit>(editor, 165).setText("a");
        input<QLineEdit>(editor, 283).setText("Provider");
        input<QLineEdit>(editor, 170).setText("192.0.2.9");
        input<QLineEdit>(editor, 171).setText("0x13D8");
        input<QComboBox>(editor, 362).setCurrentIndex(1);
        named<QLineEdit>(editor, 351).setText("100");
        pressOk(editor);
    });
    EXPECT_EQ(column(0), (QStringList{"m", "a"}));
    EXPECT_EQ(row(1), (QStringList{"a", "Provider", "192.0.2.9", "5080", "TCP", "100"}));
    EXPECT_EQ(shownState(1), 0);
    EXPECT_EQ(takeStatements().filter(" limit "), QStringList()) << "the page was not loaded anew";
    press(Refresh);
    EXPECT_EQ(row(1), (QStringList{"a", "Provider", "192.0.2.9", "5080", "TCP", "100"}));
}

TEST_F(ExtLines, EditLeavesAddressAndPortOfTheRowUntilRefresh)
{
    keep(line("a"));
    keep(line("b"));
    open<Cfrm_ext_lines>();
    edit("b", [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("Provider");
        input<QLineEdit>(editor, 170).setText("192.0.2.9");
        input<QLineEdit>(editor, 171).setText("5080");
        input<QComboBox>(editor, 362).setCurrentIndex(1);
        named<QLineEdit>(editor, 351).setText("100");
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"a", "", "192.0.2.1", "5060", "UDP", ""}));
    EXPECT_EQ(row(1), (QStringList{"b", "Provider", "192.0.2.1", "5060", "TCP", "100"}));
    press(Refresh);
    EXPECT_EQ(row(1), (QStringList{"b", "Provider", "192.0.2.9", "5080", "TCP", "100"}));
}

TEST_F(ExtLines, EditWritesIntoTheRowOfItsLineAlsoWhenThePageWasLoadedAnew)
{
    keep(line("a"));
    keep(line("b"));
    Cfrm_ext_lines& page = open<Cfrm_ext_lines>();
    edit("b", [&](QDialog& editor) {
        ASSERT_EQ(store().DbExtLineDel("a"), kDbOk);
        page.hide();
        page.show();
        input<QLineEdit>(editor, 283).setText("Provider");
        pressOk(editor);
    });
    EXPECT_EQ(column(0), QStringList{"b"});
    EXPECT_EQ(column(1), QStringList{"Provider"});
}

TEST_F(ExtLines, EditThatIsCancelledOrOfALineThatIsGoneChangesNothing)
{
    keep(line("a"));
    open<Cfrm_ext_lines>();
    edit("a", [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("Provider");
        pressCancel(editor);
    });
    EXPECT_EQ(cell(0, 1), "");
    ASSERT_EQ(store().DbExtLineDel("a"), kDbOk);
    press(Edit);
    EXPECT_EQ(column(0), QStringList{"a"});
}

TEST_F(ExtLines, DeleteRemovesTheRowWhenTheStoreDoes)
{
    keep(line("a"));
    keep(line("b"));
    open<Cfrm_ext_lines>();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"b"});
    EXPECT_EQ(store().DbExtLineHas("a"), 0u);
    ASSERT_EQ(store().DbExtLineDel("b"), kDbOk);
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"b"}) << "it was gone already";
}

TEST_F(ExtLines, SearchEditsALineAndWritesNumberAndTransportIntoItsRow)
{
    keep(line("a"));
    keep(line("b"));
    open<Cfrm_ext_lines>();
    searchFor("b");
    boxes.expectEditor(item(159), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 165).isEnabled());
        input<QLineEdit>(editor, 283).setText("Provider");
        input<QComboBox>(editor, 362).setCurrentIndex(1);
        named<QLineEdit>(editor, 351).setText("100");
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(row(1), (QStringList{"b", "", "192.0.2.1", "5060", "TCP", "100"}));
    EXPECT_EQ(row(0), (QStringList{"a", "", "192.0.2.1", "5060", "UDP", ""}));
    EXPECT_STREQ(stored("b").description, "Provider");
}

TEST_F(ExtLines, SearchFindsALineOfAnotherPageAndLeavesTheRows)
{
    for (int number = 1000; number <= 1050; ++number)
        keep(line(std::to_string(number).c_str()));
    open<Cfrm_ext_lines>();
    searchFor("1050");
    boxes.expectEditor(item(159), [](QDialog& editor) {
        named<QLineEdit>(editor, 351).setText("100");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored("1050").destination, "100");
    EXPECT_EQ(column(5).filter("100"), QStringList());
}

TEST_F(ExtLines, SearchForAnUnknownLineSaysSo)
{
    keep(line(std::string(32, 'n').c_str()));
    open<Cfrm_ext_lines>();
    for (const QString& name : {QStringLiteral("nobody"), QStringLiteral(" "), QString(33, 'n')}) {
        searchFor(name);
        boxes.expect(item(443), item(442));
        press(Query);
    }
    boxes.expectInputToCancel(item(373), item(165), QString());
    press(Query);
    searchFor(QString());
    press(Query);
}

} // namespace
