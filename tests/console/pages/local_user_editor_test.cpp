// The editor of a local user: what each input means.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/switch_variants.h"
#include "console/pages/local_user_editor_fixture.h"
#include "dlg_local_user.h"
#include "support/editor_roundtrip.h"
#include "support/patience.h"
#include "support/tab_layout.h"

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTabWidget>

namespace {

using Input = EditorInput;

RecordBytes flag(uint32_t bit)
{
    return only(&Cdb_usr_info::flags, bit);
}

TEST_F(LocalUserEditor, EveryInputHasItsOwnBytesOfTheRecord)
{
    keepUnusual();
    ASSERT_TRUE(waitUntil([this] { return store().IsRemoteDbActive() != 0; }));
    const User opening = stored("2000");
    EditorRoundTrip trip;
    trip.record = bytesOf(opening);
    trip.defaults = bytesOf(User());
    trip.putBack = [&] { keep(opening); };
    trip.stored = [&] { return bytesOf(stored("2000")); };
    trip.edit = [&](const std::function<void(QDialog&)>& use) { edit("2000", use); };
    trip.inputs = {
        {Input::Edit, 119, {whole(&User::password)}},
        {Input::Edit, 283, {whole(&User::description)}},
        {Input::Check, 430, {flag(kUsrIpAuth), whole(&User::ipAddr), whole(&User::ipPort)}},
        {Input::Edit, 416, {whole(&User::ipAddr)}},
        {Input::Edit, 431, {whole(&User::ipPort)}},
        {Input::Check, 374, {flag(kUsrForwardAll), whole(&User::cfuNbr)}},
        {Input::Edit, 374, {whole(&User::cfuNbr)}},
        {Input::Check, 122, {flag(kUsrForwardNotRegistered), whole(&User::cfncNbr)}},
        {Input::Edit, 122, {whole(&User::cfncNbr)}},
        {Input::Check, 123, {flag(kUsrForwardBusy), whole(&User::cfbNbr)}},
        {Input::Edit, 123, {whole(&User::cfbNbr)}},
        {Input::Check, 124, {flag(kUsrForwardNoAnswer), whole(&User::cfnaNbr)}},
        {Input::Edit, 124, {whole(&User::cfnaNbr)}},
        {Input::Check, 126, {flag(kUsrVoiceMail)}},
        {Input::Edit, 120, {whole(&User::email)}},
        {Input::Check, 267, {flag(kUsrTransfer)}},
        {Input::Check, 132, {flag(kUsrCallWaiting)}},
        {Input::Edit, 131, {whole(&User::pickupGroup)}},
        {Input::Edit, 147, {whole(&User::callWaitingLimit)}},
        {Input::Check, 274, {flag(kUsrHideNumber)}},
        {Input::Check, 275, {flag(kUsrRejectAnonymous)}},
        {Input::Check, 394, {flag(kUsrRecordCalls)}},
        {Input::Check, 436, {flag(kUsrDoNotDisturb)}},
        {Input::Check, 437, {flag(kUsrMessages)}},
        {Input::Check, 438, {flag(kUsrMissedCallMail)}},
        {Input::Radio, 136, {whole(&User::followMeType)}},
        {Input::Radio, 137, {whole(&User::followMeType)}},
        {Input::Radio, 138, {whole(&User::followMeType)}},
        {Input::Edit, 139, {whole(&User::followMeTime)}},
        {Input::Edit, 140, {whole(&User::followMeNbr1)}},
        {Input::Edit, 141, {whole(&User::followMeNbr2)}},
        {Input::Edit, 142, {whole(&User::followMeNbr3)}},
        {Input::Check, 145, {flag(kUsrPrepaid)}},
        {Input::Check, 144, {flag(kUsrCallShop)}},
        {Input::Check, 146, {flag(kUsrConference)}},
        {Input::Edit, 276, {whole(&User::maxConfParties)}},
        {Input::Edit, 338, {whole(&User::expiryDate)}},
        {Input::Combo, 224, {whole(&User::dialPlan)}},
        {Input::Combo, 426, {whole(&User::timeCondId)}},
        {Input::Edit, 320, {whole(&User::dispName)}},
        {Input::Edit, 125, {whole(&User::noAnsTime)}},
        {Input::Check, 128, {whole(&User::extLine)}},
        {Input::Combo, 128, {whole(&User::extLine)}},
        {Input::Check, 130, {whole(&User::maxDuration)}},
        {Input::Edit, 130, {whole(&User::maxDuration)}},
        {Input::Edit, 440, {whole(&User::maxCalls)}},
        {Input::Edit, 322, {whole(&User::maxOutCalls)}},
        {Input::Check, 153, {only(&User::levels, 1u << 1)}},
        {Input::Check, 154, {only(&User::levels, 1u << 2)}},
        {Input::Check, 155, {only(&User::levels, 1u << 3)}},
        {Input::Check, 156, {only(&User::levels, 1u << 4)}},
        {Input::Check, 157, {only(&User::levels, 1u << 5)}},
        {Input::Check, 158, {only(&User::levels, 1u << 6)}},
        {Input::Check, 149, {flag(kUsrVideo)}},
        {Input::Check, 150, {flag(kUsrRelayMedia)}},
        {Input::Check, 341, {flag(kUsrDtmfInfo)}},
        {Input::Check, 342, {flag(kUsrDtmfInband)}},
    };
    trip.locked = {{Input::Edit, 118, {whole(&User::usrName)}}};
    trip.kept = {flag(~kNamedFlags),     only(&User::levels, ~kLevels), whole(&User::prePort),
                 whole(&User::usrStage), whole(&User::preAddr),         whole(&User::reserved)};
    trip.check();
}

TEST_F(LocalUserEditor, BitsWithoutABoxAreThoseOfANewRecord)
{
    User record = user("2000");
    record.flags |= ~kNamedFlags;
    record.levels = Cbcl_bit_set(~0u);
    keep(record);
    edit("2000", [](QDialog& editor) { pressOk(editor); });
    EXPECT_EQ(stored("2000").flags, User().flags);
    EXPECT_EQ(stored("2000").levels, User().levels);
}

TEST_F(LocalUserEditor, HasSevenTabsInOrderAndOpensOnTheFirst)
{
    for (int round = 0; round < 2; ++round) {
        add([](QDialog& editor) {
            auto* const tabs = editor.findChild<QTabWidget*>();
            QStringList texts;
            for (int at = 0; at < tabs->count(); ++at)
                texts.append(tabs->tabText(at));
            EXPECT_EQ(texts,
                      (QStringList{item(162), item(295), item(121), item(134), item(143), item(151), item(148)}));
            EXPECT_EQ(tabs->currentIndex(), 0);
            tabs->setCurrentIndex(5);
            pressCancel(editor);
        });
    }
}

TEST_F(LocalUserEditor, TheTypesOfFollowMeHaveTheirNumbers)
{
    add([](QDialog& editor) {
        const auto* const group = editor.findChild<QButtonGroup*>();
        EXPECT_EQ(group->button(1), &radio(editor, 136));
        EXPECT_EQ(group->button(2), &radio(editor, 137));
        EXPECT_EQ(group->button(3), &radio(editor, 138));
        EXPECT_EQ(group->buttons().size(), 3);
        EXPECT_EQ(qobject_cast<QGroupBox*>(radio(editor, 136).parent())->title(), item(135));
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, AddBeginsWithANewRecordWhateverWasShownBefore)
{
    keepUnusual();
    edit("2000", [](QDialog& editor) { pressCancel(editor); });
    add([](QDialog& editor) {
        const User fresh;
        EXPECT_TRUE(line(editor, 118).isEnabled());
        for (const int empty : {118, 119, 283, 416, 431, 120, 140, 141, 142, 320})
            EXPECT_EQ(line(editor, empty).text(), QString()) << empty;
        for (const int forwarding : {374, 122, 123, 124, 130}) {
            EXPECT_FALSE(check(editor, forwarding).isChecked()) << forwarding;
            EXPECT_EQ(beside<QLineEdit>(editor, forwarding).text(), QString()) << forwarding;
        }
        const std::vector<std::pair<int, const char*>> kTexts = {
            {131, "0"}, {147, "1"}, {139, "20"}, {276, "10"}, {338, "0000-00-00"}, {125, "0"}, {440, "0"}, {322, "0"}};
        for (const auto& [labelItem, text] : kTexts)
            EXPECT_EQ(line(editor, labelItem).text(), text) << labelItem;
        for (const int on : {149, 132, 267, 437, 153, 154, 155, 156, 157, 158})
            EXPECT_TRUE(check(editor, on).isChecked()) << on;
        for (const int off : {430, 126, 274, 275, 394, 436, 438, 145, 144, 146, 128, 150, 341, 342})
            EXPECT_FALSE(check(editor, off).isChecked()) << off;
        EXPECT_TRUE(radio(editor, 136).isChecked());
        EXPECT_EQ(choice(editor, 224).currentText(), "default");
        EXPECT_EQ(choice(editor, 426).currentText(), "0");
        EXPECT_EQ(beside<QComboBox>(editor, 128).currentText(), "trunk-a Provider");
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, ANewUserWithANameOnlyIsANewRecordOtherwise)
{
    User wanted;
    BclCopyStr(wanted.usrName, "2000");
    EXPECT_EQ(bytesOf(added([](QDialog&) {})), bytesOf(wanted));
}

TEST_F(LocalUserEditor, TheNameCannotBeChangedLater)
{
    keep(user("2000"));
    edit("2000", [](QDialog& editor) {
        EXPECT_FALSE(line(editor, 118).isEnabled());
        EXPECT_EQ(line(editor, 118).text(), "2000");
        EXPECT_EQ(editor.focusWidget(), &line(editor, 119));
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, InputsFollowTheirBoxesAtOnce)
{
    add([](QDialog& editor) {
        const auto expectFollows = [&editor](int box, std::initializer_list<QWidget*> inputs) {
            for (const bool isOn : {true, false}) {
                check(editor, box).click();
                EXPECT_EQ(check(editor, box).isChecked(), isOn);
                for (const QWidget* const each : inputs)
                    EXPECT_EQ(each->isEnabled(), isOn) << each->accessibleName().toStdString();
            }
        };
        for (const int forwarding : {374, 122, 123, 124, 130})
            expectFollows(forwarding, {&beside<QLineEdit>(editor, forwarding)});
        expectFollows(126, {&line(editor, 120)});
        expectFollows(430, {&line(editor, 416), &line(editor, 431)});
        expectFollows(128, {&beside<QComboBox>(editor, 128)});
        const std::vector<std::pair<int, bool>> kTypes = {{137, true}, {136, false}, {138, true}, {136, false}};
        for (const auto& [type, isOn] : kTypes) {
            radio(editor, type).click();
            for (const int labelItem : {139, 140, 141, 142})
                EXPECT_EQ(line(editor, labelItem).isEnabled(), isOn) << type << " " << labelItem;
        }
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, InputsOfAStoredUserAreOnWithTheirBoxes)
{
    keepUnusual();
    const auto expectInputs = [](QDialog& editor, bool isOn) {
        for (const int forwarding : {374, 122, 123, 124, 130})
            EXPECT_EQ(beside<QLineEdit>(editor, forwarding).isEnabled(), isOn) << forwarding;
        for (const int labelItem : {120, 416, 431, 139, 140, 141, 142})
            EXPECT_EQ(line(editor, labelItem).isEnabled(), isOn) << labelItem;
        EXPECT_EQ(beside<QComboBox>(editor, 128).isEnabled(), isOn);
        pressCancel(editor);
    };
    edit("2000", [=](QDialog& editor) { expectInputs(editor, true); });
    add([=](QDialog& editor) { expectInputs(editor, false); });
}

TEST_F(LocalUserEditor, PrepaidIsOffWhileTheRemoteDatabaseIsNotConnected)
{
    keep(user("2000"));
    edit("2000", [](QDialog& editor) {
        EXPECT_TRUE(check(editor, 145).isEnabled());
        pressCancel(editor);
    });
    Cdb_sys_data none = *store().system().get();
    BclCopyStr(none.dbAddr, "");
    ASSERT_EQ(store().DbSetSysData(none), kDbOk);
    ASSERT_TRUE(waitUntil([this] { return store().IsRemoteDbActive() == 0; }));
    edit("2000", [](QDialog& editor) {
        EXPECT_FALSE(check(editor, 145).isEnabled());
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, PasswordsAreHidden)
{
    add([](QDialog& editor) {
        EXPECT_EQ(line(editor, 119).echoMode(), QLineEdit::Password);
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, PasswordsShowWhenTheSwitchVariantSaysSo)
{
    gVarGuiDisplayPassword = 1;
    open<Cfrm_local_users>();
    add([](QDialog& editor) {
        EXPECT_EQ(line(editor, 119).echoMode(), QLineEdit::Normal);
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, AForwardToOneselfIsClearedWhileItsBoxStaysChecked)
{
    const User record = added([](QDialog& editor) {
        for (const int forwarding : {374, 122, 123, 124})
            forward(editor, forwarding, "2000");
    });
    for (const Cphone_number& number : {record.cfuNbr, record.cfncNbr, record.cfbNbr, record.cfnaNbr})
        EXPECT_TRUE(number.IsEmpty());
    for (const Eusr_flag bit : {kUsrForwardAll, kUsrForwardNotRegistered, kUsrForwardBusy, kUsrForwardNoAnswer})
        EXPECT_TRUE(record.hasFlag(bit));
}

TEST_F(LocalUserEditor, AForwardWithoutANumberOrWithoutItsBoxHasNone)
{
    const User record = added([](QDialog& editor) {
        forward(editor, 374, "");
        forward(editor, 123, "3003");
        check(editor, 123).setChecked(false);
        forward(editor, 124, "2000 ");
    });
    EXPECT_TRUE(record.cfuNbr.IsEmpty());
    EXPECT_TRUE(record.hasFlag(kUsrForwardAll));
    EXPECT_TRUE(record.cfbNbr.IsEmpty());
    EXPECT_FALSE(record.hasFlag(kUsrForwardBusy));
    EXPECT_STREQ(record.cfnaNbr.c_str(), "2000 ");
}

TEST_F(LocalUserEditor, OkWithoutAChangeStoresNothingAndIsAccepted)
{
    keepUnusual();
    int writes = 0;
    store().addListener([&writes](const Cdb_change&) { ++writes; });
    edit("2000", [](QDialog& editor) {
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
        EXPECT_FALSE(dynamic_cast<Cdlg_local_user&>(editor).isStored());
    });
    EXPECT_EQ(writes, 0);
    edit("2000", [](QDialog& editor) {
        line(editor, 283).setText("Shop");
        pressOk(editor);
        EXPECT_TRUE(dynamic_cast<Cdlg_local_user&>(editor).isStored());
    });
    EXPECT_EQ(writes, 1);
}

TEST_F(LocalUserEditor, WhatTheStoreCannotWriteIsAcceptedButNotStored)
{
    keep(user("2000"));
    refuseWrites();
    edit("2000", [](QDialog& editor) {
        line(editor, 283).setText("Shop");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
        EXPECT_FALSE(dynamic_cast<Cdlg_local_user&>(editor).isStored());
    });
    EXPECT_STREQ(stored("2000").description, "");
}

TEST_F(LocalUserEditor, ATimeConditionThatIsGoneStaysUntilAnotherIsChosen)
{
    User record = user("2000");
    record.timeCondId = 7;
    keep(record);
    edit("2000", [](QDialog& editor) {
        EXPECT_EQ(choice(editor, 426).currentText(), "7");
        line(editor, 283).setText("changed");
        pressOk(editor);
    });
    EXPECT_EQ(stored("2000").timeCondId, 7u) << "0 would let the user call out at all hours";
    edit("2000", [](QDialog& editor) {
        choice(editor, 426).setCurrentIndex(0);
        pressOk(editor);
    });
    EXPECT_EQ(stored("2000").timeCondId, 0u);
}

TEST_F(LocalUserEditor, NumbersAboveTheirFieldsBecomeTheLargestThere)
{
    keep(user("2000"));
    edit("2000", [](QDialog& editor) {
        line(editor, 147).setText("256");
        showing<QRadioButton>(editor, 137).click();
        line(editor, 139).setText("300");
        pressOk(editor);
    });
    EXPECT_EQ(stored("2000").callWaitingLimit, 255);
    EXPECT_EQ(stored("2000").followMeTime, 255);
}

TEST_F(LocalUserEditor, AnIpPortThatIsNoNumberDoesNotLockTheUserOut)
{
    keep(user("2000"));
    edit("2000", [](QDialog& editor) {
        check(editor, 430).setChecked(true);
        line(editor, 416).setText("10.0.0.20");
        line(editor, 431).setText("abc");
        pressOk(editor);
    });
    EXPECT_EQ(stored("2000").ipPort, 0u);
    edit("2000", [](QDialog& editor) {
        line(editor, 283).setText("changed");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    EXPECT_STREQ(stored("2000").description, "changed");
}

TEST_F(LocalUserEditor, ABlankDialPlanShowsAsDefault)
{
    User record = user("2000");
    BclCopyStr(record.dialPlan, "");
    keep(record);
    edit("2000", [](QDialog& editor) {
        EXPECT_EQ(choice(editor, 224).currentText(), "default");
        EXPECT_FALSE(choice(editor, 224).isEditable());
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, EmptyNumbersKeepTheirDefaults)
{
    const User record = added([](QDialog& editor) {
        for (const int labelItem : {276, 440, 322, 139, 147, 131})
            line(editor, labelItem).clear();
        check(editor, 130).setChecked(true);
    });
    EXPECT_EQ(record.maxConfParties, 10);
    EXPECT_EQ(record.maxCalls, 0);
    EXPECT_EQ(record.maxOutCalls, 0);
    EXPECT_EQ(record.followMeTime, 20);
    EXPECT_EQ(record.callWaitingLimit, 0);
    EXPECT_EQ(record.pickupGroup, 0);
    EXPECT_EQ(record.maxDuration, 0);
}

TEST_F(LocalUserEditor, SwitchingIpAuthenticationOffForgetsTheAddress)
{
    keepUnusual();
    edit("2000", [](QDialog& editor) {
        check(editor, 430).setChecked(false);
        pressOk(editor);
    });
    EXPECT_STREQ(stored("2000").ipAddr, "");
    EXPECT_EQ(stored("2000").ipPort, 0u);
}

TEST_F(LocalUserEditor, ATelephoneThatComesWhileTheEditorIsOpenStaysRegistered)
{
    keep(user("2000"));
    edit("2000", [this](QDialog& editor) {
        writeRegistration("2000", "10.0.0.7", 5062, kUsrIdle, "Phone");
        line(editor, 283).setText("Shop");
        pressOk(editor);
    });
    EXPECT_EQ(stored("2000").prePort, 5062);
    EXPECT_STREQ(stored("2000").preAddr, "10.0.0.7");
    EXPECT_STREQ(stored("2000").description, "Shop");
}

TEST_F(LocalUserEditor, BadInputIsCutOrReadAsNothingAndDoesNoHarm)
{
    const std::vector<QString> kTexts = {QString(10000, 'x'), QString::fromUtf8("\U0001f4de\U0001f600 \u202eabc"),
                                         QString("a\nb\tc\u0001"), QString("'; drop table tbl_local_users; --")};
    for (const QString& text : kTexts) {
        const User record = added([&text](QDialog& editor) {
            for (const int labelItem : {283, 320, 120, 131, 147, 139, 140, 141, 142, 276, 125, 440, 322})
                line(editor, labelItem).setText(text);
            for (const int forwarding : {374, 122, 123, 124, 130})
                forward(editor, forwarding, text);
        });
        EXPECT_TRUE(text.startsWith(QString::fromUtf8(record.description)) || text.contains('\n'));
        EXPECT_LE(std::string(record.description).size(), 64u);
        EXPECT_LE(record.cfuNbr.getStrLen(), 32u);
        EXPECT_EQ(record.maxCalls, 0);
        EXPECT_EQ(record.maxDuration, 0);
        EXPECT_TRUE(BclIsUtf8(record.description) && BclIsUtf8(record.cfuNbr.view()));
    }
}

TEST_F(LocalUserEditor, InputsOfAllTabsBeginAndEndInOneLine)
{
    add([](QDialog& editor) {
        expectInputsInOneLine(editor);
        pressCancel(editor);
    });
}

TEST_F(LocalUserEditor, NoTabIsWiderThanTheWindowAlsoWithLongTextsInBothDirections)
{
    lengthenTexts();
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setLayoutDirection(direction);
        Cdlg_local_user editor(&store(), nullptr);
        editor.setFixedWidth(kNarrowEditor);
        editor.Init(nullptr, kUsrAdd);
        editor.show();
        expectTabsFit(editor);
    }
}

} // namespace
