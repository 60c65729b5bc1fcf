// The dialog over the system settings, on the real store without a server.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"
#include "dlg_sys_tbl.h"
#include "support/editor_roundtrip.h"
#include "support/fake_router.h"
#include "support/page_fixture.h"
#include "support/tab_layout.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QTabWidget>

#include <map>
#include <mutex>

namespace {

using System = Cdb_sys_data;

class SystemSettings : public PageFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        BclSubEvent(kBclLogEvent, this, noteLine);
        BclOpenLog();
        _dialog = std::make_unique<Cdlg_sys_tbl>(&store(), nullptr);
    }
    void TearDown() override
    {
        BclCloseEvents(kPatienceMs);
        _dialog.reset();
        PageFixture::TearDown();
    }
    // Routers are sought in the test only.
    Cdb_options storeOptions() override
    {
        const std::string path = inHome("upnp.sock").toStdString();
        _router = std::make_unique<FakeRouter>(path, FakeRouter::Habits{});
        Cdb_options options;
        options.upnpSocket = path;
        return options;
    }

    [[nodiscard]] FakeRouter& router() const { return *_router; }
    [[nodiscard]] Cdlg_sys_tbl& dialog() const { return *_dialog; }
    void run(const std::function<void(QDialog&)>& use)
    {
        boxes.expectEditor(item(57), use);
        dialog().exec();
    }
    // Enters the text, says OK, and gives what is stored then.
    System after(int edit, const QString& text)
    {
        run([=](QDialog& shown) {
            input<QLineEdit>(shown, edit).setText(text);
            pressOk(shown);
            EXPECT_EQ(shown.result(), QDialog::Accepted);
        });
        return stored();
    }
    [[nodiscard]] System stored() { return *store().system().get(); }
    void keep(const System& record) { ASSERT_EQ(store().DbSetSysData(record), kDbOk); }
    void change(const std::function<void(System&)>& change)
    {
        System record = stored();
        change(record);
        keepThroughRecord(record);
    }
    // As the console does it: the record that the facade holds follows.
    void keepThroughRecord(const System& record)
    {
        static_cast<System&>(*store().DbGetSysTbl()) = record;
        store().DbGetSysTbl()->SetModified();
        ASSERT_EQ(store().DbGetSysTbl()->SaveDB(), kDbOk);
    }
    [[nodiscard]] QStringList logged() const
    {
        const std::scoped_lock lock(_mutex);
        return _lines;
    }
    static System fullRecord()
    {
        System record;
        BclCopyStr(record.evtChannelPassword, "listen");
        record.rtpPortFirst = 20002;
        record.rtpPortLast = 20005;
        record.evtChannelPort = 7001;
        record.isUpnp = 1;
        BclCopyStr(record.localAddr, "127.0.0.1");
        BclCopyStr(record.publicAddr, "192.0.2.4");
        BclCopyStr(record.sipDomain, "192.0.2.5");
        record.udpPort = 5071;
        record.tcpPort = 5072;
        record.tlsPort = 5073;
        BclCopyStr(record.realm, "office");
        record.servicePrefix = '#';
        record.defaultRoute = 1;
        record.callFlags = static_cast<uint8_t>(0x80 | kSysRelayMedia | kSysAcceptUnknown | kSysTransit);
        BclCopyStr(record.stunAddr1, "192.0.2.6");
        record.stunPort1 = 3401;
        BclCopyStr(record.stunAddr2, "192.0.2.7");
        record.stunPort2 = 3402;
        BclCopyStr(record.dbAddr, "127.0.0.1");
        record.dbPort = 1; // nobody serves it
        BclCopyStr(record.dbUser, "billing");
        BclCopyStr(record.dbPassword, "secret");
        BclCopyStr(record.dbName, "calls");
        BclCopyStr(record.smtpAddr, "192.0.2.8:2525");
        BclCopyStr(record.smtpUser, "pbx");
        BclCopyStr(record.smtpPassword, "geheim");
        record.isSmtpTls = 1;
        return record;
    }

private:
    static void noteLine(void* context, void* text, void* /*data2*/)
    {
        auto& self = *static_cast<SystemSettings*>(context);
        const std::scoped_lock lock(self._mutex);
        self._lines.append(QString::fromUtf8(static_cast<const char*>(text)));
    }

    std::unique_ptr<FakeRouter> _router;
    std::unique_ptr<Cdlg_sys_tbl> _dialog;
    mutable std::mutex _mutex;
    QStringList _lines;
};

TEST_F(SystemSettings, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const System record = fullRecord();
    EditorRoundTrip trip;
    trip.record = bytesOf(record);
    trip.defaults = bytesOf(System());
    trip.putBack = [&] { keepThroughRecord(record); };
    trip.stored = [&] { return bytesOf(stored()); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { run(use); };
    const auto flag = [](Esys_flag bit) { return only(&System::callFlags, bit); };
    trip.inputs = {
        {Input::Edit, 310, {whole(&System::evtChannelPassword)}},
        {Input::Edit, 81, {whole(&System::rtpPortFirst)}},
        {Input::Edit, 336, {whole(&System::rtpPortLast)}},
        {Input::Edit, 414, {whole(&System::evtChannelPort)}},
        {Input::Combo, 343, {}}, // outside the record
        {Input::Check, 454, {whole(&System::isUpnp)}},
        {Input::Edit, 89, {whole(&System::localAddr)}},
        {Input::Edit, 413, {whole(&System::publicAddr)}},
        {Input::Edit, 450, {whole(&System::sipDomain)}},
        {Input::Edit, 90, {whole(&System::udpPort)}},
        {Input::Edit, 399, {whole(&System::tcpPort)}},
        {Input::Edit, 400, {whole(&System::tlsPort)}},
        {Input::Edit, 451, {whole(&System::realm)}},
        {Input::Edit, 80, {whole(&System::servicePrefix)}},
        {Input::Combo, 473, {whole(&System::defaultRoute)}},
        {Input::Check, 82, {flag(kSysRelayMedia)}},
        {Input::Check, 83, {flag(kSysAuthCalls)}},
        {Input::Check, 84, {flag(kSysAcceptUnknown)}},
        {Input::Check, 85, {flag(kSysAnnounce)}},
        {Input::Check, 86, {flag(kSysTransit)}},
        {Input::Check, 87, {flag(kSysStoreCdr)}},
        {Input::Check, 88, {flag(kSysSessionTimers)}},
        {Input::Edit, 92, {whole(&System::stunAddr1)}},
        {Input::Edit, 93, {whole(&System::stunPort1)}},
        {Input::Edit, 94, {whole(&System::stunAddr2)}},
        {Input::Edit, 95, {whole(&System::stunPort2)}},
        {Input::Edit, 101, {whole(&System::dbAddr)}},
        {Input::Edit, 102, {whole(&System::dbPort)}},
        {Input::Edit, 103, {whole(&System::dbUser)}},
        {Input::Edit, 104, {whole(&System::dbPassword)}},
        {Input::Edit, 105, {whole(&System::dbName)}},
        {Input::Edit, 106, {whole(&System::smtpAddr)}},
        {Input::Edit, 107, {whole(&System::smtpUser)}},
        {Input::Edit, 108, {whole(&System::smtpPassword)}, {}, 1},
        {Input::Check, 109, {whole(&System::isSmtpTls)}},
    };
    trip.kept = {whole(&System::id), whole(&System::learnedAddr), whole(&System::reserved),
                 only(&System::callFlags, 0x80)};
    trip.check();
}

TEST_F(SystemSettings, HasItsTabsFromTheGeneralOneToSmtp)
{
    const auto* const tabs = dialog().findChild<QTabWidget*>();
    QStringList titles;
    for (int at = 0; at < tabs->count(); ++at)
        titles.append(tabs->tabText(at));
    EXPECT_EQ(titles, (QStringList{item(162), item(60), item(151), item(61), item(63), "SMTP"}));
    EXPECT_EQ(dialog().windowTitle(), item(57));
}

TEST_F(SystemSettings, EachTabIsAGridOfLabelsAndInputsInOrder)
{
    const std::vector<std::vector<int>> kTabs = {
        {310, 81, 336, 414, 343, 454},
        {89, 413, 450, 90, 399, 400, 451},
        {80, 473, 82, 83, 84, 85, 86, 87, 88},
        {92, 93, 94, 95},
        {101, 102, 103, 104, 105},
        {106, 107, 108, 109},
    };
    const auto* const tabs = dialog().findChild<QTabWidget*>();
    ASSERT_EQ(static_cast<size_t>(tabs->count()), kTabs.size());
    for (size_t at = 0; at < kTabs.size(); ++at) {
        const QList<QGridLayout*> grids = tabs->widget(static_cast<int>(at))->findChildren<QGridLayout*>();
        ASSERT_EQ(grids.size(), 1) << at;
        for (size_t row = 0; row < kTabs[at].size(); ++row) {
            QLayoutItem* const first = grids[0]->itemAtPosition(static_cast<int>(row), 0);
            ASSERT_NE(first, nullptr) << at << " " << row;
            EXPECT_EQ(first->widget()->property("text").toString(), item(kTabs[at][row]));
            const bool isSpanning = qobject_cast<QCheckBox*>(first->widget()) != nullptr;
            EXPECT_EQ(grids[0]->itemAtPosition(static_cast<int>(row), 1) == first, isSpanning) << at << " " << row;
        }
    }
}

TEST_F(SystemSettings, TheFirstRtpPortIsStoredEven)
{
    EXPECT_EQ(after(81, "5061").rtpPortFirst, 5062);
    EXPECT_EQ(after(81, "5060").rtpPortFirst, 5060);
    EXPECT_EQ(after(81, "5").rtpPortFirst, 6);
    EXPECT_EQ(after(81, "-3").rtpPortFirst, -2);
    EXPECT_EQ(after(81, "2147483647").rtpPortFirst, 2147483646);
}

TEST_F(SystemSettings, AnEmptyEventChannelPasswordKeepsTheStoredOne)
{
    EXPECT_STREQ(after(310, "first").evtChannelPassword, "first");
    EXPECT_STREQ(after(310, "").evtChannelPassword, "first");
    EXPECT_STREQ(after(310, "second").evtChannelPassword, "second");
}

TEST_F(SystemSettings, OfTwoWaysToReadNumbersEachFieldHasItsOwn)
{
    EXPECT_EQ(after(336, "0x10").rtpPortLast, 16);
    EXPECT_EQ(after(336, "010").rtpPortLast, 8);
    EXPECT_EQ(after(414, "0x10").evtChannelPort, 16U);
    EXPECT_EQ(after(414, "4294967295").evtChannelPort, 4294967295U);
    EXPECT_EQ(after(81, "010").rtpPortFirst, 10);
    EXPECT_EQ(after(90, "010").udpPort, 10);
    EXPECT_EQ(after(399, "010").tcpPort, 10);
    EXPECT_EQ(after(400, "010").tlsPort, 10);
    EXPECT_EQ(after(102, "010").dbPort, 10);
    EXPECT_EQ(after(93, "010").stunPort1, 10);
    EXPECT_EQ(after(95, "010").stunPort2, 10);
}

TEST_F(SystemSettings, WhatIsNoNumberIsZero)
{
    for (const int edit : {81, 336, 414, 90, 399, 400, 93, 95, 102}) {
        keepThroughRecord(fullRecord());
        after(edit, "12a");
        run([=](QDialog& shown) {
            EXPECT_EQ(input<QLineEdit>(shown, edit).text(), "0") << edit;
            pressCancel(shown);
        });
    }
    EXPECT_EQ(after(90, "0x10").udpPort, 0);
}

TEST_F(SystemSettings, APortThatIsNoneIsOneLogLineAndTheFormerOneStays)
{
    keepThroughRecord(fullRecord());
    EXPECT_EQ(after(399, "70000").tcpPort, 5072);
    EXPECT_EQ(logged().filter("TCP port"), QStringList{"TCP port 70000: ports are 0 to 65535, 5072 stays."});
    EXPECT_EQ(after(400, "-1").tlsPort, 5073);
    EXPECT_EQ(logged().filter("TLS port"), QStringList{"TLS port -1: ports are 0 to 65535, 5073 stays."});
}

TEST_F(SystemSettings, TheServiceCodePrefixIsTheFirstCharacter)
{
    EXPECT_EQ(after(80, "#9").servicePrefix, '#');
    EXPECT_EQ(after(80, "").servicePrefix, '\0');
    run([](QDialog& shown) {
        EXPECT_EQ(input<QLineEdit>(shown, 80).text(), "");
        pressCancel(shown);
    });
}

TEST_F(SystemSettings, ABlankRealmIsTheDefaultOne)
{
    EXPECT_STREQ(after(451, "office").realm, "office");
    EXPECT_STREQ(after(451, " ").realm, "parlovex");
    EXPECT_STREQ(after(451, " head\r\noffice ").realm, "headoffice") << "a line break would end the challenge's header";
}

TEST_F(SystemSettings, TheAnnouncementLanguageIsWrittenOnlyWhenItChanges)
{
    int writes = 0;
    store().addListener([&writes](const Cdb_change& change) { writes += change.table == Edb_table::Settings ? 1 : 0; });
    const auto choose = [this](int index) {
        run([=](QDialog& shown) {
            input<QComboBox>(shown, 343).setCurrentIndex(index);
            pressOk(shown);
        });
    };
    choose(0);
    EXPECT_EQ(writes, 0);
    choose(1);
    EXPECT_EQ(store().DbGetSrfAnnLang(), 1U);
    choose(1);
    EXPECT_EQ(writes, 1);
    run([](QDialog& shown) {
        EXPECT_EQ(input<QComboBox>(shown, 343).currentText(), item(345));
        pressCancel(shown);
    });
}

TEST_F(SystemSettings, ALanguageThatIsNotOfferedStays)
{
    ASSERT_EQ(store().DbSetSrfAnnLang(7), kDbOk);
    run([](QDialog& shown) { pressOk(shown); });
    EXPECT_EQ(store().DbGetSrfAnnLang(), 7U);
}

TEST_F(SystemSettings, FlagsThatAreNotOneShowOffAndAreStoredAsZero)
{
    System record = fullRecord();
    record.isUpnp = 3;
    record.isSmtpTls = 2;
    keepThroughRecord(record);
    run([](QDialog& shown) {
        EXPECT_FALSE(check(shown, 454).isChecked());
        EXPECT_FALSE(check(shown, 109).isChecked());
        pressOk(shown);
    });
    EXPECT_EQ(stored().isUpnp, 0);
    EXPECT_EQ(stored().isSmtpTls, 0);
}

TEST_F(SystemSettings, EachShowLoadsTheRecordAnew)
{
    run([](QDialog& shown) {
        input<QLineEdit>(shown, 90).setText("5099");
        pressCancel(shown);
    });
    EXPECT_EQ(stored().udpPort, 5060);
    const uint16_t port = 5098;
    change([](System& record) { record.udpPort = port; });
    run([](QDialog& shown) {
        EXPECT_EQ(input<QLineEdit>(shown, 90).text(), "5098");
        pressCancel(shown);
    });
}

TEST_F(SystemSettings, WhatAnotherProcessSavedIsShownAtTheNextShow)
{
    {
        Cdb_fac_mgr other;
        System record = stored();
        BclCopyStr(record.sipDomain, "other.example");
        ASSERT_EQ(other.DbSetSysData(record), kDbOk);
    }
    ASSERT_TRUE(waitUntil([this] { return BclFieldText(stored().sipDomain) == "other.example"; }));
    run([](QDialog& shown) {
        EXPECT_EQ(input<QLineEdit>(shown, 450).text(), "other.example");
        pressOk(shown);
    });
    EXPECT_STREQ(stored().sipDomain, "other.example");
}

TEST_F(SystemSettings, SavingLooksUpNamesAndMapsPorts)
{
    change([](System& record) {
        record.udpPort = 5071;
        record.tcpPort = 0;
        record.rtpPortFirst = 20002;
        record.rtpPortLast = 20003;
    });
    run([](QDialog& shown) {
        check(shown, 454).setChecked(true);
        input<QLineEdit>(shown, 92).setText("localhost");
        pressOk(shown);
    });
    EXPECT_TRUE(waitUntil([this] { return router().mappings().count("UDP 5071") == 1; }));
    EXPECT_TRUE(waitUntil([this] { return !logged().filter("STUN server localhost has the address").isEmpty(); }));
    run([](QDialog& shown) {
        check(shown, 454).setChecked(false);
        pressOk(shown);
    });
    EXPECT_TRUE(waitUntil([this] { return router().mappings().empty(); }));
}

TEST_F(SystemSettings, TheRemoteDatabaseFollowsItsAddress)
{
    ASSERT_TRUE(waitUntil([this] { return store().IsRemoteDbActive() == 1; }));
    after(101, "");
    EXPECT_TRUE(waitUntil([this] { return store().IsRemoteDbActive() == 0; }));
    after(101, "local");
    EXPECT_TRUE(waitUntil([this] { return store().IsRemoteDbActive() == 1; }));
}

TEST_F(SystemSettings, TextsAreCutToTheirFieldsBetweenCharacters)
{
    const QString flood(10000, QChar(0x738b)); // three bytes each
    EXPECT_EQ(QString::fromUtf8(after(310, flood).evtChannelPassword), flood.left(10));
    EXPECT_EQ(QString::fromUtf8(after(413, flood).publicAddr), flood.left(21));
    EXPECT_EQ(QString::fromUtf8(after(103, flood).dbUser), flood.left(26));
    EXPECT_EQ(QString::fromUtf8(after(451, flood).realm), flood.left(21));
}

TEST_F(SystemSettings, PasswordsAreHiddenUnlessTheSwitchVariantsShowThem)
{
    const auto modes = [](const Cdlg_sys_tbl& shown) {
        std::map<QLineEdit::EchoMode, int> count;
        for (const QLineEdit* const edit : shown.findChildren<QLineEdit*>())
            ++count[edit->echoMode()];
        return count;
    };
    EXPECT_EQ(modes(dialog())[QLineEdit::Password], 3);
    gVarGuiDisplayPassword = 1;
    EXPECT_EQ(modes(Cdlg_sys_tbl(&store(), nullptr))[QLineEdit::Password], 0);
}

TEST_F(SystemSettings, F1OpensTheirDocumentation)
{
    pressKey(dialog(), Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList{"help/manual/index.html#config_sys"});
}

TEST_F(SystemSettings, WhatTheStoreCannotWriteClosesTheDialogAndIsNotShownAsStored)
{
    refuseWrites();
    run([](QDialog& shown) {
        input<QLineEdit>(shown, 90).setText("5099");
        pressOk(shown);
        EXPECT_EQ(shown.result(), QDialog::Accepted);
    });
    EXPECT_EQ(logged().filter("could not write the system settings").size(), 1);
    run([](QDialog& shown) {
        EXPECT_EQ(input<QLineEdit>(shown, 90).text(), "5060");
        pressCancel(shown);
    });
}

TEST_F(SystemSettings, WithoutAStoreOkClosesTheDialog)
{
    Cdb_options nowhere;
    nowhere.dataFolder = inHome("file").toStdString();
    writeFile(inHome("file"), "not a folder");
    Cdb_fac_mgr closed(nowhere);
    ASSERT_EQ(closed.DbGetSysTbl(), nullptr);
    Cdlg_sys_tbl shown(&closed, nullptr);
    boxes.expectEditor(item(57), [](QDialog& editor) { pressOk(editor); });
    EXPECT_EQ(shown.exec(), QDialog::Accepted);
}

TEST_F(SystemSettings, InputsOfAllTabsBeginAndEndInOneLine)
{
    run([](QDialog& shown) {
        expectInputsInOneLine(shown);
        pressCancel(shown);
    });
}

TEST_F(SystemSettings, NoTabIsWiderThanTheWindowAlsoWithLongTextsInBothDirections)
{
    lengthenTexts();
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setLayoutDirection(direction);
        Cdlg_sys_tbl shown(&store(), nullptr);
        shown.setFixedWidth(kNarrowEditor);
        shown.show();
        expectTabsFit(shown);
    }
}

} // namespace
