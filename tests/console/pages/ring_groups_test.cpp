// The pages of the ring group members and of the ring group detection.
#include "bcl2/text.h"
#include "frm_rg_detection.h"
#include "frm_rg_user.h"
#include "support/editor_page_fixture.h"

#include <QTreeView>

namespace {

using Member = Cdb_rg_user;
using Detection = Cdb_rg_detection;

const QString kBadGroup = QStringLiteral("Please configure a valid group ID.");

class RingMembers : public EditorFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        ASSERT_EQ(store().DbAddUserMany(1000, 3, "secret"), kDbOk);
    }
    [[nodiscard]] QString title() const override { return item(459); }
    static Member member(unsigned group, const char* user)
    {
        Member record;
        record.groupID = group;
        BclCopyStr(record.user, user);
        return record;
    }
    void keep(unsigned group, const char* user) { ASSERT_EQ(store().DbRGUserAdd(member(group, user)), kDbOk); }
    [[nodiscard]] bool isStored(unsigned group, const char* user)
    {
        return store().DbRGUserHas(member(group, user)) == kDbHas;
    }
    [[nodiscard]] size_t storedMembers() { return store().rows<Member>().get()->size(); }
    void add(const QString& group, const QString& user)
    {
        expectEditor([=](QDialog& editor) {
            edit(editor, 458).setText(group);
            edit(editor, 459).setText(user);
            pressOk(editor);
        });
        press(Add);
    }
    void addToBeRefused(const QString& group, const QString& user, const QString& text)
    {
        EditorFixture::addToBeRefused(item(77), text, [=](QDialog& editor) {
            edit(editor, 458).setText(group);
            edit(editor, 459).setText(user);
        });
    }
};

TEST_F(RingMembers, AreListedByGroupThenUser)
{
    keep(10, "1000");
    keep(9, "1002");
    keep(9, "1001");
    open<Cfrm_rg_user>();
    EXPECT_EQ(column(0), (QStringList{"9", "9", "10"}));
    EXPECT_EQ(column(1), (QStringList{"1001", "1002", "1000"}));
    view().sortByColumn(0, Qt::DescendingOrder);
    EXPECT_EQ(cell(0, 0), "10") << "groups are numbers";
}

TEST_F(RingMembers, AUserMayRingWithSeveralGroups)
{
    open<Cfrm_rg_user>();
    add("1", "1000");
    add("4294967295", "1000");
    EXPECT_EQ(row(0), (QStringList{"1", "1000"}));
    EXPECT_EQ(row(1), (QStringList{"4294967295", "1000"}));
    EXPECT_TRUE(isStored(1, "1000"));
    EXPECT_TRUE(isStored(4294967295, "1000"));
}

TEST_F(RingMembers, AGroupIsAnyNumberButZero)
{
    open<Cfrm_rg_user>();
    for (const char* group : {"", "0", "none", "-1"})
        addToBeRefused(group, "nobody", kBadGroup);
    EXPECT_EQ(storedMembers(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(RingMembers, OneWhoIsNoLocalUserIsRefusedInWords)
{
    open<Cfrm_rg_user>();
    for (const char* user : {"", "1003", "0441234567"})
        addToBeRefused("1", user, "Ringing user must be a local user.");
    EXPECT_EQ(storedMembers(), 0u);
}

TEST_F(RingMembers, ThePairThatExistsIsRefusedInWords)
{
    keep(1, "1000");
    open<Cfrm_rg_user>();
    addToBeRefused("1", "1000", item(460));
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(RingMembers, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    open<Cfrm_rg_user>();
    refuseWrites();
    add("1", "1000");
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(RingMembers, AddOpensEmptyWhateverWasThereBefore)
{
    open<Cfrm_rg_user>();
    add("1", "1000");
    expectEditor([](QDialog& editor) {
        EXPECT_EQ(edit(editor, 458).text() + edit(editor, 459).text(), QString());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(RingMembers, DeleteRemovesTheRowAlsoOfAMemberWhoIsGone)
{
    keep(1, "1000");
    keep(2, "1000");
    open<Cfrm_rg_user>();
    ASSERT_EQ(store().DbRGUserDel(member(1, "1000")), kDbOk);
    deleteAll(2);
    EXPECT_EQ(storedMembers(), 0u);
}

TEST_F(RingMembers, ADoubleClickOpensNothing)
{
    keep(1, "1000");
    open<Cfrm_rg_user>();
    select(0);
    emit view().doubleClicked(view().currentIndex());
    EXPECT_EQ(model().rowCount(), 1);
}

class RingDetection : public EditorFixture {
protected:
    [[nodiscard]] QString title() const override { return item(293); }
    static QComboBox& plan(QDialog& editor) { return input<QComboBox>(editor, 224); }
    static Detection detection(const char* plan, const char* number, unsigned group = 0, const char* name = "")
    {
        Detection record;
        BclCopyStr(record.dialPlan, plan);
        BclCopyStr(record.cldNbr, number);
        BclCopyStr(record.name, name);
        record.groupID = group;
        return record;
    }
    void keep(const char* plan, const char* number, unsigned group, const char* name = "")
    {
        ASSERT_EQ(store().DbRGDetectionSet(detection(plan, number, group, name)), kDbOk);
    }
    Detection stored(const char* plan, const char* number)
    {
        Detection record = detection(plan, number);
        EXPECT_EQ(store().DbRGDetectionGet(record), kDbOk) << plan << " " << number;
        return record;
    }
    [[nodiscard]] size_t storedRules() { return store().rows<Detection>().get()->size(); }
    static void fill(QDialog& editor, const QString& number, const QString& group, const QString& name = "new")
    {
        edit(editor, 292).setText(number);
        edit(editor, 283).setText(name);
        edit(editor, 458).setText(group);
    }
};

TEST_F(RingDetection, IsListedByDialPlanThenNumber)
{
    keep("night", "1", 10, "Guard");
    keep("default", "9", 9);
    keep("default", "80", 12);
    open<Cfrm_rg_detection>();
    EXPECT_EQ(row(0), (QStringList{"default", "80", "", "12"}));
    EXPECT_EQ(row(1), (QStringList{"default", "9", "", "9"}));
    EXPECT_EQ(row(2), (QStringList{"night", "1", "Guard", "10"}));
}

TEST_F(RingDetection, AddStoresAndAppendsTheRow)
{
    keep("night", "1", 10);
    open<Cfrm_rg_detection>();
    expectEditor([](QDialog& editor) {
        plan(editor).setCurrentText("night");
        fill(editor, "0801", "0x10", QString::fromUtf8("Küche"));
        pressOk(editor);
    });
    press(Add);
    EXPECT_EQ(row(1), (QStringList{"night", "0801", QString::fromUtf8("Küche"), "16"}));
    EXPECT_EQ(stored("night", "0801").groupID, 16u);
    EXPECT_STREQ(stored("night", "0801").name, "Küche");
}

TEST_F(RingDetection, AGroupIsAnyNumberButZeroAndComesBeforeTheKey)
{
    open<Cfrm_rg_detection>();
    for (const char* group : {"", "0", "none", "-1"})
        addToBeRefused(item(77), kBadGroup, [group](QDialog& editor) { fill(editor, "", group); });
    EXPECT_EQ(storedRules(), 0u);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(RingDetection, AnEmptyNumberIsRefusedInWords)
{
    open<Cfrm_rg_detection>();
    addToBeRefused(item(77), "Invalid index items.", [](QDialog& editor) { fill(editor, "", "1"); });
    EXPECT_EQ(storedRules(), 0u);
}

TEST_F(RingDetection, AKeyThatExistsIsRefusedInWords)
{
    keep("default", "801", 1, "old");
    open<Cfrm_rg_detection>();
    addToBeRefused(item(77), item(460), [](QDialog& editor) { fill(editor, "801", "2"); });
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(stored("default", "801").groupID, 1u);
    EXPECT_STREQ(stored("default", "801").name, "old");
}

TEST_F(RingDetection, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    keep("default", "1", 1);
    open<Cfrm_rg_detection>();
    refuseWrites();
    expectEditor([](QDialog& editor) {
        fill(editor, "801", "2");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Add);
    EXPECT_EQ(model().rowCount(), 1);
    editRow(0, [](QDialog& editor) {
        fill(editor, "1", "2");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    EXPECT_EQ(row(0), (QStringList{"default", "1", "", "1"}));
}

TEST_F(RingDetection, AddOpensEmptyWhateverWasThereBefore)
{
    keep("night", "801", 5, "old");
    open<Cfrm_rg_detection>();
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(plan(editor).currentText() + edit(editor, 292).text() + edit(editor, 283).text(), "night801old");
        EXPECT_EQ(edit(editor, 458).text(), "5");
        pressCancel(editor);
    });
    keep("weekend", "801", 5);
    expectEditor([](QDialog& editor) {
        EXPECT_GE(plan(editor).findText("weekend"), 0) << "plans that came meanwhile are offered";
        EXPECT_EQ(plan(editor).currentText(), "default");
        EXPECT_TRUE(plan(editor).isEnabled());
        EXPECT_TRUE(edit(editor, 292).isEnabled());
        EXPECT_EQ(edit(editor, 292).text() + edit(editor, 283).text() + edit(editor, 458).text(), QString());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(RingDetection, EditUpdatesItsRowInPlace)
{
    keep("default", "801", 1, "old");
    keep("default", "802", 2);
    open<Cfrm_rg_detection>();
    editRow(0, [](QDialog& editor) {
        EXPECT_FALSE(plan(editor).isEnabled());
        EXPECT_FALSE(edit(editor, 292).isEnabled());
        edit(editor, 283).setText("new");
        edit(editor, 458).setText("3");
        pressOk(editor);
    });
    EXPECT_EQ(row(0), (QStringList{"default", "801", "new", "3"}));
    EXPECT_EQ(row(1), (QStringList{"default", "802", "", "2"}));
    EXPECT_EQ(stored("default", "801").groupID, 3u);
}

TEST_F(RingDetection, EditReadsTheStoreAndNotTheRow)
{
    keep("default", "801", 1, "old");
    open<Cfrm_rg_detection>();
    keep("default", "801", 4, "meanwhile");
    editRow(0, [](QDialog& editor) {
        EXPECT_EQ(edit(editor, 283).text() + edit(editor, 458).text(), "meanwhile4");
        pressCancel(editor);
    });
    ASSERT_EQ(store().DbRGDetectionDel(detection("default", "801").index()), kDbOk);
    boxes.expect(item(443), item(442));
    press(Edit);
    EXPECT_EQ(row(0), (QStringList{"default", "801", "old", "1"}));
}

TEST_F(RingDetection, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    keep("night", "801", 5, "Sales");
    open<Cfrm_rg_detection>();
    const Detection record = stored("night", "801");
    checkInputsOf<Detection>(
        record, [&] { ASSERT_EQ(store().DbRGDetectionSet(record), kDbOk); }, [this] { return stored("night", "801"); },
        {{Input::Edit, 283, {whole(&Detection::name)}}, {Input::Edit, 458, {whole(&Detection::groupID)}}},
        {{Input::Combo, 224, {whole(&Detection::dialPlan)}}, {Input::Edit, 292, {whole(&Detection::cldNbr)}}},
        {whole(&Detection::reserved)});
}

TEST_F(RingDetection, OneThatWasDeletedUnderItsEditorComesBackWithOk)
{
    keep("default", "801", 1);
    open<Cfrm_rg_detection>();
    editRow(0, [this](QDialog& editor) {
        ASSERT_EQ(store().DbRGDetectionDel(detection("default", "801").index()), kDbOk);
        edit(editor, 458).setText("3");
        pressOk(editor);
    });
    EXPECT_EQ(stored("default", "801").groupID, 3u);
    EXPECT_EQ(cell(0, 3), "3");
}

TEST_F(RingDetection, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep("default", "801", 1);
    keep("default", "802", 2);
    open<Cfrm_rg_detection>();
    editRow(0, [this](QDialog& editor) {
        keep("default", "1", 1);
        frame().hide();
        frame().show();
        edit(editor, 458).setText("3");
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"1", "801", "802"}));
    EXPECT_EQ(column(3), (QStringList{"1", "3", "2"}));
}

TEST_F(RingDetection, DeleteRemovesTheRowAlsoOfARuleThatIsGone)
{
    keep("default", "801", 1);
    keep("night", "801", 1);
    open<Cfrm_rg_detection>();
    ASSERT_EQ(store().DbRGDetectionDel(detection("default", "801").index()), kDbOk);
    deleteAll(2);
    EXPECT_EQ(storedRules(), 0u);
}

TEST_F(RingDetection, SearchAsksForPlanAndNumberAndLeavesTheListUntilRefresh)
{
    keep("night", "801", 5, "old");
    open<Cfrm_rg_detection>();
    expectSearchFor("night", "801");
    expectEditor([](QDialog& editor) {
        EXPECT_FALSE(edit(editor, 292).isEnabled());
        edit(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_STREQ(stored("night", "801").name, "new");
    EXPECT_EQ(cell(0, 2), "old");
    expectSearchFor("default", "801");
    boxes.expect(item(443), item(442));
    press(Query);
    searchInVain();
}

} // namespace
