// The editor of an external line.
#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"
#include "dlg_ext_line.h"
#include "frm_ext_lines.h"
#include "support/editor_roundtrip.h"
#include "support/ext_lines_fixture.h"
#include "support/tab_layout.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>

namespace {

using Line = Cdb_ext_line_info;

const QString kBadChain = "Invalid 'chain to next line' parameters.";

class ExtLineEditor : public ExtLinesFixture {
protected:
    // Fills in the least that is accepted.
    static void fillIn(QDialog& editor, const QString& name)
    {
        input<QLineEdit>(editor, 165).setText(name);
        input<QLineEdit>(editor, 170).setText("192.0.2.1");
    }
    // Adding with this change to a good entry shows the message and stores nothing.
    void expectRefused(const QString& message, const std::function<void(QDialog&)>& spoil)
    {
        const unsigned before = store().DbExtLineGetCnt();
        const int rows = model().rowCount();
        boxes.expectEditor(item(159), [=](QDialog& editor) {
            fillIn(editor, "new");
            spoil(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect(item(77), message);
        press(Add);
        EXPECT_EQ(model().rowCount(), rows);
        EXPECT_EQ(store().DbExtLineGetCnt(), before);
    }
    void expectRefused(int message, const std::function<void(QDialog&)>& spoil) { expectRefused(item(message), spoil); }
    // What a new line is stored as after this change to a good entry.
    Line added(const std::function<void(QDialog&)>& fill)
    {
        add([&](QDialog& editor) {
            fillIn(editor, "new");
            fill(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Accepted);
        });
        return stored("new");
    }
    void addChoices()
    {
        Cdb_time_cond condition;
        condition.ID = 3;
        ASSERT_EQ(store().DbTimeConditionAdd(condition), kDbOk);
        Cdb_nbr_cld_refine refinement;
        refinement.groupID = 4;
        ASSERT_EQ(store().DbRefineCalledNbrAdd(refinement), kDbOk);
        keep(line("next"));
        keep(line("third"));
    }
    // Every field differs from its default, but for those that shut off others.
    static Line fullLine()
    {
        Line record = line("main");
        record.flags = 0x1000 | kLineCallerAsUser | kLineProxy | kLineRelayMedia | kLineKeepAlive | kLineDtmfInband |
                       kLineNoRegister | kLineAssertedIdentity;
        record.transport = 1;
        record.timeCondId = 3;
        record.cldRefineGroup = 4;
        record.serverPort = 5071;
        record.noAnsTime = 31;
        record.maxOutCalls = 5;
        record.maxDuration = 3600;
        record.maxCalls = 6;
        record.proxyPort = 5081;
        BclCopyStr(record.password, "secret");
        BclCopyStr(record.description, "Provider");
        BclCopyStr(record.authName, "account");
        BclCopyStr(record.destination, "100");
        BclCopyStr(record.proxyAddr, "192.0.2.7");
        BclCopyStr(record.uriParams, "user=phone");
        BclCopyStr(record.nextLine, "next");
        return record;
    }
    EditorRoundTrip tripOf(const Line& record)
    {
        using Input = EditorInput;
        EditorRoundTrip trip;
        trip.record = bytesOf(record);
        trip.defaults = bytesOf(Line());
        trip.putBack = [this, record] { keep(record); };
        trip.stored = [this] { return bytesOf(stored("main")); };
        trip.edit = [this](const std::function<void(QDialog&)>& use) { edit("main", use); };
        const auto flag = [](Eext_line_flag bit) { return only(&Line::flags, bit); };
        const auto chooseThird = [](QWidget& box) {
            auto& choice = dynamic_cast<QComboBox&>(box);
            choice.setCurrentIndex(choice.findData("third"));
        };
        trip.inputs = {
            {Input::Edit, 169, {whole(&Line::password)}},
            {Input::Edit, 283, {whole(&Line::description)}},
            {Input::Edit, 367, {whole(&Line::authName)}},
            {Input::Check, 342, {flag(kLineDtmfInband)}},
            {Input::Check, 408, {flag(kLineProxy), whole(&Line::proxyAddr)}},
            {Input::Edit, 409, {whole(&Line::proxyAddr)}},
            {Input::Edit, 410, {whole(&Line::proxyPort)}},
            {Input::Combo, 362, {whole(&Line::transport)}},
            {Input::Edit, 472, {whole(&Line::uriParams)}},
            {Input::Check, 173, {flag(kLineCallerAsUser)}},
            {Input::Check, 340, {flag(kLineEarlyMedia)}},
            {Input::Combo, 426, {whole(&Line::timeCondId)}},
            {Input::Combo, 407, {whole(&Line::cldRefineGroup)}},
            {Input::Edit, 125, {whole(&Line::noAnsTime)}},
            {Input::Edit, 322, {whole(&Line::maxOutCalls)}},
            {Input::Check, 177, {whole(&Line::maxDuration)}},
            {Input::Edit, 177, {whole(&Line::maxDuration)}},
            {Input::Check, 176, {whole(&Line::nextLine)}},
            {Input::Combo, 176, {whole(&Line::nextLine)}, chooseThird},
            {Input::Check, 441, {flag(kLineNoRegister)}},
            {Input::Check, 471, {flag(kLineAssertedIdentity)}},
            {Input::Check, 358, {flag(kLineKeepAlive)}},
            {Input::Check, 150, {flag(kLineRelayMedia)}},
            {Input::Edit, 440, {whole(&Line::maxCalls)}},
        };
        trip.locked = {{Input::Edit, 165, {whole(&Line::extName)}}};
        const uint32_t shown = kLineCallerAsUser | kLineAutoAttendant | kLineProxy | kLineRelayMedia | kLineEarlyMedia |
                               kLineKeepAlive | kLineDtmfInband | kLineNoRegister | kLineAssertedIdentity;
        trip.kept = {only(&Line::flags, ~shown), whole(&Line::state), whole(&Line::reserved)};
        return trip;
    }
};

TEST_F(ExtLineEditor, EveryInputOfAProviderAccountHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    addChoices();
    keep(fullLine());
    open<Cfrm_ext_lines>();
    EditorRoundTrip trip = tripOf(fullLine());
    const auto leave = [](QWidget&) {}; // they are at their defaults here; see the gateway
    trip.inputs.insert(trip.inputs.end(), {
                                              {Input::Radio, 167, {}, leave},
                                              {Input::Radio, 168, {}, leave},
                                              {Input::Radio, 175, {}, leave},
                                              {Input::Radio, 351, {}, leave},
                                              {Input::Edit, 170, {whole(&Line::serverAddr)}},
                                              {Input::Edit, 171, {whole(&Line::serverPort)}},
                                              {Input::Edit, 351, {whole(&Line::destination)}},
                                          });
    trip.kept.push_back(whole(&Line::lineType));
    trip.kept.push_back(only(&Line::flags, kLineAutoAttendant));
    trip.check();
}

TEST_F(ExtLineEditor, AGatewayKeepsTheAddressThatIsHiddenAndAnAttendantTheNumber)
{
    using Input = EditorInput;
    addChoices();
    Line record = fullLine();
    record.lineType = 1;
    record.flags |= kLineAutoAttendant;
    keep(record);
    open<Cfrm_ext_lines>();
    EditorRoundTrip trip = tripOf(record);
    const RecordBytes attendant = only(&Line::flags, kLineAutoAttendant);
    trip.inputs.insert(trip.inputs.end(), {
                                              {Input::Radio, 167, {whole(&Line::lineType)}},
                                              {Input::Radio, 168, {whole(&Line::lineType)}},
                                              {Input::Radio, 175, {attendant}},
                                              {Input::Radio, 351, {attendant}},
                                          });
    trip.locked.insert(trip.locked.end(), {
                                              {Input::Edit, 170, {whole(&Line::serverAddr)}},
                                              {Input::Edit, 171, {whole(&Line::serverPort)}},
                                              {Input::Edit, 351, {whole(&Line::destination)}},
                                          });
    trip.check();
}

TEST_F(ExtLineEditor, ANewLineBeginsWithTheDefaultsAndNothingOfTheLastUse)
{
    addChoices();
    Line used = fullLine();
    used.lineType = 1;
    used.flags |= kLineAutoAttendant;
    keep(used);
    open<Cfrm_ext_lines>();
    edit("main", [](QDialog& editor) {
        editor.findChild<QTabWidget*>()->setCurrentIndex(2);
        pressCancel(editor);
    });
    add([](QDialog& editor) {
        EXPECT_EQ(editor.findChild<QTabWidget*>()->currentIndex(), 0);
        for (const int edit : {165, 169, 283, 170, 367, 409, 472})
            EXPECT_EQ(input<QLineEdit>(editor, edit).text(), "") << edit;
        for (const auto& [edit, text] :
             std::map<int, QString>{{171, "5060"}, {410, "5060"}, {440, "20"}, {125, "0"}, {322, "20"}})
            EXPECT_EQ(input<QLineEdit>(editor, edit).text(), text) << edit;
        EXPECT_EQ(named<QLineEdit>(editor, 351).text(), "");
        EXPECT_EQ(named<QLineEdit>(editor, 177).text(), "0");
        for (const int box : {342, 408, 173, 177, 176, 441, 471, 358, 150})
            EXPECT_FALSE(check(editor, box).isChecked()) << box;
        EXPECT_TRUE(check(editor, 340).isChecked());
        EXPECT_TRUE(showing<QRadioButton>(editor, 167).isChecked());
        EXPECT_TRUE(showing<QRadioButton>(editor, 351).isChecked());
        for (const int combo : {362, 426, 407})
            EXPECT_EQ(input<QComboBox>(editor, combo).currentIndex(), 0) << combo;
        EXPECT_TRUE(input<QLineEdit>(editor, 165).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, ANewLineIsStoredAsAResetRecordWithWhatWasEntered)
{
    open<Cfrm_ext_lines>();
    Line wanted = line("new");
    wanted.maxCalls = 7;
    EXPECT_EQ(bytesOf(added([](QDialog& editor) { input<QLineEdit>(editor, 440).setText("7"); })), bytesOf(wanted));
}

TEST_F(ExtLineEditor, UriParametersBeginWithUserPhoneInChineseOnly)
{
    keep(line("main"));
    gVarGuiLang = 1;
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 472).text(), "user=phone");
        pressCancel(editor);
    });
    edit("main", [](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 472).text(), "");
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, RefusesAnEmptyName)
{
    open<Cfrm_ext_lines>();
    expectRefused(178, [](QDialog& editor) { input<QLineEdit>(editor, 165).clear(); });
}

TEST_F(ExtLineEditor, TakesAPasswordOf67CharactersAndRefuses68)
{
    open<Cfrm_ext_lines>();
    expectRefused(455, [](QDialog& editor) { input<QLineEdit>(editor, 169).setText(QString(68, 'x')); });
    expectRefused(455, [](QDialog& editor) { input<QLineEdit>(editor, 169).setText(QString(23, QChar(0x738b))); });
    const Line record = added([](QDialog& editor) { input<QLineEdit>(editor, 169).setText(QString(67, 'x')); });
    EXPECT_EQ(QString(record.password), QString(67, 'x'));
}

TEST_F(ExtLineEditor, AProviderAccountNeedsAddressAndPortAndAGatewayDoesNot)
{
    open<Cfrm_ext_lines>();
    expectRefused(178, [](QDialog& editor) { input<QLineEdit>(editor, 170).clear(); });
    expectRefused(178, [](QDialog& editor) { input<QLineEdit>(editor, 171).clear(); });
    const Line record = added([](QDialog& editor) {
        showing<QRadioButton>(editor, 168).click();
        input<QLineEdit>(editor, 170).clear();
        input<QLineEdit>(editor, 171).clear();
    });
    EXPECT_EQ(record.lineType, 1U);
}

TEST_F(ExtLineEditor, AProxyNeedsAddressAndPortWhileItIsUsed)
{
    open<Cfrm_ext_lines>();
    expectRefused(178, [](QDialog& editor) { check(editor, 408).click(); });
    expectRefused(178, [](QDialog& editor) {
        check(editor, 408).click();
        input<QLineEdit>(editor, 409).setText("192.0.2.7");
        input<QLineEdit>(editor, 410).clear();
    });
    const Line record = added([](QDialog& editor) { input<QLineEdit>(editor, 410).clear(); });
    EXPECT_EQ(record.proxyPort, 5060);
}

TEST_F(ExtLineEditor, RefusesTheNameOfALocalUserInAddAndInEditMode)
{
    keep(line("main"));
    open<Cfrm_ext_lines>();
    for (const char* const name : {"1000", "main"}) {
        Cdb_usr_info user;
        BclCopyStr(user.usrName, name);
        ASSERT_EQ(store().DbSetLocalUserData(user), kDbOk);
    }
    expectRefused(453, [](QDialog& editor) { input<QLineEdit>(editor, 165).setText("1000"); });
    boxes.expectEditor(item(159), [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("edited");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    boxes.expect(item(77), item(453));
    select(0);
    press(Edit);
    EXPECT_STREQ(stored("main").description, "");
}

TEST_F(ExtLineEditor, AddRefusesTheNameOfALineAndEditDoesNot)
{
    keep(line("main"));
    open<Cfrm_ext_lines>();
    expectRefused(180, [](QDialog& editor) { input<QLineEdit>(editor, 165).setText("main"); });
    edit("main", [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 165).isEnabled());
        input<QLineEdit>(editor, 283).setText("edited");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    EXPECT_STREQ(stored("main").description, "edited");
}

TEST_F(ExtLineEditor, ALongerNameDoesNotReplaceTheLineWhoseNameItBeginsWith)
{
    const QByteArray name(32, 'n');
    keep(line(name.constData()));
    open<Cfrm_ext_lines>();
    expectRefused(180, [&](QDialog& editor) { input<QLineEdit>(editor, 165).setText(QString(name) + "more"); });
}

TEST_F(ExtLineEditor, RefusesALineThatFollowsItselfAndOneThatFollowsNone)
{
    keep(line("main"));
    open<Cfrm_ext_lines>();
    expectRefused(kBadChain, [](QDialog& editor) {
        check(editor, 176).click();
        named<QComboBox>(editor, 176).setCurrentIndex(-1);
    });
    boxes.expectEditor(item(159), [](QDialog& editor) {
        check(editor, 176).click();
        EXPECT_EQ(named<QComboBox>(editor, 176).currentData().toString(), "main");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    boxes.expect(item(77), kBadChain);
    select(0);
    press(Edit);
    EXPECT_STREQ(stored("main").nextLine, "");
    const Line record = added([](QDialog& editor) { check(editor, 176).click(); });
    EXPECT_STREQ(record.nextLine, "main");
}

TEST_F(ExtLineEditor, ChecksInTheOrderOfTheMessages)
{
    keep(line("main"));
    Cdb_usr_info user;
    BclCopyStr(user.usrName, "main");
    ASSERT_EQ(store().DbSetLocalUserData(user), kDbOk);
    open<Cfrm_ext_lines>();
    const auto spoilAll = [](QDialog& editor) {
        input<QLineEdit>(editor, 165).clear();
        input<QLineEdit>(editor, 169).setText(QString(68, 'x'));
        input<QLineEdit>(editor, 170).clear();
        check(editor, 408).setChecked(true);
        check(editor, 176).setChecked(true);
        named<QComboBox>(editor, 176).setCurrentIndex(-1);
    };
    const std::vector<std::pair<int, std::function<void(QDialog&)>>> kMended = {
        {178, [](QDialog&) {}},
        {455, [](QDialog& editor) { input<QLineEdit>(editor, 165).setText("main"); }},
        {178, [](QDialog& editor) { input<QLineEdit>(editor, 169).clear(); }},
        {178, [](QDialog& editor) { input<QLineEdit>(editor, 170).setText("192.0.2.1"); }},
        {453, [](QDialog& editor) { check(editor, 408).setChecked(false); }},
    };
    for (size_t count = 1; count <= kMended.size(); ++count)
        expectRefused(kMended[count - 1].first, [&](QDialog& editor) {
            spoilAll(editor);
            for (size_t at = 0; at < count; ++at)
                kMended[at].second(editor);
        });
    ASSERT_EQ(store().DbDelUsrInfo("main"), kDbOk);
    const auto spoilChain = [](QDialog& editor) {
        check(editor, 176).setChecked(true);
        named<QComboBox>(editor, 176).setCurrentIndex(-1);
    };
    expectRefused(180, [&](QDialog& editor) {
        spoilChain(editor);
        input<QLineEdit>(editor, 165).setText("main");
    });
    expectRefused(kBadChain, spoilChain);
}

TEST_F(ExtLineEditor, ANextLineThatIsGoneShowsAsNoneAndIsNotReplacedUnseen)
{
    Line record = line("main");
    BclCopyStr(record.nextLine, "gone");
    keep(record);
    open<Cfrm_ext_lines>();
    boxes.expectEditor(item(159), [](QDialog& editor) {
        EXPECT_TRUE(check(editor, 176).isChecked());
        EXPECT_EQ(named<QComboBox>(editor, 176).currentIndex(), -1);
        pressOk(editor);
    });
    boxes.expect(item(77), kBadChain);
    select(0);
    press(Edit);
    EXPECT_STREQ(stored("main").nextLine, "gone");
}

TEST_F(ExtLineEditor, SwitchingTheProxyOffEmptiesItsAddressAndKeepsItsPort)
{
    addChoices();
    keep(fullLine());
    open<Cfrm_ext_lines>();
    edit("main", [](QDialog& editor) {
        check(editor, 408).click();
        pressOk(editor);
    });
    const Line record = stored("main");
    EXPECT_EQ(QByteArray(record.proxyAddr, sizeof record.proxyAddr), QByteArray(sizeof record.proxyAddr, '\0'));
    EXPECT_EQ(record.proxyPort, 5081);
    EXPECT_FALSE(record.hasFlag(kLineProxy));
}

TEST_F(ExtLineEditor, AnEmptyDurationKeepsTheStoredOneAndASwitchedOffOneIsNoLimit)
{
    addChoices();
    keep(fullLine());
    open<Cfrm_ext_lines>();
    edit("main", [](QDialog& editor) {
        named<QLineEdit>(editor, 177).clear();
        pressOk(editor);
    });
    EXPECT_EQ(stored("main").maxDuration, 3600);
    edit("main", [](QDialog& editor) {
        check(editor, 177).click();
        pressOk(editor);
    });
    EXPECT_EQ(stored("main").maxDuration, 0);
}

TEST_F(ExtLineEditor, DependentInputsFollowTheirButtonsAtOnce)
{
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        const auto follows = [&editor](int box, const QWidget& edit) {
            EXPECT_FALSE(edit.isEnabled()) << box;
            check(editor, box).click();
            EXPECT_TRUE(edit.isEnabled()) << box;
            check(editor, box).click();
            EXPECT_FALSE(edit.isEnabled()) << box;
        };
        follows(408, input<QLineEdit>(editor, 409));
        follows(408, input<QLineEdit>(editor, 410));
        follows(177, named<QLineEdit>(editor, 177));
        follows(176, named<QComboBox>(editor, 176));
        EXPECT_TRUE(named<QLineEdit>(editor, 351).isEnabled());
        showing<QRadioButton>(editor, 175).click();
        EXPECT_FALSE(named<QLineEdit>(editor, 351).isEnabled());
        showing<QRadioButton>(editor, 351).click();
        EXPECT_TRUE(named<QLineEdit>(editor, 351).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, TheAddressOfAGatewayIsHiddenWithItsLabels)
{
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        QList<QWidget*> rows = {&input<QLineEdit>(editor, 170), &input<QLineEdit>(editor, 171)};
        for (QLabel* const label : editor.findChildren<QLabel*>()) {
            if (rows.contains(label->buddy()))
                rows.append(label);
        }
        ASSERT_EQ(rows.size(), 4);
        showing<QRadioButton>(editor, 168).click();
        for (const QWidget* const each : rows)
            EXPECT_FALSE(each->isVisible());
        showing<QRadioButton>(editor, 167).click();
        for (const QWidget* const each : rows)
            EXPECT_TRUE(each->isVisible());
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, PasswordsAreHiddenUnlessTheSwitchVariantsShowThem)
{
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 169).echoMode(), QLineEdit::Password);
        pressCancel(editor);
    });
    gVarGuiDisplayPassword = 1;
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 169).echoMode(), QLineEdit::Normal);
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, BadInputIsStoredWithinItsBoundsOrNotAtAll)
{
    open<Cfrm_ext_lines>();
    const QString flood(10000, QChar(0x738b));
    const Line record = added([&](QDialog& editor) {
        for (const int edit : {283, 170, 367, 472})
            input<QLineEdit>(editor, edit).setText(flood);
        for (const int edit : {171, 125, 322, 440})
            input<QLineEdit>(editor, edit).setText("99999999999x");
        named<QLineEdit>(editor, 351).setText(QString::fromUtf8("\U0001F600\u0001"));
    });
    EXPECT_EQ(QString::fromUtf8(record.description), flood.left(21)) << "cut between characters";
    EXPECT_EQ(record.serverPort, 0);
    EXPECT_EQ(record.maxCalls, 0);
    const unsigned before = store().DbExtLineGetCnt();
    add([](QDialog& editor) {
        fillIn(editor, QStringLiteral("a\u0001b"));
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(store().DbExtLineGetCnt(), before);
}

TEST_F(ExtLineEditor, WhatTheStoreRefusesClosesItWithoutAMessageAndChangesNoRow)
{
    keep(line("main"));
    open<Cfrm_ext_lines>();
    refuseWrites();
    add([](QDialog& editor) {
        fillIn(editor, "new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    edit("main", [](QDialog& editor) {
        input<QLineEdit>(editor, 283).setText("edited");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(column(0), QStringList{"main"});
    EXPECT_EQ(cell(0, 1), "");
}

TEST_F(ExtLineEditor, InputsOfAllTabsBeginAndEndInOneLine)
{
    open<Cfrm_ext_lines>();
    add([](QDialog& editor) {
        expectInputsInOneLine(editor);
        pressCancel(editor);
    });
}

TEST_F(ExtLineEditor, NoTabIsWiderThanTheWindowAlsoWithLongTextsInBothDirections)
{
    lengthenTexts();
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setLayoutDirection(direction);
        Cdlg_ext_line editor(&store(), nullptr);
        editor.setFixedWidth(kNarrowEditor);
        editor.Init(nullptr, kLineAdd);
        editor.show();
        expectTabsFit(editor);
    }
}

} // namespace
