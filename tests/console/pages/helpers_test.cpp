// Selection boxes, display texts, boxes, numbers and the documentation's addresses.
#include "cachedb2/switch_variants.h"
#include "common/combo_fill.h"
#include "common/combo_value.h"
#include "common/display_text.h"
#include "common/enabling.h"
#include "common/input_box.h"
#include "common/qstr.h"
#include "common/warning_box.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>

#include <set>
#include <sqlite3.h>

namespace {

QStringList texts(const QComboBox& box)
{
    QStringList all;
    for (int at = 0; at < box.count(); ++at)
        all.append(box.itemText(at));
    return all;
}

QList<unsigned> data(const QComboBox& box)
{
    QList<unsigned> all;
    for (int at = 0; at < box.count(); ++at)
        all.append(box.itemData(at).toUInt());
    return all;
}

class Helpers : public PageFixture {
protected:
    QComboBox box;
};

TEST_F(Helpers, AValueIsFoundByDataBehindTheFirstItem)
{
    box.addItem("0", 0u);
    box.addItem("first", 7u);
    box.addItem("second", 5);
    ComboBoxSetVal(&box, 5);
    EXPECT_EQ(box.currentIndex(), 2);
    EXPECT_EQ(ComboBoxGetValU32(&box), 5u);
    ComboBoxSetVal(&box, 99);
    EXPECT_EQ(box.currentIndex(), 0);
    EXPECT_EQ(ComboBoxGetValU32(&box), 0u);
}

TEST_F(Helpers, TheFirstItemGivesWayToAShownNumber)
{
    box.addItem("none", 4u);
    box.addItem("ten", 10u);
    box.addItem("4", 11u);
    ComboBoxSetVal(&box, 4);
    EXPECT_EQ(box.currentIndex(), 2);
    box.setItemText(2, "44");
    ComboBoxSetVal(&box, 4);
    EXPECT_EQ(box.currentIndex(), 0);
}

TEST_F(Helpers, ABoxWithoutDataIsSetByItsTexts)
{
    box.addItems({"0", "3", "5"});
    ComboBoxSetVal(&box, 5);
    EXPECT_EQ(box.currentIndex(), 2);
}

TEST_F(Helpers, NothingCurrentIsZero)
{
    box.addItem("seven", 7u);
    box.setCurrentIndex(-1);
    EXPECT_EQ(ComboBoxGetValU32(&box), 0u);
}

TEST_F(Helpers, TheTextOfAnItemStandsInForMissingData)
{
    Cbcl_tmp_str text;
    box.addItem("shown", QStringLiteral("王"));
    ComboBoxGetValStr(&box, text);
    EXPECT_STREQ(text.c_str(), "王");
    box.addItem("only shown");
    box.setCurrentIndex(1);
    ComboBoxGetValStr(&box, text);
    EXPECT_STREQ(text.c_str(), "only shown");
}

TEST_F(Helpers, WhatIsTypedIntoABoxIsNoItemUnlessItReadsLikeOne)
{
    box.setEditable(true);
    LetTextChooseItem(&box);
    box.addItem("gw1 Gateway", "gw1");
    box.addItem("gw2 Gateway", "gw2");
    box.lineEdit()->setText("gw7");
    box.lineEdit()->setCursorPosition(1);
    Cbcl_tmp_str text;
    ComboBoxGetValStr(&box, text);
    EXPECT_STREQ(text.c_str(), "gw7");
    EXPECT_EQ(box.currentIndex(), -1);
    box.lineEdit()->insert("x");
    EXPECT_EQ(box.currentText(), "gxw7");
    EXPECT_EQ(box.lineEdit()->cursorPosition(), 2);
    box.setEditText("gw2 Gateway");
    EXPECT_EQ(box.currentIndex(), 1);
    box.clearEditText();
    ComboBoxGetValStr(&box, text);
    EXPECT_STREQ(text.c_str(), "");
    box.setCurrentIndex(0);
    ComboBoxGetValStr(&box, text);
    EXPECT_STREQ(text.c_str(), "gw1");
}

TEST_F(Helpers, AnItemBehindTheFirstIsSelectedAndAMissingOneChangesNothing)
{
    box.addItem("none", 0u);
    box.addItem("night", 7u);
    box.addItem("Night", 8u);
    ComboBoxSelectText(&box, "Night");
    EXPECT_EQ(box.currentIndex(), 2);
    for (const char* text : {"none", "day", "nigh", ""})
        ComboBoxSelectText(&box, text);
    EXPECT_EQ(box.currentIndex(), 2);
    ComboBoxSelectData(&box, 7);
    EXPECT_EQ(box.currentIndex(), 1);
    for (const unsigned value : {0u, 9u})
        ComboBoxSelectData(&box, value);
    EXPECT_EQ(box.currentIndex(), 1);
}

TEST_F(Helpers, TheWeekBeginsWithMonday)
{
    InitWeekView(&box);
    QStringList days;
    for (int id = 418; id <= 424; ++id)
        days.append(item(id));
    EXPECT_EQ(texts(box), days);
    EXPECT_EQ(data(box), (QList<unsigned>{1, 2, 3, 4, 5, 6, 0}));
}

TEST_F(Helpers, DialPlansAreFilledAnewWithoutData)
{
    Cdb_sip_domain_data peer;
    BclCopyStr(peer.dialPlan, "night");
    ASSERT_EQ(store().DbPeerServerSet(1, peer), kDbOk);
    for (int round = 0; round < 2; ++round) {
        InitDialPlanView(&store(), &box);
        EXPECT_EQ(texts(box), (QStringList{"default", "night"}));
        EXPECT_EQ(box.currentIndex(), 0);
        EXPECT_FALSE(box.itemData(1).isValid());
    }
}

TEST_F(Helpers, TransitionsSayWhatTheyDo)
{
    Cdb_nbr_trans_data transition;
    transition.transid = 3;
    transition.type = 1;
    BclCopyStr(transition.digits, "00");
    ASSERT_EQ(store().DbNbrTransSet(transition), kDbOk);
    for (int round = 0; round < 2; ++round)
        InitNbrTransitionView(&store(), &box);
    Cbcl_tmp_str text;
    transition.ToString(text);
    EXPECT_EQ(texts(box), (QStringList{"no change", text.c_str()}));
    EXPECT_EQ(data(box), (QList<unsigned>{0, 3}));
    EXPECT_EQ(takeStatements(), (QStringList{"select * from tbl_nbr_trans", "select * from tbl_nbr_trans"}));
}

TEST_F(Helpers, RefinementGroupsStandOnceAndEmptyTablesShowNoSelection)
{
    InitRefineClrGroupIDView(&store(), &box);
    EXPECT_EQ(texts(box), QStringList{"0"});
    for (const char* prefix : {"1", "2"}) {
        Cdb_nbr_cld_refine called;
        called.groupID = 9;
        BclCopyStr(called.calledPrefix, prefix);
        ASSERT_EQ(store().DbRefineCalledNbrAdd(called), kDbOk);
        Cdb_nbr_clr_refine_data caller;
        caller.groupID = 8;
        BclCopyStr(caller.callerPrefix, prefix);
        ASSERT_EQ(store().DbNbrClrRefineSet(caller), kDbOk);
    }
    takeStatements();
    InitRefineCldGroupIDView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "9"}));
    EXPECT_EQ(data(box), (QList<unsigned>{0, 9}));
    InitRefineClrGroupIDView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "8"}));
    EXPECT_EQ(takeStatements(), (QStringList{"select distinct groupID from tbl_nbr_cld_refine",
                                             "select distinct groupID from tbl_nbr_clr_refine"}));
}

TEST_F(Helpers, AStoredRefinementGroupZeroStandsBesideTheFirstItem)
{
    writeFromOutside("insert into tbl_nbr_clr_refine values (0, '1', 0, '')");
    InitRefineClrGroupIDView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "0"}));
}

TEST_F(Helpers, BoxesOfAStoreThatCannotBeReadHoldTheirFirstItemOnly)
{
    Cdb_options options;
    options.cacheFile = options.localFile = (qgetenv("PARLOVEX_HOME") + "/not-there.db").toStdString();
    Cdb_fac_mgr unreadable(options);
    InitRefineClrGroupIDView(&unreadable, &box);
    EXPECT_EQ(texts(box), QStringList{"0"});
    InitPeerServerView(&unreadable, &box);
    EXPECT_EQ(box.count(), 1);
    InitTimeConditionView(&unreadable, &box);
    EXPECT_EQ(box.count(), 1);
}

TEST_F(Helpers, LinesAreKnownByTheirNames)
{
    for (const char* name : {"berlin", "athens"}) {
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, name);
        BclCopyStr(line.description, "City");
        ASSERT_EQ(store().DbExtLineSet(line), kDbOk);
    }
    InitExtLineView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"athens City", "berlin City"}));
    EXPECT_EQ(box.itemData(1).toString(), "berlin");
    EXPECT_EQ(box.currentIndex(), 0);
    EXPECT_EQ(takeStatements(), QStringList{"select extName, description from tbl_ext_line order by extName"});
}

TEST_F(Helpers, PeersShowTheirDescriptionWhereTheyHaveOne)
{
    Cdb_sip_domain_data peer;
    BclCopyStr(peer.peerAddr, "10.0.0.1");
    ASSERT_EQ(store().DbPeerServerSet(5, peer), kDbOk);
    BclCopyStr(peer.description, "Branch");
    peer.peerPort = 5070;
    ASSERT_EQ(store().DbPeerServerSet(6, peer), kDbOk);
    InitPeerServerView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "5 : 10.0.0.1:5060", "6 (Branch) : 10.0.0.1:5070"}));
    EXPECT_EQ(data(box), (QList<unsigned>{0, 5, 6}));
    EXPECT_EQ(takeStatements(), QStringList{"select sid, description, peerAddr, peerPort from tbl_peer_server"});
}

TEST_F(Helpers, RoutingGroupsAndTimeConditionsShowNumberAndDescription)
{
    Cdb_route_group group;
    group.groupID = 4;
    BclCopyStr(group.description, "Abroad");
    ASSERT_EQ(store().DbRouteGroupAdd(group), kDbOk);
    Cdb_time_cond condition;
    condition.ID = 2;
    ASSERT_EQ(store().DbTimeConditionAdd(condition), kDbOk);
    InitRtGroupView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "4 Abroad"}));
    EXPECT_EQ(data(box), (QList<unsigned>{0, 4}));
    InitTimeConditionView(&store(), &box);
    EXPECT_EQ(texts(box), (QStringList{"0", "2 "}));
    EXPECT_EQ(data(box), (QList<unsigned>{0, 2}));
    EXPECT_EQ(takeStatements(), (QStringList{"select groupID, description from tbl_route_group",
                                             "select ID, description from tbl_time_condition"}));
}

// The two handles of this store read different files.
TEST_F(Helpers, HuntingGroupsComeFromTheLocalDatabase)
{
    const QTemporaryDir folder;
    const auto fileWith = [&](const char* name, const char* description) {
        Cdb_options options;
        EXPECT_TRUE(QDir(folder.path()).mkdir(name));
        options.dataFolder = folder.filePath(name).toStdString();
        Cdb_fac_mgr writer(options);
        Cdb_hunting_group_cfg_data group;
        group.groupID = 12;
        BclCopyStr(group.name, description);
        EXPECT_EQ(writer.DbAddHuntingGroup(group), kDbOk);
        return options.dataFolder + "/config.db";
    };
    Cdb_options options;
    options.cacheFile = fileWith("cache", "Cache");
    options.localFile = fileWith("local", "Sales");
    options.dataFolder = folder.filePath("cache").toStdString();
    Cdb_fac_mgr both(options);
    InitHGGroupIdView(&both, &box);
    EXPECT_EQ(texts(box), QStringList{"12   Sales"});
    EXPECT_EQ(box.itemData(0).toInt(), 12);
}

TEST_F(Helpers, YesIsOneAndNothingElse)
{
    EXPECT_EQ(GetBoolString(1), item(69));
    EXPECT_EQ(GetBoolString(0), item(70));
    EXPECT_EQ(GetBoolString(2), item(70));
}

TEST_F(Helpers, DaysPointsAndActionsHaveNames)
{
    const std::vector<int> days = {424, 418, 419, 420, 421, 422, 423};
    for (unsigned day = 0; day < 7; ++day)
        EXPECT_EQ(GetWeekStr(static_cast<Ebcl_week>(day)), item(days[day]));
    EXPECT_EQ(GetWeekStr(static_cast<Ebcl_week>(7)), "Unknown");
    EXPECT_EQ(GetDPString(2), item(369));
    EXPECT_EQ(GetDPString(3), item(370));
    EXPECT_EQ(GetDPString(1), QString());
    EXPECT_EQ(actionToStr(0), item(447));
    EXPECT_EQ(actionToStr(1), item(446));
    EXPECT_EQ(actionToStr(2), "Unknown");
}

TEST_F(Helpers, NumbersHaveAnAutomaticBase)
{
    EXPECT_EQ(BclStrToInt(QStringLiteral("010")), 8);
    EXPECT_EQ(BclStrToInt(QStringLiteral("0x10")), 16);
    EXPECT_EQ(BclStrToInt(QStringLiteral("-5")), -5);
    EXPECT_EQ(BclStrToInt(QStringLiteral("12a")), 0);
    EXPECT_EQ(BclStrToInt(QString()), 0);
    EXPECT_EQ(BclStrToU32(QStringLiteral("4294967295")), 4294967295u);
    EXPECT_EQ(BclStrToU32(QStringLiteral("王")), 0u);
}

TEST_F(Helpers, BlanksAreText)
{
    EXPECT_FALSE(BclStrIsBlank(QStringLiteral("  ")));
    EXPECT_TRUE(BclStrIsBlank(QString()));
    EXPECT_TRUE(BclStrIsBlank(QStringLiteral("")));
}

TEST_F(Helpers, TextsOfTheStoreAreUtf8)
{
    QStringList to = {"before"};
    StringListToQStringList({"Zürich", ""}, to);
    EXPECT_EQ(to, (QStringList{"before", QString::fromUtf8("Zürich"), ""}));
}

TEST_F(Helpers, WarningsSayTheirItems)
{
    boxes.expect(item(77), "What");
    PlxWarningInvalidParam("What");
    boxes.expect(item(77), item(460));
    PlxWarningRecordExist();
    boxes.expect(item(76), item(73));
    PlxWarningDuplicate();
    boxes.expect(item(443), item(442));
    PlxWarningNoRecord();
    boxes.expect(item(76), item(357), [](QMessageBox& box_) {
        EXPECT_EQ(box_.icon(), QMessageBox::Warning);
        EXPECT_EQ(box_.standardButtons(), QMessageBox::Ok);
        EXPECT_EQ(box_.parent(), nullptr);
        box_.accept();
    });
    PlxWarningNoMoreRecord();
}

TEST_F(Helpers, AnInputBoxTellsTextFromCancelAndNothing)
{
    QString text;
    boxes.expectInput("Title", "Label", "old", "new");
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", "old"), 0u);
    EXPECT_EQ(text, "new");
    boxes.expectInputToCancel("Title", "Label", "old");
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", "old"), 1u);
    boxes.expectInput("Title", "Label", "old", "");
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", "old"), 1u);
    boxes.expectInput("Title", "Label", "", " ");
    EXPECT_EQ(InputBox(text, nullptr, "Title", "Label", ""), 0u);
}

TEST_F(Helpers, InputsAreSwitchedOnAndOff)
{
    QLineEdit edit;
    QWidget widget;
    DisableEditControl(&edit);
    DisableEditControl(&box);
    DisableWidget(&widget);
    EXPECT_FALSE(edit.isEnabled() || box.isEnabled() || widget.isEnabled());
    EnableEditControl(&edit);
    EnableEditControl(&box);
    EnableWidget(&widget);
    EXPECT_TRUE(edit.isEnabled() && box.isEnabled() && widget.isEnabled());
}

TEST_F(Helpers, EveryTopicHasAnAddressInBothLanguages)
{
    gVarGuiLang = 0;
    for (int topic = 0; topic < kHelpTopics; ++topic)
        openHelpTopic(static_cast<Ehelp_topics>(topic));
    const QStringList english = help.takeOpened();
    ASSERT_EQ(english.size(), 27);
    EXPECT_EQ(english[0], "help/speed-dial/index.html");
    EXPECT_EQ(english[1], "help/auto_attendant/index.html#multi-ivr");
    EXPECT_EQ(english[14], "help/sip-trunk/index.html");
    EXPECT_EQ(english[24], "help/time_condition/index.html");
    EXPECT_EQ(english[26], "help/ring_group/service_guide_ring_group.htm");
    EXPECT_EQ(std::set<QString>(english.begin(), english.end()).size(), 27u);
    gVarGuiLang = 1;
    for (const QString& page : english) {
        const QFileInfo file(inRunFolder(QString(page.section('#', 0, 0)).replace("help/", "help/cn/")));
        ASSERT_TRUE(file.dir().mkpath("."));
        writeFile(file.filePath(), "<html/>");
    }
    for (int topic = 0; topic < kHelpTopics; ++topic)
        openHelpTopic(static_cast<Ehelp_topics>(topic));
    EXPECT_EQ(help.takeOpened().join(' '), QString(english.join(' ')).replace("help/", "help/cn/"));
}

TEST_F(Helpers, AChinesePageThatIsMissingIsReadInEnglish)
{
    gVarGuiLang = 1;
    openHelpTopic(kHelpPeerServers);
    EXPECT_EQ(help.takeOpened(), QStringList("help/sip-trunk/index.html"));
    ASSERT_TRUE(QDir().mkpath("help/cn/sip-trunk"));
    writeFile(inRunFolder("help/cn/sip-trunk/index.html"), "<html/>");
    openHelpTopic(kHelpPeerServers);
    EXPECT_EQ(help.takeOpened(), QStringList("help/cn/sip-trunk/index.html"));
    gVarGuiLang = 7;
    openHelpTopic(kHelpPeerServers);
    EXPECT_EQ(help.takeOpened(), QStringList("help/sip-trunk/index.html"));
}

TEST_F(Helpers, EveryImageHasItsDoubleSize)
{
    const QDir images(QStringLiteral(":/images"));
    int pairs = 0;
    for (const QString& name : images.entryList()) {
        if (name.contains('@'))
            continue;
        const QImage once(images.filePath(name));
        const QImage twice(images.filePath(QString(name).replace('.', "@2x.")));
        EXPECT_FALSE(once.isNull()) << name.toStdString();
        EXPECT_EQ(twice.size(), once.size() * 2) << name.toStdString();
        ++pairs;
    }
    EXPECT_GT(pairs, 20);
}

TEST_F(Helpers, WhatIsNoTopicOpensNothing)
{
    openHelpTopic(kHelpNone);
    openHelpTopic(kHelpTopics);
    EXPECT_EQ(help.takeOpened(), QStringList());
}

} // namespace
