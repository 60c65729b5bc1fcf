// What the editor of a local user refuses, and in which order.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "console/pages/local_user_editor_fixture.h"
#include "dlg_local_user.h"

namespace {

TEST_F(LocalUserEditor, AddingAUserThatExistsClosesWithoutAMessageAndStoresNothing)
{
    keep(user("2000"));
    frame().hide();
    frame().show();
    expectRefused(QString(), [](QDialog& editor) {
        line(editor, 283).setText("Other");
        spoilPassword(editor);
    });
    EXPECT_STREQ(stored("2000").description, "");
}

TEST_F(LocalUserEditor, ALongNameDoesNotReplaceTheUserWhoseNameItBeginsWith)
{
    const std::string name(32, '7');
    keep(user(name.c_str()));
    frame().hide();
    frame().show();
    expectRefused(QString(), [&](QDialog& editor) { line(editor, 118).setText(QString::fromStdString(name) + "8"); });
}

TEST_F(LocalUserEditor, ANameOfAnExternalLineIsRefused)
{
    addLine("2000");
    expectRefused(item(452), spoilPassword);
}

TEST_F(LocalUserEditor, TheNamesOfOthersDoNotMatterInAnEdit)
{
    addLine("2000");
    keep(user("2000"));
    edit("2000", [](QDialog& editor) {
        line(editor, 283).setText("Shop");
        pressOk(editor);
    });
    EXPECT_STREQ(stored("2000").description, "Shop");
}

TEST_F(LocalUserEditor, APasswordAboveItsBoundIsRefusedBeforeAllThatFollows)
{
    expectRefused(item(455), [](QDialog& editor) {
        spoilPassword(editor);
        spoilLine(editor);
    });
    expectRefused(item(455), [](QDialog& editor) { line(editor, 119).setText(QString(17, QChar(0xe4))); });
    const QString longest(32, 'x');
    EXPECT_EQ(QString(added([&](QDialog& editor) { line(editor, 119).setText(longest); }).password), longest);
}

TEST_F(LocalUserEditor, ASpecialLineMustBeChosenBeforeAllThatFollows)
{
    expectRefused(item(112), [](QDialog& editor) {
        spoilLine(editor);
        spoilDate(editor);
    });
}

TEST_F(LocalUserEditor, ASpecialLineThatIsGoneIsNotReplacedByAnother)
{
    User record = user("2000");
    BclCopyStr(record.extLine, "gone");
    keep(record);
    boxes.expectInput(item(373), item(118), QString(), "2000");
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(check(editor, 128).isChecked());
        EXPECT_EQ(beside<QComboBox>(editor, 128).currentText(), "");
        pressOk(editor);
    });
    boxes.expect(item(77), item(112));
    press(Query);
    EXPECT_STREQ(stored("2000").extLine, "gone");
}

TEST_F(LocalUserEditor, ADateThatIsNotWholeIsRefusedBeforeAllThatFollows)
{
    expectRefused(item(339), [](QDialog& editor) {
        spoilDate(editor);
        spoilTime(editor);
    });
}

TEST_F(LocalUserEditor, AnEmptyDateIsStoredAsNever)
{
    QString shown;
    const User record = added([&shown](QDialog& editor) {
        line(editor, 338).clear();
        EXPECT_EQ(line(editor, 338).text(), "--");
        QObject::connect(&line(editor, 338), &QLineEdit::textChanged, [&shown](const QString& text) { shown = text; });
    });
    EXPECT_EQ(record.expiryDate, 0u);
    EXPECT_EQ(shown, "0000-00-00");
    EXPECT_EQ(added([](QDialog& editor) { line(editor, 338).setText("2027-12-24"); }).expiryDate, 20271224u);
}

TEST_F(LocalUserEditor, ANoAnswerTimeAboveAnHourIsRefusedBeforeAllThatFollows)
{
    expectRefused(item(113), [](QDialog& editor) {
        spoilTime(editor);
        spoilMail(editor);
    });
    const std::vector<std::pair<const char*, uint32_t>> kTimes = {{"3599", 3599}, {"", 0},  {"0", 0}, {"1", 5},
                                                                  {"4", 5},       {"5", 5}, {"6", 6}, {"ten", 0}};
    for (const auto& [text, seconds] : kTimes) {
        const QString time = text;
        EXPECT_EQ(added([&](QDialog& editor) { line(editor, 125).setText(time); }).noAnsTime, seconds) << text;
    }
}

TEST_F(LocalUserEditor, VoiceMailByMailWantsAnAddressAndAServerBeforeAllThatFollows)
{
    expectRefused("Please input user e-mail address to receive voice mail.", [](QDialog& editor) {
        spoilMail(editor);
        spoilIp(editor);
    });
    expectRefused("Please configure SMTP server information to send voice mail.", [](QDialog& editor) {
        spoilServer(editor);
        spoilIp(editor);
    });
    BclCopyStr(store().DbGetSysTbl()->smtpAddr, "mail.example.org");
    ASSERT_EQ(store().DbGetSysTbl()->SaveDB(), kDbOk);
    EXPECT_TRUE(added(spoilServer).hasFlag(kUsrVoiceMail));
}

TEST_F(LocalUserEditor, VoiceMailThatIsKeptOnTheServerWantsNeither)
{
    ASSERT_EQ(store().DbSetVmsMode(kVmsStored), kDbOk);
    EXPECT_TRUE(added(spoilMail).hasFlag(kUsrVoiceMail));
}

TEST_F(LocalUserEditor, IpAuthenticationWithoutAGoodAddressAndPortClosesWithALogLineOnly)
{
    std::vector<std::string> lines;
    BclSubEvent(kBclLogEvent, &lines, [](void* context, void* text, void*) {
        static_cast<std::vector<std::string>*>(context)->push_back(static_cast<const char*>(text));
    });
    BclOpenLog();
    const auto refusedFor = [&](const QString& address, const QString& port) {
        lines.clear();
        expectRefused(QString(), [=](QDialog& editor) {
            spoilIp(editor);
            line(editor, 416).setText(address);
            line(editor, 431).setText(port);
        });
        EXPECT_EQ(lines.size(), 1u);
        return lines.empty() ? std::string() : lines[0].substr(0, lines[0].rfind('_'));
    };
    EXPECT_EQ(refusedFor("", ""), "invalid ip address (dlg_local_user.cpp");
    EXPECT_EQ(refusedFor("sip.example.org", ""), "invalid ip address format (dlg_local_user.cpp");
    EXPECT_EQ(refusedFor("10.0.0.256", "5060"), "invalid ip address format (dlg_local_user.cpp");
    EXPECT_EQ(refusedFor("10.0.0.20", ""), "invalid ip port (dlg_local_user.cpp");
}

} // namespace
