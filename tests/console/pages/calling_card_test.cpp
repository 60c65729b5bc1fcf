// The pages of calling cards: what is particular to each.
#include "bcl2/text.h"
#include "support/billing_fixture.h"

#include <QCheckBox>

namespace {

class CallingCardFees : public OneBillingPage<3> {};

TEST_P(CallingCardFees, ARateIdOfZeroIsRefused)
{
    openPage();
    for (const char* wrong : {"0", "three", "-3"})
        addToBeRefused(item(77), "Please check parameters.", filled({"default", "00", wrong}));
    EXPECT_EQ(count<CardFee>(), 0u);
}

TEST_P(CallingCardFees, AreSortedByDialPlanAndPrefix)
{
    keep(cardFee("default", "1", 1));
    keep(cardFee("branch", "2", 2));
    keep(cardFee("branch", "1", 3));
    openPage();
    EXPECT_EQ(column(2), (QStringList{"3", "2", "1"}));
}

TEST_P(CallingCardFees, ARateIdThatIsTooLargeToBeTypedShowsAndStays)
{
    keep(cardFee("default", "1", 4294967295));
    openPage();
    EXPECT_EQ(row(0), (QStringList{"default", "1", "4294967295"}));
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 241).text(), "4294967295");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Accepted);
    });
    EXPECT_EQ(stored(cardFee("default", "1")).value_or(cardFee("", "")).nRateId, 4294967295u);
}

TEST_P(CallingCardFees, AKeyHasThirtyTwoCharactersInEachPart)
{
    openPage();
    add(filled({QString(33, 'p'), QString(33, '1'), "3"}));
    EXPECT_TRUE(stored(cardFee(std::string(32, 'p').c_str(), std::string(32, '1').c_str())));
}

INSTANTIATE_TEST_SUITE_P(All, CallingCardFees, kEachRemote, remoteEngineName);

class CallingCards : public OneBillingPage<4> {
protected:
    static QCheckBox& planCheck(QDialog& editor) { return check(editor, 291); }
    static QLineEdit& plan(QDialog& editor) { return named<QLineEdit>(editor, 291); }
};

TEST_P(CallingCards, ANewOneTakesOneCallAtATimeAndNeverExpires)
{
    openPage();
    addWith([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 334).text(), "1");
        edit(editor, 258).setText("5550");
        edit(editor, 259).setText("4711");
        edit(editor, 260).setText("500");
        edit(editor, 334).clear();
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(*stored(card("5550"))), bytesOf(card("5550", 500, "4711")));
    EXPECT_EQ(stored(card("5550"))->nMaxCalls, 1u);
    EXPECT_EQ(stored(card("5550"))->nExpiry, 0u);
}

TEST_P(CallingCards, TheDialPlanIsStoredOnlyWhenItsBoxIsChecked)
{
    openPage();
    addWith([this](QDialog& editor) {
        filled(page().values)(editor);
        EXPECT_FALSE(plan(editor).isEnabled());
        planCheck(editor).click();
        EXPECT_TRUE(plan(editor).isEnabled());
        plan(editor).setText(QString(33, 'p'));
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("05"))->nDialPlanInd, 1u);
    EXPECT_EQ(stored(card("05"))->cDialPlan, std::string(32, 'p'));
    editRow(0, [](QDialog& editor) {
        EXPECT_TRUE(planCheck(editor).isChecked());
        EXPECT_TRUE(plan(editor).isEnabled());
        planCheck(editor).click();
        EXPECT_FALSE(plan(editor).isEnabled());
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("05"))->nDialPlanInd, 0u);
    EXPECT_STREQ(stored(card("05"))->cDialPlan, "");
}

TEST_P(CallingCards, ANewOneDoesNotTakeTheDialPlanOfTheOneBefore)
{
    Card first = card("1");
    BclCopyStr(first.cDialPlan, "branch");
    first.setDialPlanInd();
    keep(first);
    openPage();
    editRow(0, [](QDialog& editor) { pressCancel(editor); });
    addWith([](QDialog& editor) {
        EXPECT_FALSE(planCheck(editor).isChecked());
        EXPECT_EQ(plan(editor).text(), QString());
        EXPECT_FALSE(plan(editor).isEnabled());
        EXPECT_EQ(edit(editor, 335).text(), "--");
        pressCancel(editor);
    });
}

TEST_P(CallingCards, AreCentsWithTheirSign)
{
    keep(card("1", -2147483647 - 1));
    keep(card("2", 2147483647));
    openPage();
    EXPECT_EQ(column(1), (QStringList{"-2147483648", "2147483647"}));
    for (const char* text : {"2147483647", "-2147483648"}) {
        editRow(0, [text](QDialog& editor) {
            edit(editor, 260).setText(text);
            pressOk(editor);
        });
        EXPECT_EQ(cell(0, 1), text);
        EXPECT_EQ(std::to_string(stored(card("1")).value_or(card("")).nBalance), text);
    }
    editRow(0, [](QDialog& editor) {
        edit(editor, 260).setText("2147483648");
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("1")).value_or(card("", 1)).nBalance, 0) << "out of its range";
}

// 0 is no limit.
TEST_P(CallingCards, ANumberOfCallsThatIsNoneIsTakenAsZero)
{
    openPage();
    for (const char* text : {"-1", "two", "2.5"}) {
        add(filled({text, "4711", "500", text}));
        EXPECT_EQ(stored(card(text)).value_or(card("")).nMaxCalls, 0u) << text;
    }
}

TEST_P(CallingCards, ABalanceThatIsNotTouchedIsTheOneThatACallLeftMeanwhile)
{
    keep(card("1", 500, "1234"));
    openPage();
    editRow(0, [this](QDialog& editor) {
        keep(card("1", 320, "1234"));
        edit(editor, 259).setText("4711");
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(stored(card("1")).value_or(card(""))), bytesOf(card("1", 320, "4711")));
    EXPECT_EQ(cell(0, 1), "320");
    boxes.expectInput(item(373), item(258), "", "1");
    expectEditor([this](QDialog& editor) {
        keep(card("1", 300, "4711"));
        edit(editor, 259).setText("4712");
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(bytesOf(stored(card("1")).value_or(card(""))), bytesOf(card("1", 300, "4712")));
}

TEST_P(CallingCards, ABalanceThatIsTypedIsStoredWhateverACallLeftMeanwhile)
{
    keep(card("1", 500));
    openPage();
    editRow(0, [this](QDialog& editor) {
        keep(card("1", 320));
        edit(editor, 260).setText("1000");
        pressOk(editor);
    });
    EXPECT_EQ(stored(card("1")).value_or(card("")).nBalance, 1000);
    EXPECT_EQ(cell(0, 1), "1000");
}

TEST_P(CallingCards, ACardThatWasDeletedUnderItsEditorIsStoredAnew)
{
    keep(card("1", 500));
    openPage();
    editRow(0, [this](QDialog& editor) {
        removeFromOutside();
        edit(editor, 259).setText("4711");
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(stored(card("1")).value_or(card(""))), bytesOf(card("1", 500, "4711")));
}

// As another program may have written them.
TEST_P(CallingCards, WhatTheInputsCannotShowStaysUntilItsInputIsChanged)
{
    Card odd = card("1", 500);
    odd.nDialPlanInd = 7;
    BclCopyStr(odd.cDialPlan, "branch");
    odd.nExpiry = 4294967295; // shown as never
    keep(odd);
    Card hidden = card("2", 500);
    BclCopyStr(hidden.cDialPlan, "unused");
    hidden.nExpiry = 5;
    keep(hidden);
    openPage();
    const auto expectStored = [this](const Card& expected) {
        EXPECT_EQ(bytesOf(stored(card(expected.cCard)).value_or(card(""))), bytesOf(expected));
    };
    const auto changePin = [](QDialog& editor) {
        edit(editor, 259).setText("4711");
        pressOk(editor);
    };
    editRow(0, changePin);
    editRow(1, changePin);
    BclCopyStr(odd.cPin, "4711");
    BclCopyStr(hidden.cPin, "4711");
    expectStored(odd);
    expectStored(hidden);
    editRow(0, [](QDialog& editor) {
        edit(editor, 335).setText("2027-01-31");
        plan(editor).setText("default");
        pressOk(editor);
    });
    odd.nExpiry = 20270131;
    BclCopyStr(odd.cDialPlan, "default");
    expectStored(odd);
    editRow(1, [](QDialog& editor) {
        planCheck(editor).click();
        pressOk(editor);
    });
    hidden.setDialPlanInd();
    expectStored(hidden);
}

TEST_P(CallingCards, OkOnACardWithOddFieldsWritesNothing)
{
    Card odd = card("1", 500);
    odd.nDialPlanInd = 7;
    odd.nExpiry = 4294967295;
    keep(odd);
    openPage();
    editRow(0, [this](QDialog& editor) {
        removeFromOutside();
        pressOk(editor);
    });
    EXPECT_EQ(count<Card>(), 0u);
}

TEST_P(CallingCards, ANewOneTakesTheExpiryThatIsTypedAlsoWhenTheOneBeforeHadTheSame)
{
    Card first = card("1", 500);
    first.nExpiry = 20270131;
    keep(first);
    openPage();
    editRow(0, [](QDialog& editor) { pressCancel(editor); });
    add(filled({"2", "4711", "500", "1", "2027-01-31"}));
    EXPECT_EQ(stored(card("2")).value_or(card("")).nExpiry, 20270131u);
}

TEST_P(CallingCards, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    Card record = card("5550", 0x7ffffff0, "4711");
    record.nMaxCalls = 0xfffffff0;
    record.nExpiry = 20270131;
    record.setDialPlanInd();
    BclCopyStr(record.cDialPlan, "branch");
    keep(record);
    openPage();
    checkInputsOf<Card>(
        record, [&] { keep(record); }, [this] { return *stored(card("5550")); },
        {{Input::Edit, 259, {whole(&Card::cPin)}},
         {Input::Edit, 260, {whole(&Card::nBalance)}},
         {Input::Edit, 334, {whole(&Card::nMaxCalls)}},
         {Input::Edit, 335, {whole(&Card::nExpiry)}},
         {Input::Check, 291, {whole(&Card::nDialPlanInd), whole(&Card::cDialPlan)}},
         {Input::Edit, 291, {whole(&Card::cDialPlan)}}},
        {{Input::Edit, 258, {whole(&Card::cCard)}}}, {whole(&Card::reserved)});
}

INSTANTIATE_TEST_SUITE_P(All, CallingCards, kEachRemote, remoteEngineName);

} // namespace
