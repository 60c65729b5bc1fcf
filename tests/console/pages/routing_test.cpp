// The pages of the routing groups and of their routes.
#include "bcl2/text.h"
#include "frm_route.h"
#include "frm_route_group.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTreeView>

namespace {

class Routing : public PageFixture {
protected:
    void keepGroup(unsigned id, const char* description = "")
    {
        Cdb_route_group group;
        group.groupID = id;
        BclCopyStr(group.description, description);
        ASSERT_EQ(store().DbRouteGroupAdd(group), kDbOk);
    }
    std::string descriptionOf(unsigned id)
    {
        Cdb_route_group group;
        group.groupID = id;
        EXPECT_EQ(store().DbRouteGroupGet(group), kDbOk) << id;
        return group.description;
    }
};

class RouteGroups : public Routing {
protected:
    [[nodiscard]] QString title() const { return item(397); }
    void add(const QString& id, const QString& description)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            input<QLineEdit>(editor, 396).setText(id);
            input<QLineEdit>(editor, 283).setText(description);
            pressOk(editor);
        });
        press(Add);
    }
};

TEST_F(RouteGroups, AddStoresAndAppendsAlsoWithoutADescription)
{
    keepGroup(9);
    open<Cfrm_route_group>();
    add("10", QString());
    add("0x7", QString::fromUtf8("Küste"));
    EXPECT_EQ(column(0), (QStringList{"9", "10", "7"}));
    EXPECT_EQ(descriptionOf(10), "");
    EXPECT_EQ(descriptionOf(7), "Küste");
    press(Refresh);
    EXPECT_EQ(column(0), (QStringList{"7", "9", "10"}));
}

TEST_F(RouteGroups, ABlankIdIsRefusedInWords)
{
    open<Cfrm_route_group>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    boxes.expect("Invalid parameter", "Please configure 'Group ID'.");
    press(Add);
    EXPECT_EQ(model().rowCount(), 0);
}

TEST_F(RouteGroups, WhatTheStoreRefusesIsNotAddedAndNothingIsSaid)
{
    keepGroup(5, "first");
    open<Cfrm_route_group>();
    add("5", "second");
    add("0", "zero");
    add("none", "no number");
    EXPECT_EQ(column(0), QStringList{"5"});
    EXPECT_EQ(descriptionOf(5), "first");
}

TEST_F(RouteGroups, EditChangesTheDescriptionOnly)
{
    keepGroup(5, "old");
    keepGroup(6, "other");
    open<Cfrm_route_group>();
    select(0);
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(input<QLineEdit>(editor, 396).text(), "5");
        EXPECT_FALSE(input<QLineEdit>(editor, 396).isEnabled());
        EXPECT_EQ(input<QLineEdit>(editor, 283).text(), "old");
        input<QLineEdit>(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(row(0), (QStringList{"5", "new"}));
    EXPECT_EQ(row(1), (QStringList{"6", "other"}));
    EXPECT_EQ(descriptionOf(5), "new");
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_TRUE(input<QLineEdit>(editor, 396).isEnabled());
        EXPECT_EQ(input<QLineEdit>(editor, 396).text() + input<QLineEdit>(editor, 283).text(), QString());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(RouteGroups, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keepGroup(5, "five");
    keepGroup(6, "six");
    open<Cfrm_route_group>();
    select(1);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        keepGroup(1, "one");
        frame().hide();
        frame().show();
        input<QLineEdit>(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Edit);
    EXPECT_EQ(column(1), (QStringList{"one", "five", "new"}));
}

TEST_F(RouteGroups, AGroupThatIsGoneIsNeitherEditedNorChangedNorDeleted)
{
    keepGroup(5, "old");
    open<Cfrm_route_group>();
    select(0);
    boxes.expectEditor(title(), [this](QDialog& editor) {
        ASSERT_EQ(store().DbRouteGroupDelete(5), kDbOk);
        input<QLineEdit>(editor, 283).setText("new");
        pressOk(editor);
        EXPECT_EQ(editor.result(), QDialog::Rejected);
    });
    press(Edit);
    EXPECT_EQ(row(0), (QStringList{"5", "old"}));
    press(Edit);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"5"});
}

TEST_F(RouteGroups, DeleteTakesTheRoutesAlong)
{
    keepGroup(5);
    keepGroup(6);
    for (const unsigned group : {5u, 6u}) {
        Cdb_route route;
        route.groupID = group;
        route.routeType = 2;
        route.peerServerId = 1;
        ASSERT_EQ(store().DbRouteAdd(route), kDbOk);
    }
    open<Cfrm_route_group>();
    select(0);
    press(Delete);
    EXPECT_EQ(column(0), QStringList{"6"});
    EXPECT_EQ(store().rows<Cdb_route>().get()->size(), 1u);
}

TEST_F(RouteGroups, SearchEditsAGroupAndLeavesTheListUntilRefresh)
{
    keepGroup(5, "old");
    open<Cfrm_route_group>();
    boxes.expectInput(item(373), item(396), QString(), "5");
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_FALSE(input<QLineEdit>(editor, 396).isEnabled());
        input<QLineEdit>(editor, 283).setText("new");
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(descriptionOf(5), "new");
    EXPECT_EQ(cell(0, 1), "old");
    boxes.expectInput(item(373), item(396), QString(), "77");
    boxes.expect(item(443), item(442));
    press(Query);
    boxes.expectInputToCancel(item(373), item(396), QString());
    press(Query);
}

class Routes : public Routing {
protected:
    void SetUp() override
    {
        Routing::SetUp();
        keepGroup(4, "abroad");
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "gw1");
        BclCopyStr(line.description, "Gateway");
        ASSERT_EQ(store().DbExtLineSet(line), kDbOk);
        Cdb_sip_domain_data peer;
        BclCopyStr(peer.peerAddr, "10.0.0.3");
        ASSERT_EQ(store().DbPeerServerSet(3, peer), kDbOk);
    }
    [[nodiscard]] QString title() const { return item(398); }
    static QComboBox& group(QDialog& editor) { return input<QComboBox>(editor, 396); }
    static QComboBox& line(QDialog& editor) { return input<QComboBox>(editor, 323); }
    static QComboBox& peer(QDialog& editor) { return input<QComboBox>(editor, 217); }
    static void chooseTrunk(QDialog& editor) { showing<QRadioButton>(editor, 215).click(); }
    static bool isShown(QDialog& editor, int label)
    {
        const QComboBox& box = input<QComboBox>(editor, label);
        EXPECT_EQ(labelOf(editor, label).isHidden(), box.isHidden());
        EXPECT_EQ(box.isEnabled(), !box.isHidden());
        return !box.isHidden();
    }
    void add(const std::function<void(QDialog&)>& fill)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            group(editor).setCurrentIndex(1);
            fill(editor);
            pressOk(editor);
        });
        press(Add);
    }
    void keep(unsigned groupId, unsigned type, const char* extLine, unsigned sid)
    {
        Cdb_route route;
        route.groupID = groupId;
        route.routeType = static_cast<uint8_t>(type);
        route.extLine.SetNbr(extLine);
        route.peerServerId = sid;
        ASSERT_EQ(store().DbRouteAdd(route), kDbOk);
    }
    [[nodiscard]] size_t storedRoutes() { return store().rows<Cdb_route>().get()->size(); }
};

TEST_F(Routes, TheListIsOrderedByGroupThenLinesBeforeTrunks)
{
    keep(10, 1, "gw1", 0);
    keep(9, 2, "", 3);
    keep(9, 1, "gw2", 0);
    open<Cfrm_route>();
    EXPECT_EQ(row(0), (QStringList{"9", item(214), "gw2", "0"}));
    EXPECT_EQ(row(1), (QStringList{"9", item(215), "", "3"}));
    EXPECT_EQ(row(2), (QStringList{"10", item(214), "gw1", "0"}));
}

TEST_F(Routes, TheDialogAlwaysOpensOnTheLine)
{
    open<Cfrm_route>();
    for (int round = 0; round < 2; ++round) {
        boxes.expectEditor(title(), [](QDialog& editor) {
            EXPECT_TRUE(showing<QRadioButton>(editor, 214).isChecked());
            EXPECT_TRUE(isShown(editor, 323));
            EXPECT_FALSE(isShown(editor, 217));
            EXPECT_EQ(group(editor).currentText(), "0");
            EXPECT_EQ(line(editor).currentText(), "gw1 Gateway");
            chooseTrunk(editor);
            pressCancel(editor);
        });
        press(Add);
    }
}

TEST_F(Routes, TheTypeSwapsTheTargetAtOnce)
{
    open<Cfrm_route>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        chooseTrunk(editor);
        EXPECT_FALSE(isShown(editor, 323));
        EXPECT_TRUE(isShown(editor, 217));
        showing<QRadioButton>(editor, 214).click();
        EXPECT_TRUE(isShown(editor, 323));
        EXPECT_FALSE(isShown(editor, 217));
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(Routes, ALineRouteHoldsItsLineOnly)
{
    open<Cfrm_route>();
    add([](QDialog& editor) {
        chooseTrunk(editor);
        peer(editor).setCurrentIndex(1);
        showing<QRadioButton>(editor, 214).click();
    });
    EXPECT_EQ(row(0), (QStringList{"4", item(214), "gw1", "0"}));
}

TEST_F(Routes, ATrunkRouteHoldsItsPeerOnly)
{
    open<Cfrm_route>();
    add([](QDialog& editor) {
        line(editor).setCurrentIndex(0);
        chooseTrunk(editor);
        peer(editor).setCurrentIndex(1);
    });
    EXPECT_EQ(row(0), (QStringList{"4", item(215), "", "3"}));
    EXPECT_EQ(storedRoutes(), 1u);
}

TEST_F(Routes, ALineTypedByHandIsNotTakenForTheOneChosenBefore)
{
    open<Cfrm_route>();
    add([](QDialog& editor) { line(editor).setEditText("gw9"); });
    EXPECT_EQ(cell(0, 2), "gw9");
    add([](QDialog& editor) { line(editor).setEditText("gw1 Gateway"); });
    EXPECT_EQ(cell(1, 2), "gw1");
}

TEST_F(Routes, WithoutGroupOrTargetNothingIsStoredAndNothingSaid)
{
    open<Cfrm_route>();
    add([](QDialog& editor) { group(editor).setCurrentIndex(0); });
    add([](QDialog& editor) { line(editor).clearEditText(); });
    add([](QDialog& editor) { chooseTrunk(editor); });
    add([](QDialog& editor) {
        chooseTrunk(editor);
        peer(editor).setEditText("somewhere");
    });
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(storedRoutes(), 0u);
}

TEST_F(Routes, ARouteThatIsThereIsNotAddedAgain)
{
    keep(4, 1, "gw1", 0);
    open<Cfrm_route>();
    add([](QDialog&) {});
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(storedRoutes(), 1u);
}

TEST_F(Routes, DeleteTakesTheWholeRowForItsKey)
{
    keep(4, 1, "gw1", 0);
    keep(4, 1, "gw2", 0);
    keep(4, 2, "", 3);
    open<Cfrm_route>();
    select(2);
    press(Delete);
    select(0);
    press(Delete);
    EXPECT_EQ(column(2), QStringList{"gw2"});
    EXPECT_EQ(storedRoutes(), 1u);
}

TEST_F(Routes, ARowOfUnknownTypeIsDeletedAsATrunk)
{
    writeFromOutside("insert into tbl_route values (4, 7, '', 3)");
    keep(4, 2, "", 3);
    open<Cfrm_route>();
    ASSERT_EQ(column(1), (QStringList{item(215), "Unknown"}));
    select(1);
    press(Delete);
    EXPECT_EQ(column(1), QStringList{item(215)});
    press(Refresh);
    EXPECT_EQ(column(1), QStringList{"Unknown"}) << "the trunk to the same peer is gone";
}

TEST_F(Routes, ARouteThatIsGoneKeepsItsRowUntilRefresh)
{
    keep(4, 2, "", 3);
    open<Cfrm_route>();
    ASSERT_EQ(store().DbRouteGroupDelete(4), kDbOk);
    select(0);
    press(Delete);
    EXPECT_EQ(model().rowCount(), 1);
    press(Refresh);
    EXPECT_EQ(model().rowCount(), 0);
}

} // namespace
