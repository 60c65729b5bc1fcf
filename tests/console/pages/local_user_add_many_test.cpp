// The dialog that asks what is needed to create many users.
#include "dlg_local_user_add_many.h"
#include "frm_local_users.h"
#include "support/local_users_fixture.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>

namespace {

class AddMany : public LocalUsersFixture {
protected:
    void SetUp() override
    {
        LocalUsersFixture::SetUp();
        open<Cfrm_local_users>();
        _dialog = frame().findChild<Cdlg_local_user_add_many*>();
        _dialog->init();
    }
    Cdlg_local_user_add_many& dialog() { return *_dialog; }
    QLineEdit& line(int labelItem) { return input<QLineEdit>(*_dialog, labelItem); }
    void fillIn(const QString& start, const QString& total, const QString& password)
    {
        _dialog->init();
        line(389).setText(start);
        line(390).setText(total);
        check(*_dialog, 391).setChecked(password.isNull());
        line(304).setText(password);
    }
    void expectRefused(const QString& message, const QString& start, const QString& total, const QString& password)
    {
        fillIn(start, total, password);
        boxes.expect("Invalid parameter", message);
        _dialog->show();
        pressOk(*_dialog);
        EXPECT_FALSE(_dialog->isVisible());
        EXPECT_EQ(_dialog->result(), QDialog::Rejected) << message.toStdString();
    }
    void expectTaken(const QString& start, const QString& total, const QString& password)
    {
        fillIn(start, total, password);
        _dialog->show();
        pressOk(*_dialog);
        EXPECT_EQ(_dialog->result(), QDialog::Accepted) << start.toStdString() << ' ' << total.toStdString();
    }

private:
    Cdlg_local_user_add_many* _dialog = nullptr;
};

const QString kRandom; // no password text: the box stays checked

TEST_F(AddMany, ShowsItsInputsInOrder)
{
    EXPECT_EQ(dialog().windowTitle(), item(388));
    auto* const grid = dialog().findChild<QGridLayout*>();
    EXPECT_EQ(grid->itemAtPosition(0, 1)->widget(), &line(389));
    EXPECT_EQ(grid->itemAtPosition(1, 1)->widget(), &line(390));
    EXPECT_EQ(grid->itemAtPosition(2, 0)->widget(), &check(dialog(), 391));
    EXPECT_EQ(grid->itemAtPosition(2, 1)->widget(), &check(dialog(), 391));
    EXPECT_EQ(grid->itemAtPosition(3, 1)->widget(), &line(304));
}

TEST_F(AddMany, BeginsEmptyWithRandomPasswordsAfterARunWithACommonOneToo)
{
    expectTaken("2000", "2", "secret");
    EXPECT_STREQ(dialog().password(), "secret");
    EXPECT_EQ(dialog().isRandom(), 0u);
    dialog().init();
    for (const int labelItem : {389, 390, 304})
        EXPECT_EQ(line(labelItem).text(), QString()) << labelItem;
    EXPECT_TRUE(check(dialog(), 391).isChecked());
    EXPECT_FALSE(line(304).isEnabled());
    EXPECT_STREQ(dialog().password(), "");
    EXPECT_EQ(dialog().startNumber(), 0u);
    EXPECT_EQ(dialog().total(), 0u);
    EXPECT_EQ(dialog().isRandom(), 1u);
}

TEST_F(AddMany, ThePasswordIsOnWithoutRandomOnesOnly)
{
    dialog().show();
    check(dialog(), 391).click();
    EXPECT_TRUE(line(304).isEnabled());
    check(dialog(), 391).click();
    EXPECT_FALSE(line(304).isEnabled());
}

TEST_F(AddMany, RefusesInItsOrderAndClosesAsRejected)
{
    const QString kEmpty = "";
    expectRefused("Please configure 'start number'.", kEmpty, kEmpty, kEmpty);
    expectRefused("Please configure 'Total'.", "+2000", kEmpty, kEmpty);
    expectRefused("Please configure 'Password'.", "+2000", "0", kEmpty);
    expectRefused("'Start number' must only include '0'~'9' digits", "+2000", "0", "secret");
    expectRefused("'Total' is invalid.", "2000", "0", "secret");
}

TEST_F(AddMany, AStartNumberIsMadeOfDigitsOnly)
{
    for (const char* const start : {"+2000", " 2000", "2000 ", "20 00", "2000a", "-1", "0x10", "\u0662\u0660"})
        expectRefused("'Start number' must only include '0'~'9' digits", start, "1", kRandom);
    expectRefused("'Start number' must only include '0'~'9' digits", QString(10000, 'x'), "1", kRandom);
}

TEST_F(AddMany, FromOneToThreeHundredUsersAreMade)
{
    for (const char* const total : {"0", "301", "-1", "many", "4294967296"})
        expectRefused("'Total' is invalid.", "2000", total, kRandom);
    expectTaken("2000", "1", kRandom);
    expectTaken("2000", "300", kRandom);
    EXPECT_EQ(dialog().startNumber(), 2000u);
    EXPECT_EQ(dialog().total(), 300u);
    EXPECT_EQ(dialog().isRandom(), 1u);
}

TEST_F(AddMany, WithRandomPasswordsAnEmptyOneIsTakenAndATypedOneIsNot)
{
    expectTaken("2000", "1", kRandom);
    EXPECT_STREQ(dialog().password(), "");
    fillIn("2000", "1", "typed");
    check(dialog(), 391).setChecked(true);
    dialog().show();
    pressOk(dialog());
    EXPECT_STREQ(dialog().password(), "");
}

TEST_F(AddMany, ZerosInFrontOfTheStartNumberAreLost)
{
    expectTaken("0100", "1", kRandom);
    EXPECT_EQ(dialog().startNumber(), 100u);
}

TEST_F(AddMany, AStartNumberThatIsTooLargeMakesNoOtherUsers)
{
    for (const char* total : {"1", "2"}) {
        addMany("49301234567", total, "secret");
        addMany(QString(60, '9'), total, "secret");
    }
    EXPECT_EQ(store().DbGetUsrCnt(), 0u);
}

TEST_F(AddMany, TheTotalIsDecimalAsTheStartNumberIs)
{
    addMany("0100", "010", "secret");
    EXPECT_EQ(store().DbGetUsrCnt(), 10u);
    Cdb_usr_info user;
    EXPECT_EQ(store().DbGetUsrInfo("109", user), kDbOk);
}

TEST_F(AddMany, APasswordThatWouldBeCutIsRefused)
{
    expectRefused(item(455), "2000", "1", QString(33, 'x'));
    expectRefused(item(455), "2000", "1", QString(20, QChar(0xe4)));
    addMany("2000", "1", QString(16, QChar(0xe4)));
    Cdb_usr_info user;
    ASSERT_EQ(store().DbGetUsrInfo("2000", user), kDbOk);
    EXPECT_EQ(QString::fromUtf8(user.password), QString(16, QChar(0xe4)));
}

} // namespace
