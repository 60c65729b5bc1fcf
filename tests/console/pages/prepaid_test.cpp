// The pages of rates, of callers' rates and of balances: what is particular to each.
#include "support/billing_fixture.h"

namespace {

class PrepaidRates : public OneBillingPage<0> {};

TEST_P(PrepaidRates, AOneTimeFeeLeftEmptyIsStoredAsZero)
{
    openPage();
    add(filled({"5", "60", "12", ""}));
    EXPECT_EQ(row(0), (QStringList{"5", "60", "12", "0"}));
    ASSERT_TRUE(stored(rate(5)));
    EXPECT_EQ(bytesOf(*stored(rate(5))), bytesOf(rate(5, 60, 12, 0)));
}

TEST_P(PrepaidRates, ARateIdTypedWithALeadingZeroIsOctal)
{
    openPage();
    add(filled({"010", "0x10", "12", "1"}));
    EXPECT_EQ(row(0), (QStringList{"8", "16", "12", "1"}));
    EXPECT_TRUE(stored(rate(8)));
    boxes.expectInput(item(373), item(241), "", "0x8");
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 241).text(), "8");
        pressCancel(editor);
    });
    press(Query);
}

TEST_P(PrepaidRates, ARateIdOrAnIntervalOfZeroIsRefused)
{
    openPage();
    for (const char* wrong : {"0", "five", "4294967296"}) {
        addToBeRefused(item(77), "Please check parameters.", filled({wrong, "60", "12", "1"}));
        addToBeRefused(item(77), "Please check parameters.", filled({"5", wrong, "12", "1"}));
    }
    EXPECT_EQ(count<Rate>(), 0u);
    add(filled({"5", "60", "0", "0"}));
    EXPECT_EQ(count<Rate>(), 1u) << "a tariff of nothing is one";
}

TEST_P(PrepaidRates, AreSortedByTheirNumbers)
{
    keep(rate(10));
    keep(rate(9));
    openPage();
    EXPECT_EQ(column(0), (QStringList{"9", "10"}));
}

TEST_P(PrepaidRates, NumbersThatAreTooLargeToBeTypedShowAndStay)
{
    const Rate large = rate(4294967295, 4294967294, 4294967293, 4294967292);
    keep(rate(5, large.tariff_interval, large.tariff, large.onetime_fee));
    keep(large);
    openPage();
    EXPECT_EQ(row(1), (QStringList{"4294967295", "4294967294", "4294967293", "4294967292"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 337).setText("1");
        pressOk(editor);
    });
    EXPECT_EQ(bytesOf(*stored(rate(5))), bytesOf(rate(5, 4294967294, 4294967293, 1)));
}

TEST_P(PrepaidRates, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const Rate record = rate(5, 0x7ffffff0, 0x7ffffff0, 0x7ffffff0);
    keep(record);
    openPage();
    checkInputsOf<Rate>(
        record, [&] { keep(record); }, [this] { return *stored(rate(5)); },
        {{Input::Edit, 242, {whole(&Rate::tariff_interval)}},
         {Input::Edit, 243, {whole(&Rate::tariff)}},
         {Input::Edit, 337, {whole(&Rate::onetime_fee)}}},
        {{Input::Edit, 241, {whole(&Rate::rate_id)}}});
}

TEST_P(PrepaidRates, AnIdAboveTheTypableOnesIsFoundEditedAndDeleted)
{
    keep(rate(4294967295));
    keep(rate(2147483648));
    openPage();
    EXPECT_EQ(column(0), (QStringList{"2147483648", "4294967295"}));
    editRow(1, changed());
    EXPECT_EQ(stored(rate(4294967295)).value_or(rate(0)).tariff, 77u);
    boxes.expectInput(item(373), item(241), "", "4294967295");
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 241).text(), "4294967295");
        pressCancel(editor);
    });
    press(Query);
    deleteRow(1);
    EXPECT_FALSE(stored(rate(4294967295)));
    EXPECT_TRUE(stored(rate(2147483648)));
}

TEST_P(PrepaidRates, ANegativeNumberIsTakenAsZero)
{
    openPage();
    addToBeRefused(item(77), "Please check parameters.", filled({"-5", "60", "12", "1"}));
    addToBeRefused(item(77), "Please check parameters.", filled({"5", "-60", "12", "1"}));
    add(filled({"5", "60", "-12", "-1"}));
    EXPECT_EQ(row(0), (QStringList{"5", "60", "0", "0"}));
    EXPECT_EQ(bytesOf(stored(rate(5)).value_or(rate(0))), bytesOf(rate(5, 60, 0, 0)));
}

TEST_P(PrepaidRates, AFractionIsTakenAsZero)
{
    openPage();
    add(filled({"5", "60", "12.5", "0,5"}));
    EXPECT_EQ(row(0), (QStringList{"5", "60", "0", "0"}));
}

INSTANTIATE_TEST_SUITE_P(All, PrepaidRates, kEachRemote, remoteEngineName);

class PrepaidRatesOnServer : public PrepaidRates {};

TEST_P(PrepaidRatesOnServer, AServerThatHangsStopsNoButton)
{
    keep(rate(1));
    openPage();
    server().suspend();
    press(Refresh);
    EXPECT_EQ(rows(), 0);
    add(filled({"5", "60", "12", "20"}));
    EXPECT_EQ(column(0), QStringList{"5"});
    deleteRow(0);
    EXPECT_EQ(rows(), 0);
    server().resume();
    ASSERT_TRUE(waitForRemote(true));
    expectAfterRefresh([this] { return column(0); }, QStringList{"1"});
}

INSTANTIATE_TEST_SUITE_P(All, PrepaidRatesOnServer, testing::Values(RemoteEngine::MariaDb), remoteEngineName);

class SubscriberBalances : public OneBillingPage<1> {};

TEST_P(SubscriberBalances, AreCentsWithTheirSign)
{
    keep(balance("1000", -2147483647 - 1));
    keep(balance("1001", 2147483647));
    openPage();
    EXPECT_EQ(column(1), (QStringList{"-2147483648", "2147483647"}));
    editRow(0, [](QDialog& editor) {
        edit(editor, 247).setText("-5");
        pressOk(editor);
    });
    EXPECT_EQ(stored(balance("1000"))->nBalance, -5);
}

TEST_P(SubscriberBalances, WhatIsNoWholeNumberOfItsRangeIsTakenAsZero)
{
    openPage();
    for (const char* wrong : {"2147483648", "-2147483649", "12.5", "much"}) {
        add(filled({wrong, wrong}));
        EXPECT_EQ(stored(balance(wrong, 1)).value_or(balance("", 1)).nBalance, 0) << wrong;
    }
}

TEST_P(SubscriberBalances, ALeadingZeroIsOctalAlsoInMoney)
{
    openPage();
    add(filled({"1000", "0500"}));
    EXPECT_EQ(row(0), (QStringList{"1000", "320"}));
}

TEST_P(SubscriberBalances, ANameHasSixtyCharacters)
{
    openPage();
    add(filled({QString(61, 'x'), "1"}));
    EXPECT_EQ(cell(0, 0), QString(60, 'x'));
    EXPECT_TRUE(stored(balance(std::string(60, 'x').c_str())));
}

INSTANTIATE_TEST_SUITE_P(All, SubscriberBalances, kEachRemote, remoteEngineName);

class CallerPrepaidPage : public OneBillingPage<2> {};

TEST_P(CallerPrepaidPage, ARateIdOfZeroIsRefusedInItsOwnWords)
{
    openPage();
    for (const char* wrong : {"0", "three"})
        addToBeRefused(item(77), "Please check parameters.The prepaid ID must larger than 0.",
                       filled({".", "00", wrong}));
    EXPECT_EQ(count<CallerPrepaid>(), 0u);
}

TEST_P(CallerPrepaidPage, ANegativeRateIdIsRefused)
{
    openPage();
    addToBeRefused(item(77), "Please check parameters.The prepaid ID must larger than 0.", filled({".", "00", "-3"}));
    EXPECT_EQ(count<CallerPrepaid>(), 0u);
}

TEST_P(CallerPrepaidPage, AreSortedBySubscriberAndPrefix)
{
    keep(callerPrepaid("2", "0", 1));
    keep(callerPrepaid("10", "00", 4294967295));
    keep(callerPrepaid("10", "0", 3));
    openPage();
    EXPECT_EQ(row(0), (QStringList{"10", "0", "3"}));
    EXPECT_EQ(row(1), (QStringList{"10", "00", "4294967295"}));
    EXPECT_EQ(row(2), (QStringList{"2", "0", "1"}));
}

TEST_P(CallerPrepaidPage, OnlyTheRowWithBothPartsOfTheKeyIsMeant)
{
    keep(callerPrepaid("1", "0", 1));
    keep(callerPrepaid("1", "1", 2));
    openPage();
    editRow(1, changed());
    EXPECT_EQ(column(2), (QStringList{"1", "77"}));
    deleteRow(0);
    EXPECT_FALSE(stored(callerPrepaid("1", "0")));
    EXPECT_EQ(stored(callerPrepaid("1", "1"))->nRateId, 77u);
}

TEST_P(CallerPrepaidPage, AKeyHasSixtyCharactersInEachPart)
{
    openPage();
    add(filled({QString(61, 's'), QString(61, '1'), "3"}));
    EXPECT_TRUE(stored(callerPrepaid(std::string(60, 's').c_str(), std::string(60, '1').c_str())));
}

INSTANTIATE_TEST_SUITE_P(All, CallerPrepaidPage, kEachRemote, remoteEngineName);

} // namespace
