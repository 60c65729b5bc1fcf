// The page of the operators of hunting groups.
#include "console/pages/hunting_pages.h"
#include "frm_hg_oper.h"

#include <QCheckBox>
#include <QTreeView>

namespace {

class HuntingOperators : public HuntingPages {
protected:
    [[nodiscard]] QString title() const override { return item(280); }
    void keepOperator(const char* number, unsigned group, uint8_t isExternal = 0)
    {
        Operator record;
        record.operatorNbr.SetNbr(number);
        record.groupID = group;
        record.isExternal = isExternal;
        ASSERT_EQ(store().DbAddHGOperator(record), kDbOk);
    }
    [[nodiscard]] std::map<std::string, std::pair<unsigned, unsigned>> storedOperators()
    {
        std::map<std::string, std::pair<unsigned, unsigned>> found;
        store().rows<Operator>().get()->forEach([&](const auto& number, const Operator& record) {
            found[std::string(number)] = {record.groupID, record.isExternal};
        });
        return found;
    }
    void add(const QString& number, int group = 0, bool isExternal = false)
    {
        expectEditor([=](QDialog& editor) {
            edit(editor, 287).setText(number);
            combo(editor, 288).setCurrentIndex(group);
            check(editor, 354).setChecked(isExternal);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(HuntingOperators, AreListedByNumberWithTheirGroupAndPlace)
{
    keepOperator("1002", 7, 1);
    keepOperator("1001", 10, 0);
    keepOperator("1003", 9, 2);
    open<Cfrm_hg_oper>();
    EXPECT_EQ(row(0), (QStringList{"1001", "10", item(70)}));
    EXPECT_EQ(row(1), (QStringList{"1002", "7", item(69)}));
    EXPECT_EQ(row(2), (QStringList{"1003", "9", item(70)}));
    view().sortByColumn(1, Qt::AscendingOrder);
    EXPECT_EQ(column(1), (QStringList{"7", "9", "10"})) << "groups are numbers";
}

TEST_F(HuntingOperators, NeedAGroupFirst)
{
    open<Cfrm_hg_oper>();
    boxes.expect(item(77), kNoGroup);
    press(Add);
    keepGroup(5);
    add("1001");
    EXPECT_EQ(row(0), (QStringList{"1001", "5", item(70)}));
}

TEST_F(HuntingOperators, AddStoresTheChosenGroupAndThePlace)
{
    keepGroup(5, "Sales");
    keepGroup(12, "Service");
    open<Cfrm_hg_oper>();
    expectEditor([](QDialog& editor) {
        const QComboBox& groups = combo(editor, 288);
        EXPECT_EQ(groups.count(), 2);
        EXPECT_EQ(groups.itemText(1), "12   Service");
        pressCancel(editor);
    });
    press(Add);
    add("0441234567", 1, true);
    EXPECT_EQ(row(0), (QStringList{"0441234567", "12", item(69)}));
    EXPECT_EQ(storedOperators()["0441234567"], std::pair(12u, 1u));
}

TEST_F(HuntingOperators, AnEmptyNumberIsRefusedInWords)
{
    keepGroup(5);
    open<Cfrm_hg_oper>();
    addToBeRefused(item(77), "Please configure operator number.", [](QDialog&) {});
    EXPECT_TRUE(storedOperators().empty());
}

TEST_F(HuntingOperators, ANumberThatIsInAnyGroupIsRefusedInWords)
{
    keepGroup(5);
    keepGroup(6);
    const QString longest(32, '1');
    keepOperator("1001", 5);
    keepOperator(longest.toUtf8().constData(), 5);
    open<Cfrm_hg_oper>();
    for (const QString& number : {QStringLiteral("1001"), longest, longest + "2"}) {
        addToBeRefused(item(77), "There is an operator.", [=](QDialog& editor) {
            edit(editor, 287).setText(number);
            combo(editor, 288).setCurrentIndex(1);
        });
    }
    EXPECT_EQ(model().rowCount(), 2);
    EXPECT_EQ(storedOperators()["1001"].first, 5u);
}

TEST_F(HuntingOperators, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    keepGroup(5);
    open<Cfrm_hg_oper>();
    refuseWrites();
    expectEditor([](QDialog& editor) {
        edit(editor, 287).setText("1001");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Add);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(HuntingOperators, AddOpensEmptyWhateverWasThereBefore)
{
    keepGroup(5);
    keepGroup(6);
    open<Cfrm_hg_oper>();
    for (int round = 0; round < 2; ++round) {
        expectEditor([round](QDialog& editor) {
            EXPECT_EQ(combo(editor, 288).count(), 2 + round) << "groups that came meanwhile are offered";
            EXPECT_EQ(edit(editor, 287).text(), QString());
            EXPECT_EQ(combo(editor, 288).currentIndex(), 0);
            EXPECT_FALSE(check(editor, 354).isChecked());
            EXPECT_TRUE(edit(editor, 287).isEnabled());
            EXPECT_TRUE(combo(editor, 288).isEnabled());
            edit(editor, 287).setText("1001");
            combo(editor, 288).setCurrentIndex(1);
            check(editor, 354).setChecked(true);
            pressCancel(editor);
        });
        press(Add);
        keepGroup(static_cast<unsigned>(7 + round));
    }
}

TEST_F(HuntingOperators, DeleteRemovesTheRowAlsoOfAnOperatorThatIsGone)
{
    keepOperator("1001", 5);
    keepOperator("1002", 5);
    open<Cfrm_hg_oper>();
    ASSERT_EQ(store().DbRemoveHGOperator("1001"), kDbOk);
    deleteAll(2);
    EXPECT_TRUE(storedOperators().empty());
}

TEST_F(HuntingOperators, ADoubleClickOpensNothing)
{
    keepOperator("1001", 5);
    open<Cfrm_hg_oper>();
    select(0);
    emit view().doubleClicked(view().currentIndex());
    EXPECT_EQ(model().rowCount(), 1);
}

} // namespace
