// The page of the peer servers.
#include "frm_peer_servers.h"
#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QTabWidget>
#include <QTreeView>

namespace {

Cdb_sip_domain_data peer(const char* address)
{
    Cdb_sip_domain_data record;
    BclCopyStr(record.peerAddr, address);
    BclCopyStr(record.description, "Branch");
    return record;
}

class PeerServers : public PageFixture {
protected:
    [[nodiscard]] QString title() const { return item(182); }
    Cdb_sip_domain_data stored(unsigned sid)
    {
        Cdb_sip_domain_data record;
        EXPECT_EQ(store().DbPeerServerGet(sid, record), kDbOk) << sid;
        return record;
    }
    void keep(unsigned sid, const Cdb_sip_domain_data& record)
    {
        ASSERT_EQ(store().DbPeerServerSet(sid, record), kDbOk);
    }
    // Fills in the least that is accepted.
    static void fillIn(QDialog& editor, const QString& sid, const QString& address)
    {
        input<QLineEdit>(editor, 183).setText(sid);
        input<QLineEdit>(editor, 185).setText(address);
    }
    // Adding with this change to a good entry shows the message and stores nothing.
    void expectRefused(int message, const std::function<void(QDialog&)>& spoil)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            fillIn(editor, "5", "10.0.0.1");
            spoil(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect(item(77), item(message));
        press(Add);
        EXPECT_EQ(model().rowCount(), 0);
        EXPECT_EQ(store().rows<Cdb_peer_server>().get()->size(), 0u);
    }
    // Says OK without a change.
    void confirmOnly()
    {
        boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
    }
};

TEST_F(PeerServers, AddOpensWithTheDefaults)
{
    keep(1, peer("10.0.0.1"));
    open<Cfrm_peer_servers>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(input<QLineEdit>(editor, 183).isEnabled());
        for (const int empty : {183, 184, 185, 314, 472})
            EXPECT_EQ(input<QLineEdit>(editor, empty).text(), QString()) << empty;
        EXPECT_EQ(input<QLineEdit>(editor, 186).text(), "5060");
        EXPECT_EQ(input<QLineEdit>(editor, 322).text(), "30");
        EXPECT_EQ(input<QLineEdit>(editor, 439).text(), "30");
        EXPECT_EQ(input<QComboBox>(editor, 362).currentText(), "UDP");
        EXPECT_EQ(input<QComboBox>(editor, 313).currentText(), "default");
        EXPECT_TRUE(input<QComboBox>(editor, 313).isEditable());
        for (const int none : {407, 426, 448})
            EXPECT_EQ(input<QComboBox>(editor, none).currentText(), "0") << none;
        EXPECT_FALSE(check(editor, 150).isChecked());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(PeerServers, HasThreeTabsInOrderAndOpensOnTheFirst)
{
    open<Cfrm_peer_servers>();
    for (int round = 0; round < 2; ++round) {
        boxes.expectEditor(title(), [](QDialog& editor) {
            auto* const tabs = editor.findChild<QTabWidget*>();
            ASSERT_EQ(tabs->count(), 3);
            EXPECT_EQ(tabs->tabText(0), item(162));
            EXPECT_EQ(tabs->tabText(1), item(164));
            EXPECT_EQ(tabs->tabText(2), item(163));
            EXPECT_EQ(tabs->currentIndex(), 0);
            tabs->setCurrentIndex(2);
            pressCancel(editor);
        });
        press(Add);
    }
}

TEST_F(PeerServers, AddStoresEveryFieldAndAppendsTheRow)
{
    keep(3, peer("10.0.0.3"));
    Cdb_time_cond office;
    office.ID = 7;
    ASSERT_EQ(store().DbTimeConditionAdd(office), kDbOk);
    Cdb_nbr_cld_refine refine;
    refine.groupID = 9;
    ASSERT_EQ(store().DbRefineCalledNbrAdd(refine), kDbOk);
    open<Cfrm_peer_servers>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor, "12", "  sip.example.org ");
        input<QLineEdit>(editor, 184).setText(QString::fromUtf8("Zürich 王"));
        input<QLineEdit>(editor, 186).setText("5070");
        input<QComboBox>(editor, 362).setCurrentIndex(1);
        input<QLineEdit>(editor, 314).setText("0441234567");
        input<QLineEdit>(editor, 472).setText("user=phone");
        input<QComboBox>(editor, 426).setCurrentIndex(1);
        input<QComboBox>(editor, 407).setCurrentIndex(1);
        input<QLineEdit>(editor, 322).setText("12");
        input<QComboBox>(editor, 448).setCurrentIndex(1);
        check(editor, 150).setChecked(true);
        input<QComboBox>(editor, 313).setEditText("night");
        input<QLineEdit>(editor, 439).setText("8");
        pressOk(editor);
    });
    press(Add);
    const Cdb_sip_domain_data record = stored(12);
    EXPECT_STREQ(record.peerAddr, "sip.example.org");
    EXPECT_STREQ(record.description, "Zürich 王");
    EXPECT_EQ(record.peerPort, 5070);
    EXPECT_EQ(record.transport, 1);
    EXPECT_STREQ(record.outCallerNbr, "0441234567");
    EXPECT_STREQ(record.uriParams, "user=phone");
    EXPECT_EQ(record.timeCondId, 7u);
    EXPECT_EQ(record.cldRefineGroup, 9u);
    EXPECT_EQ(record.maxOutCalls, 12);
    EXPECT_EQ(record.backupSid, 3u);
    EXPECT_EQ(record.flags, kPeerRelayMedia);
    EXPECT_STREQ(record.dialPlan, "night");
    EXPECT_EQ(record.maxInCalls, 8);
    ASSERT_EQ(model().rowCount(), 2);
    EXPECT_EQ(row(1), (QStringList{"12", QString::fromUtf8("Zürich 王"), "sip.example.org", "5070", "TCP"}));
}

TEST_F(PeerServers, EditShowsEveryFieldAndLocksTheKey)
{
    Cdb_sip_domain_data record = peer("10.0.0.5");
    record.peerPort = 5080;
    record.transport = 1;
    BclCopyStr(record.outCallerNbr, "100");
    BclCopyStr(record.uriParams, "a=b");
    BclCopyStr(record.dialPlan, "night");
    record.maxOutCalls = 1;
    record.maxInCalls = 2;
    record.flags = kPeerRelayMedia;
    record.backupSid = 6;
    record.timeCondId = 3;
    record.cldRefineGroup = 4;
    Cdb_time_cond condition;
    condition.ID = 3;
    ASSERT_EQ(store().DbTimeConditionAdd(condition), kDbOk);
    Cdb_nbr_cld_refine refinement;
    refinement.groupID = 4;
    ASSERT_EQ(store().DbRefineCalledNbrAdd(refinement), kDbOk);
    keep(6, peer("10.0.0.6"));
    keep(5, record);
    open<Cfrm_peer_servers>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 183).isEnabled());
        EXPECT_EQ(input<QLineEdit>(editor, 183).text(), "5");
        EXPECT_EQ(input<QLineEdit>(editor, 184).text(), "Branch");
        EXPECT_EQ(input<QLineEdit>(editor, 185).text(), "10.0.0.5");
        EXPECT_EQ(input<QLineEdit>(editor, 186).text(), "5080");
        EXPECT_EQ(input<QComboBox>(editor, 362).currentText(), "TCP");
        EXPECT_EQ(input<QLineEdit>(editor, 314).text(), "100");
        EXPECT_EQ(input<QLineEdit>(editor, 472).text(), "a=b");
        EXPECT_EQ(input<QLineEdit>(editor, 322).text(), "1");
        EXPECT_EQ(input<QLineEdit>(editor, 439).text(), "2");
        EXPECT_EQ(input<QComboBox>(editor, 313).currentText(), "night");
        EXPECT_EQ(input<QComboBox>(editor, 448).currentText(), "6 (Branch) : 10.0.0.6:5060");
        EXPECT_EQ(input<QComboBox>(editor, 426).currentData().toUInt(), 3u);
        EXPECT_EQ(input<QComboBox>(editor, 407).currentData().toUInt(), 4u);
        EXPECT_TRUE(check(editor, 150).isChecked());
        pressCancel(editor);
    });
    press(Edit);
}

TEST_F(PeerServers, EditStoresAndRefreshesItsRow)
{
    keep(5, peer("10.0.0.5"));
    keep(6, peer("10.0.0.6"));
    open<Cfrm_peer_servers>();
    takeStatements();
    select(1);
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 185).setText("10.0.0.66");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_STREQ(stored(6).peerAddr, "10.0.0.66");
    EXPECT_EQ(row(1), (QStringList{"6", "Branch", "10.0.0.66", "5060", "UDP"}));
    EXPECT_EQ(cell(0, 2), "10.0.0.5");
    EXPECT_TRUE(takeStatements().filter("order by sid").isEmpty()) << "the page was loaded anew";
}

TEST_F(PeerServers, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(5, peer("10.0.0.5"));
    keep(6, peer("10.0.0.6"));
    open<Cfrm_peer_servers>();
    select(1);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        // Somebody adds a peer, and the window is hidden and restored.
        keep(1, peer("10.0.0.1"));
        frame().hide();
        frame().show();
        input<QLineEdit>(editor, 185).setText("10.0.0.66");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(0), (QStringList{"1", "5", "6"}));
    EXPECT_EQ(column(2), (QStringList{"10.0.0.1", "10.0.0.5", "10.0.0.66"}));
    EXPECT_STREQ(stored(6).peerAddr, "10.0.0.66");
}

TEST_F(PeerServers, EditOfARowThatIsGoneFromThePageChangesNoOther)
{
    keep(5, peer("10.0.0.5"));
    keep(6, peer("10.0.0.6"));
    open<Cfrm_peer_servers>();
    select(1);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        ASSERT_EQ(store().DbPeerServerDel(6), kDbOk);
        frame().hide();
        frame().show();
        input<QLineEdit>(editor, 185).setText("10.0.0.66");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(2), QStringList{"10.0.0.5"});
}

TEST_F(PeerServers, EditKeepsTheFlagsThatItDoesNotShow)
{
    Cdb_sip_domain_data record = peer("10.0.0.5");
    record.flags = 0xF0;
    keep(5, record);
    open<Cfrm_peer_servers>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        check(editor, 150).setChecked(true);
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(stored(5).flags, 0xF1);
}

TEST_F(PeerServers, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Peer = Cdb_sip_domain_data;
    using Input = EditorInput;
    Cdb_time_cond condition;
    condition.ID = 3;
    ASSERT_EQ(store().DbTimeConditionAdd(condition), kDbOk);
    Cdb_nbr_cld_refine refinement;
    refinement.groupID = 4;
    ASSERT_EQ(store().DbRefineCalledNbrAdd(refinement), kDbOk);
    keep(6, peer("10.0.0.6"));
    Peer record = peer("10.0.0.5");
    record.peerPort = 5080;
    record.transport = 1;
    BclCopyStr(record.outCallerNbr, "100");
    BclCopyStr(record.uriParams, "a=b");
    BclCopyStr(record.dialPlan, "night");
    record.timeCondId = 3;
    record.cldRefineGroup = 4;
    record.backupSid = 6;
    record.maxOutCalls = 1;
    record.maxInCalls = 2;
    record.flags = kPeerRelayMedia | 0x40;
    keep(5, record);
    open<Cfrm_peer_servers>();

    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(Peer());
    trip.putBack = [&] { keep(5, record); };
    trip.stored = [&] { return bytesOf(stored(5)); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) {
        select(0);
        boxes.expectEditor(title(), use);
        press(Edit);
    };
    trip.inputs = {
        {Input::Edit, 184, {whole(&Peer::description)}},
        {Input::Edit, 185, {whole(&Peer::peerAddr)}},
        {Input::Edit, 186, {whole(&Peer::peerPort)}},
        {Input::Combo, 362, {whole(&Peer::transport)}},
        {Input::Edit, 314, {whole(&Peer::outCallerNbr)}},
        {Input::Edit, 472, {whole(&Peer::uriParams)}},
        {Input::Combo, 426, {whole(&Peer::timeCondId)}},
        {Input::Combo, 407, {whole(&Peer::cldRefineGroup)}},
        {Input::Edit, 322, {whole(&Peer::maxOutCalls)}},
        {Input::Combo, 448, {whole(&Peer::backupSid)}},
        {Input::Check, 150, {only(&Peer::flags, kPeerRelayMedia)}},
        {Input::Combo, 313, {whole(&Peer::dialPlan)}},
        {Input::Edit, 439, {whole(&Peer::maxInCalls)}},
    };
    trip.locked = {{Input::Edit, 183, {}}};
    trip.kept = {only(&Peer::flags, ~kPeerRelayMedia & 0xffu), whole(&Peer::reserved)};
    trip.check();
}

TEST_F(PeerServers, OkWithoutAChangeStoresNothing)
{
    Cdb_sip_domain_data record = peer("10.0.0.5");
    record.flags = 0xF0;
    keep(5, record);
    open<Cfrm_peer_servers>();
    int writes = 0;
    store().addListener([&writes](const Cdb_change&) { ++writes; });
    select(0);
    confirmOnly();
    press(Edit);
    EXPECT_EQ(writes, 0);
}

TEST_F(PeerServers, ANewPeerThatSaysNothingOfItsOwnIsNotStored)
{
    open<Cfrm_peer_servers>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor, "5", " ");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    press(Add);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(PeerServers, APortBelowOneOrNoNumberIsRefused)
{
    open<Cfrm_peer_servers>();
    for (const QString& port : {QStringLiteral("0"), QString(), QStringLiteral("sip"), QStringLiteral("-1")})
        expectRefused(75, [=](QDialog& editor) { input<QLineEdit>(editor, 186).setText(port); });
}

TEST_F(PeerServers, AnEmptyAddressIsRefusedFirst)
{
    open<Cfrm_peer_servers>();
    expectRefused(74, [](QDialog& editor) {
        input<QLineEdit>(editor, 185).clear();
        input<QLineEdit>(editor, 186).clear();
        input<QLineEdit>(editor, 183).clear();
    });
}

TEST_F(PeerServers, AnIdThatIsEmptyOrBelowOneIsRefusedLast)
{
    open<Cfrm_peer_servers>();
    for (const QString& sid : {QString(), QStringLiteral("0"), QStringLiteral("-3"), QStringLiteral("one")})
        expectRefused(187, [=](QDialog& editor) { input<QLineEdit>(editor, 183).setText(sid); });
    expectRefused(75, [](QDialog& editor) {
        input<QLineEdit>(editor, 183).clear();
        input<QLineEdit>(editor, 186).clear();
    });
}

TEST_F(PeerServers, AnAddressOfBlanksIsStoredEmpty)
{
    open<Cfrm_peer_servers>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor, "5", "   ");
        input<QLineEdit>(editor, 184).setText("Nowhere");
        pressOk(editor);
    });
    press(Add);
    EXPECT_STREQ(stored(5).peerAddr, "");
    EXPECT_EQ(cell(0, 2), QString());
}

TEST_F(PeerServers, TextsAreCutAtTheirBounds)
{
    open<Cfrm_peer_servers>();
    const QString longText(200, QLatin1Char('x'));
    boxes.expectEditor(title(), [&](QDialog& editor) {
        fillIn(editor, "5", longText);
        for (const int text : {184, 314, 472})
            input<QLineEdit>(editor, text).setText(longText);
        input<QComboBox>(editor, 313).setEditText(longText);
        pressOk(editor);
    });
    press(Add);
    const Cdb_sip_domain_data record = stored(5);
    EXPECT_EQ(std::string(record.description).size(), 64u);
    EXPECT_EQ(std::string(record.peerAddr).size(), 64u);
    EXPECT_EQ(std::string(record.outCallerNbr).size(), 32u);
    EXPECT_EQ(std::string(record.uriParams).size(), 63u);
    EXPECT_EQ(std::string(record.dialPlan).size(), 32u);
}

TEST_F(PeerServers, ATransportThatNoItemCarriesShowsUdp)
{
    for (const uint16_t transport : {0, 7}) {
        Cdb_sip_domain_data record = peer("10.0.0.5");
        record.transport = transport;
        keep(transport + 1u, record);
    }
    open<Cfrm_peer_servers>();
    for (int at = 0; at < 2; ++at) {
        select(at);
        boxes.expectEditor(title(), [](QDialog& editor) {
            EXPECT_EQ(input<QComboBox>(editor, 362).currentText(), "UDP");
            pressCancel(editor);
        });
        press(Edit);
    }
}

TEST_F(PeerServers, AddingAnExistingIdOverwritesItAndShowsASecondRowUntilReload)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor, "5", "10.0.0.55");
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(column(0), (QStringList{"5", "5"}));
    EXPECT_STREQ(stored(5).peerAddr, "10.0.0.55");
    press(Refresh);
    EXPECT_EQ(column(2), QStringList{"10.0.0.55"});
}

TEST_F(PeerServers, TheListIsOrderedByNumber)
{
    for (const unsigned sid : {10u, 9u, 100u})
        keep(sid, peer("10.0.0.1"));
    open<Cfrm_peer_servers>();
    EXPECT_EQ(column(0), (QStringList{"9", "10", "100"}));
}

TEST_F(PeerServers, DeleteRemovesRecordAndRowWithoutAQuestion)
{
    keep(5, peer("10.0.0.5"));
    keep(6, peer("10.0.0.6"));
    open<Cfrm_peer_servers>();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"6"});
    Cdb_sip_domain_data record;
    EXPECT_NE(store().DbPeerServerGet(5, record), kDbOk);
}

TEST_F(PeerServers, DeleteRemovesTheRowAlsoOfARecordThatIsGone)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    ASSERT_EQ(store().DbPeerServerDel(5), kDbOk);
    select(0);
    press(Delete);
    EXPECT_TRUE(column(0).isEmpty());
}

TEST_F(PeerServers, EditOfARecordThatIsGoneStoresItAnew)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    ASSERT_EQ(store().DbPeerServerDel(5), kDbOk);
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 183).text(), "5");
        EXPECT_EQ(input<QLineEdit>(editor, 185).text(), QString());
        input<QLineEdit>(editor, 185).setText("10.0.0.9");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_STREQ(stored(5).peerAddr, "10.0.0.9");
    EXPECT_EQ(cell(0, 2), "10.0.0.9");
}

TEST_F(PeerServers, EditBeginsWithTheFirstInputThatCanBeUsed)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(editor.focusWidget(), &input<QLineEdit>(editor, 184));
        editor.reject();
    });
    press(Edit);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(editor.focusWidget(), &input<QLineEdit>(editor, 183));
        editor.reject();
    });
    press(Add);
}

TEST_F(PeerServers, SearchEditsARecordAndLeavesTheListUntilRefresh)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    boxes.expectInput(item(373), item(183), QString(), "5");
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 183).isEnabled());
        input<QLineEdit>(editor, 185).setText("10.0.0.55");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored(5).peerAddr, "10.0.0.55");
    EXPECT_EQ(cell(0, 2), "10.0.0.5");
    press(Refresh);
    EXPECT_EQ(cell(0, 2), "10.0.0.55");
}

TEST_F(PeerServers, SearchForAnUnknownIdSaysSo)
{
    open<Cfrm_peer_servers>();
    boxes.expectInput(item(373), item(183), QString(), "77");
    boxes.expect(item(443), item(442));
    press(Query);
}

TEST_F(PeerServers, SearchThatIsCancelledOrEmptyDoesNothing)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    boxes.expectInputToCancel(item(373), item(183), QString());
    press(Query);
    boxes.expectInput(item(373), item(183), QString(), QString());
    press(Query);
}

TEST_F(PeerServers, WhatTheStoreCannotWriteIsNotAddedButIsShownAfterAnEdit)
{
    keep(5, peer("10.0.0.5"));
    open<Cfrm_peer_servers>();
    refuseWrites();
    boxes.expectEditor(title(), [](QDialog& editor) {
        fillIn(editor, "6", "10.0.0.6");
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(column(0), QStringList{"5"});
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        input<QLineEdit>(editor, 185).setText("10.0.0.55");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(cell(0, 2), "10.0.0.55");
    EXPECT_STREQ(stored(5).peerAddr, "10.0.0.5");
}

} // namespace
