// The page of the called number analysis.
#include "bcl2/text.h"
#include "frm_ana_cld_nbr.h"
#include "support/editor_roundtrip.h"
#include "support/page_fixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTreeView>

namespace {

using Analysis = Cdb_nbr_cld_ana_data;

Analysis analysis(const char* plan, const char* prefix)
{
    Analysis record;
    BclCopyStr(record.dialPlan, plan);
    BclCopyStr(record.calledPrefix, prefix);
    return record;
}

class CalledAnalysis : public PageFixture {
protected:
    void SetUp() override
    {
        PageFixture::SetUp();
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "gw1");
        ASSERT_EQ(store().DbExtLineSet(line), kDbOk);
        Cdb_sip_domain_data peer;
        BclCopyStr(peer.peerAddr, "10.0.0.3");
        ASSERT_EQ(store().DbPeerServerSet(3, peer), kDbOk);
        for (const unsigned id : {4u, 5u}) {
            Cdb_route_group group;
            group.groupID = id;
            ASSERT_EQ(store().DbRouteGroupAdd(group), kDbOk);
        }
        Cdb_nbr_trans_data transition;
        transition.transid = 7;
        transition.type = 1;
        BclCopyStr(transition.digits, "00");
        ASSERT_EQ(store().DbNbrTransSet(transition), kDbOk);
        Cdb_nbr_clr_refine_data refinement;
        refinement.groupID = 8;
        BclCopyStr(refinement.callerPrefix, ".");
        ASSERT_EQ(store().DbNbrClrRefineSet(refinement), kDbOk);
    }
    [[nodiscard]] QString title() const { return item(206); }
    void keep(const Analysis& record) { ASSERT_EQ(store().DbNbrCldAnaSet(record), kDbOk); }
    Analysis stored(const char* plan, const char* prefix)
    {
        Analysis record = analysis(plan, prefix);
        EXPECT_EQ(store().DbNbrCldAnaGet(record), kDbOk) << plan << " " << prefix;
        return record;
    }
    // A row with something in every field that the route type has a use for.
    static Analysis full(Ert_type type)
    {
        Analysis record = analysis("night", "0049");
        BclCopyStr(record.description, "Abroad");
        record.routeType = type;
        if (type == kRtExtLine)
            BclCopyStr(record.extLine, "gw7");
        record.peerServerId = type == kRtSipTrunk ? 3 : 0;
        record.rtGroupId = type == kRtGroup ? 4 : 0;
        record.calledChanged = 1;
        record.transId = 7;
        record.transOption = 1;
        record.level = 5;
        record.maxDuration = 600;
        record.clrRefineGroup = 8;
        return record;
    }
    static QComboBox& combo(QDialog& editor, int label) { return input<QComboBox>(editor, label); }
    static QLineEdit& edit(QDialog& editor, int label) { return input<QLineEdit>(editor, label); }
    static QLineEdit& maxDuration(QDialog& editor) { return named<QLineEdit>(editor, 219); }
    static void chooseRoute(QDialog& editor, int routeItem) { combo(editor, 208).setCurrentText(item(routeItem)); }
    void add(const std::function<void(QDialog&)>& fill)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            edit(editor, 207).setText("00");
            fill(editor);
            pressOk(editor);
        });
        press(Add);
    }
    void expectRefused(const QString& message, const std::function<void(QDialog&)>& spoil)
    {
        boxes.expectEditor(title(), [=](QDialog& editor) {
            edit(editor, 207).setText("00");
            spoil(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        boxes.expect("Parameter Invalid", message);
        press(Add);
        EXPECT_EQ(model().rowCount(), 0);
        EXPECT_EQ(store().rows<Analysis>().get()->size(), 0u);
    }
    void editFirst(const std::function<void(QDialog&)>& use)
    {
        select(0);
        boxes.expectEditor(title(), use);
        press(Edit);
    }
    static bool isShown(QDialog& editor, int label)
    {
        const QComboBox& box = combo(editor, label);
        EXPECT_EQ(labelOf(editor, label).isHidden(), box.isHidden());
        EXPECT_EQ(box.isEnabled(), !box.isHidden());
        return !box.isHidden();
    }
};

TEST_F(CalledAnalysis, TheListIsOrderedByPlanThenPrefixAndHasServiceTypeZeroOnly)
{
    keep(analysis("night", "0"));
    keep(analysis("default", "2"));
    keep(analysis("default", "10"));
    Analysis other = analysis("default", "1");
    other.serviceType = 1;
    keep(other);
    open<Cfrm_ana_cld_nbr>();
    EXPECT_EQ(column(0), (QStringList{"default", "default", "night"}));
    EXPECT_EQ(column(1), (QStringList{"10", "2", "0"}));
}

TEST_F(CalledAnalysis, RowsNameTheirRouteTypes)
{
    const std::vector<QString> kNames = {item(213), item(214), item(215), "Unknown",
                                         item(312), "Unknown", item(395), "Unknown"};
    for (uint32_t type = 0; type < kNames.size(); ++type) {
        Analysis record = analysis("default", std::to_string(type).c_str());
        record.routeType = type;
        keep(record);
    }
    open<Cfrm_ana_cld_nbr>();
    for (int type = 0; type < static_cast<int>(kNames.size()); ++type)
        EXPECT_EQ(cell(type, 3), kNames.at(static_cast<size_t>(type))) << type;
}

TEST_F(CalledAnalysis, ATransitionOfZeroIsNoChangeWhateverTheFlagSays)
{
    Analysis flagged = analysis("default", "1");
    flagged.calledChanged = 1;
    Analysis unflagged = analysis("default", "2");
    unflagged.transId = 7;
    unflagged.transOption = 1;
    unflagged.level = 6;
    keep(flagged);
    keep(unflagged);
    open<Cfrm_ana_cld_nbr>();
    EXPECT_EQ(row(0), (QStringList{"default", "1", "", item(213), item(69), "no change", item(70), "0"}));
    EXPECT_EQ(row(1), (QStringList{"default", "2", "", item(213), item(70), "7", item(69), "6"}));
}

TEST_F(CalledAnalysis, AddOpensWithTheDefaultsWhateverWasThereBefore)
{
    keep(full(kRtSipTrunk));
    open<Cfrm_ana_cld_nbr>();
    editFirst([](QDialog& editor) { pressCancel(editor); });
    boxes.expectEditor(title(), [](QDialog& editor) {
        EXPECT_EQ(combo(editor, 224).currentText(), "default");
        EXPECT_TRUE(combo(editor, 224).isEnabled());
        EXPECT_TRUE(edit(editor, 207).isEnabled());
        EXPECT_EQ(edit(editor, 207).text() + edit(editor, 283).text(), QString());
        EXPECT_EQ(combo(editor, 208).currentText(), item(213));
        EXPECT_EQ(combo(editor, 323).currentText(), QString());
        EXPECT_EQ(combo(editor, 218).currentText(), "0");
        EXPECT_EQ(combo(editor, 319).currentText(), "0");
        EXPECT_EQ(combo(editor, 211).currentText(), "no change");
        EXPECT_FALSE(combo(editor, 211).isEnabled());
        for (const int box : {210, 212, 219})
            EXPECT_FALSE(check(editor, box).isChecked()) << box;
        EXPECT_FALSE(check(editor, 212).isEnabled());
        EXPECT_FALSE(maxDuration(editor).isEnabled());
        EXPECT_EQ(maxDuration(editor).text(), QString());
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CalledAnalysis, TheRouteTypeShowsItsTargetAtOnce)
{
    open<Cfrm_ana_cld_nbr>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        const QComboBox& types = combo(editor, 208);
        QList<unsigned> values;
        for (int at = 0; at < types.count(); ++at)
            values.append(types.itemData(at).toUInt());
        EXPECT_EQ(values, (QList<unsigned>{0, 1, 2, 6, 4}));
        const std::vector<std::pair<int, int>> kTargets = {{213, 0}, {214, 323}, {215, 217}, {395, 396}, {312, 0}};
        for (const auto& [type, target] : kTargets) {
            chooseRoute(editor, type);
            for (const int each : {323, 217, 396})
                EXPECT_EQ(isShown(editor, each), each == target) << type << " " << each;
        }
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CalledAnalysis, CheckBoxesSwitchTheirInputsAtOnce)
{
    open<Cfrm_ana_cld_nbr>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        for (const bool isOn : {true, false}) {
            check(editor, 210).setChecked(isOn);
            check(editor, 219).setChecked(isOn);
            EXPECT_EQ(combo(editor, 211).isEnabled(), isOn);
            EXPECT_EQ(check(editor, 212).isEnabled(), isOn);
            EXPECT_EQ(maxDuration(editor).isEnabled(), isOn);
        }
        pressCancel(editor);
    });
    press(Add);
}

TEST_F(CalledAnalysis, AddStoresEveryFieldAndAppendsTheRow)
{
    keep(analysis("night", "1"));
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) {
        combo(editor, 224).setCurrentText("night");
        edit(editor, 207).setText("0049");
        edit(editor, 283).setText(QString::fromUtf8("Zürich"));
        chooseRoute(editor, 395);
        combo(editor, 396).setCurrentIndex(1);
        combo(editor, 218).setCurrentIndex(6);
        check(editor, 219).setChecked(true);
        maxDuration(editor).setText("3600");
        combo(editor, 319).setCurrentIndex(1);
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(1);
        check(editor, 212).setChecked(true);
    });
    const Analysis record = stored("night", "0049");
    EXPECT_STREQ(record.description, "Zürich");
    EXPECT_EQ(record.routeType, 6u);
    EXPECT_EQ(record.rtGroupId, 4u);
    EXPECT_EQ(record.level, 6u);
    EXPECT_EQ(record.maxDuration, 3600u);
    EXPECT_EQ(record.clrRefineGroup, 8u);
    EXPECT_EQ(record.calledChanged, 1u);
    EXPECT_EQ(record.transId, 7u);
    EXPECT_EQ(record.transOption, 1u);
    EXPECT_EQ(record.serviceType, 0u);
    EXPECT_EQ(row(1),
              (QStringList{"night", "0049", QString::fromUtf8("Zürich"), item(395), item(69), "7", item(69), "6"}));
}

TEST_F(CalledAnalysis, OnlyTheTargetOfTheRouteTypeIsStored)
{
    open<Cfrm_ana_cld_nbr>();
    const std::vector<std::pair<int, Ert_type>> kTypes = {
        {213, kRtLocalUser}, {214, kRtExtLine}, {215, kRtSipTrunk}, {395, kRtGroup}, {312, kRtReject}};
    for (const auto& [routeItem, type] : kTypes) {
        const std::string prefix = "00" + std::to_string(type);
        add([&, route = routeItem](QDialog& editor) {
            edit(editor, 207).setText(QString::fromStdString(prefix));
            for (const int each : {214, 215, 395}) {
                chooseRoute(editor, each);
                combo(editor, 323).setCurrentIndex(0);
                combo(editor, 323).setEditText(combo(editor, 323).itemText(0));
                combo(editor, 217).setCurrentIndex(1);
                combo(editor, 396).setCurrentIndex(1);
            }
            chooseRoute(editor, route);
        });
        const Analysis record = stored("default", prefix.c_str());
        EXPECT_EQ(record.routeType, type);
        EXPECT_STREQ(record.extLine, type == kRtExtLine ? "gw1" : "");
        EXPECT_EQ(record.peerServerId, type == kRtSipTrunk ? 3u : 0u);
        EXPECT_EQ(record.rtGroupId, type == kRtGroup ? 4u : 0u);
    }
}

TEST_F(CalledAnalysis, ALineRouteMayLeaveTheLineOpen)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) { chooseRoute(editor, 214); });
    EXPECT_EQ(stored("default", "00").routeType, 1u);
    EXPECT_STREQ(stored("default", "00").extLine, "");
}

TEST_F(CalledAnalysis, ALineTypedByHandIsStoredAsTyped)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) {
        chooseRoute(editor, 214);
        combo(editor, 323).setCurrentIndex(0);
        combo(editor, 323).setEditText("gw9");
    });
    EXPECT_STREQ(stored("default", "00").extLine, "gw9");
}

TEST_F(CalledAnalysis, WithoutChangeOfTheNumberTheTransitionIsNotStored)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) {
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(1);
        check(editor, 212).setChecked(true);
        check(editor, 210).setChecked(false);
    });
    const Analysis record = stored("default", "00");
    EXPECT_EQ(record.calledChanged, 0u);
    EXPECT_EQ(record.transId, 0u);
    EXPECT_EQ(record.transOption, 0u);
}

TEST_F(CalledAnalysis, ADurationWithoutANumberIsNoLimit)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) {
        check(editor, 219).setChecked(true);
        edit(editor, 283).setText("x");
    });
    EXPECT_EQ(stored("default", "00").maxDuration, 0u);
    add([](QDialog& editor) {
        edit(editor, 207).setText("01");
        check(editor, 219).setChecked(true);
        maxDuration(editor).setText("30");
        check(editor, 219).setChecked(false);
    });
    EXPECT_EQ(stored("default", "01").maxDuration, 0u);
}

TEST_F(CalledAnalysis, AnEmptyPrefixIsRefusedFirst)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Invalid called prefix.", [](QDialog& editor) {
        edit(editor, 207).clear();
        chooseRoute(editor, 395);
    });
}

TEST_F(CalledAnalysis, ATrunkNeedsAPeer)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please fill peer server id since the route type is 'SIP trunk'.", [](QDialog& editor) {
        chooseRoute(editor, 215);
        combo(editor, 217).setCurrentIndex(-1);
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

TEST_F(CalledAnalysis, ARoutingGroupIsNeverTheFirstEntryWhateverItHolds)
{
    open<Cfrm_ana_cld_nbr>();
    for (const unsigned held : {0u, 4u})
        expectRefused("Please fill 'Routing group ID' since the route type is 'Routing group'.", [=](QDialog& editor) {
            chooseRoute(editor, 395);
            combo(editor, 396).setItemData(0, held);
            combo(editor, 396).setCurrentIndex(0);
        });
    expectRefused("Please fill 'Routing group ID' since the route type is 'Routing group'.", [](QDialog& editor) {
        chooseRoute(editor, 395);
        combo(editor, 396).setItemData(1, 0u);
        combo(editor, 396).setCurrentIndex(1);
    });
}

TEST_F(CalledAnalysis, AChangedNumberNeedsATransition)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please set transition ID since called shall be changed.", [](QDialog& editor) {
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

TEST_F(CalledAnalysis, EditShowsTheRecordAndLocksItsKey)
{
    keep(full(kRtExtLine));
    open<Cfrm_ana_cld_nbr>();
    editFirst([](QDialog& editor) {
        EXPECT_EQ(combo(editor, 224).currentText(), "night");
        EXPECT_FALSE(combo(editor, 224).isEnabled());
        EXPECT_EQ(edit(editor, 207).text(), "0049");
        EXPECT_FALSE(edit(editor, 207).isEnabled());
        EXPECT_EQ(combo(editor, 208).currentText(), item(214));
        EXPECT_TRUE(isShown(editor, 323));
        EXPECT_EQ(combo(editor, 323).currentText(), "gw7");
        EXPECT_EQ(combo(editor, 211).currentData().toUInt(), 7u);
        EXPECT_EQ(combo(editor, 319).currentText(), "8");
        EXPECT_EQ(combo(editor, 218).currentIndex(), 5);
        EXPECT_TRUE(maxDuration(editor).isEnabled());
        EXPECT_EQ(maxDuration(editor).text(), "600");
        pressCancel(editor);
    });
}

TEST_F(CalledAnalysis, OkWithoutAChangeStoresNothing)
{
    for (const Ert_type type : {kRtLocalUser, kRtExtLine, kRtSipTrunk, kRtReject, kRtGroup}) {
        Analysis record = full(type);
        BclCopyStr(record.calledPrefix, std::to_string(type).c_str());
        keep(record);
        keep(analysis("default", std::to_string(type).c_str()));
    }
    open<Cfrm_ana_cld_nbr>();
    const int& writes = countWrites();
    ASSERT_EQ(model().rowCount(), 10);
    for (int at = 0; at < model().rowCount(); ++at) {
        select(at);
        boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
        press(Edit);
        EXPECT_EQ(writes, 0) << at;
    }
}

TEST_F(CalledAnalysis, EveryInputHasItsOwnBytesOfTheRecord)
{
    using Input = EditorInput;
    const std::vector<std::tuple<Ert_type, int, RecordBytes>> kTargets = {
        {kRtExtLine, 323, whole(&Analysis::extLine)},
        {kRtSipTrunk, 217, whole(&Analysis::peerServerId)},
        {kRtGroup, 396, whole(&Analysis::rtGroupId)},
    };
    const auto chooseAnother = [](QWidget& input_) {
        auto& box = dynamic_cast<QComboBox&>(input_);
        // The first entry of the routing groups is none, which is refused.
        box.isEditable() ? box.setEditText("gw1") : box.setCurrentIndex(box.count() - 1 == box.currentIndex() ? 0 : 2);
    };
    open<Cfrm_ana_cld_nbr>();
    for (const auto& [type, target, targetBytes] : kTargets) {
        const Analysis record = full(type);
        keep(record);
        press(Refresh);
        EditorRoundTrip trip;
        trip.record = bytesOf(record);
        trip.defaults = bytesOf(Analysis());
        trip.putBack = [&] {
            keep(record);
            press(Refresh);
        };
        trip.stored = [&] { return bytesOf(stored("night", "0049")); };
        trip.edit = [&](const std::function<void(QDialog&)>& use) { editFirst(use); };
        trip.inputs = {
            {Input::Edit, 283, {whole(&Analysis::description)}},
            {Input::Combo, 208, {whole(&Analysis::routeType), targetBytes}},
            {Input::Combo, target, {targetBytes}, chooseAnother},
            {Input::Combo, 218, {whole(&Analysis::level)}},
            {Input::Check, 219, {whole(&Analysis::maxDuration)}},
            {Input::Edit, 219, {whole(&Analysis::maxDuration)}},
            {Input::Combo, 319, {whole(&Analysis::clrRefineGroup)}},
            {Input::Check,
             210,
             {whole(&Analysis::calledChanged), whole(&Analysis::transId), whole(&Analysis::transOption)}},
            {Input::Combo, 211, {whole(&Analysis::transId)}},
            {Input::Check, 212, {whole(&Analysis::transOption)}},
        };
        trip.locked = {{Input::Combo, 224, {whole(&Analysis::dialPlan)}},
                       {Input::Edit, 207, {whole(&Analysis::calledPrefix)}}};
        for (const int hidden : {323, 217, 396}) {
            if (hidden != target)
                trip.locked.push_back({Input::Combo, hidden, {}});
        }
        trip.kept = {whole(&Analysis::serviceType), whole(&Analysis::extLine), whole(&Analysis::peerServerId),
                     whole(&Analysis::rtGroupId)};
        trip.check();
    }
}

TEST_F(CalledAnalysis, AGroupIsAskedForBeforeATransition)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please fill 'Routing group ID' since the route type is 'Routing group'.", [](QDialog& editor) {
        chooseRoute(editor, 395);
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

TEST_F(CalledAnalysis, WhatTheStoreCannotWriteIsShownAllTheSame)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    refuseWrites();
    add([](QDialog&) {});
    EXPECT_EQ(column(1), (QStringList{"1", "00"}));
    editFirst([](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"00", "1"}));
    EXPECT_EQ(cell(1, 7), "2");
    EXPECT_EQ(stored("default", "1").level, 0u);
}

TEST_F(CalledAnalysis, EditFindsItsRowAgainWhenThePageWasReloadedMeanwhile)
{
    keep(analysis("default", "5"));
    keep(analysis("default", "6"));
    open<Cfrm_ana_cld_nbr>();
    editFirst([this](QDialog& editor) {
        keep(analysis("default", "1"));
        frame().hide();
        frame().show();
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"1", "6", "5"}));
    press(Delete);
    EXPECT_EQ(column(1), (QStringList{"1", "6"})) << "the edited row stays the current one";
}

TEST_F(CalledAnalysis, AnEditedRowMovesToTheEndUntilRefresh)
{
    for (const char* prefix : {"1", "2", "3"})
        keep(analysis("default", prefix));
    open<Cfrm_ana_cld_nbr>();
    editFirst([](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    EXPECT_EQ(column(1), (QStringList{"2", "3", "1"}));
    EXPECT_EQ(cell(2, 7), "2");
    EXPECT_EQ(stored("default", "1").level, 2u);
    press(Refresh);
    EXPECT_EQ(column(1), (QStringList{"1", "2", "3"}));
}

TEST_F(CalledAnalysis, AddingARowThatExistsSaysSoAndStoresNothing)
{
    Analysis record = analysis("default", "00");
    record.level = 3;
    keep(record);
    open<Cfrm_ana_cld_nbr>();
    boxes.expectEditor(title(), [](QDialog& editor) {
        edit(editor, 207).setText("00");
        pressOk(editor);
    });
    boxes.expect(item(76), item(73));
    press(Add);
    EXPECT_EQ(model().rowCount(), 1);
    EXPECT_EQ(stored("default", "00").level, 3u);
}

TEST_F(CalledAnalysis, EditOfARecordThatIsGoneOpensNothing)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    ASSERT_EQ(store().DbNbrCldAnaDel("default", "1"), kDbOk);
    select(0);
    press(Edit);
    EXPECT_EQ(model().rowCount(), 1);
}

TEST_F(CalledAnalysis, DeleteRemovesTheRowAlsoOfARecordThatIsGone)
{
    keep(analysis("default", "1"));
    keep(analysis("night", "1"));
    open<Cfrm_ana_cld_nbr>();
    ASSERT_EQ(store().DbNbrCldAnaDel("default", "1"), kDbOk);
    for (int rows = 1; rows >= 0; --rows) {
        select(0);
        press(Delete);
        EXPECT_EQ(model().rowCount(), rows);
    }
    EXPECT_EQ(store().rows<Analysis>().get()->size(), 0u);
}

TEST_F(CalledAnalysis, SearchAsksForThePlanBeginningWithTheDefaultAndThenForThePrefix)
{
    keep(analysis("default", "1"));
    open<Cfrm_ana_cld_nbr>();
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInput(item(373), item(207), QString(), "1");
    boxes.expectEditor(title(), [](QDialog& editor) {
        combo(editor, 218).setCurrentIndex(2);
        pressOk(editor);
    });
    press(Query);
    EXPECT_EQ(stored("default", "1").level, 2u);
    EXPECT_EQ(cell(0, 7), "0");
    const int& writes = countWrites();
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInput(item(373), item(207), QString(), "1");
    boxes.expectEditor(title(), [](QDialog& editor) { pressOk(editor); });
    press(Query);
    EXPECT_EQ(writes, 0);
    boxes.expectInputToCancel(item(373), item(224), "default");
    press(Query);
    boxes.expectInput(item(373), item(224), "default", "default");
    boxes.expectInputToCancel(item(373), item(207), QString());
    press(Query);
}

TEST_F(CalledAnalysis, SearchForAnUnknownRowOrOneOfAnotherServiceSaysSo)
{
    Analysis other = analysis("default", "1");
    other.serviceType = 1;
    keep(other);
    open<Cfrm_ana_cld_nbr>();
    for (const char* prefix : {"77", "1"}) {
        boxes.expectInput(item(373), item(224), "default", "default");
        boxes.expectInput(item(373), item(207), QString(), prefix);
        boxes.expect(item(443), item(442));
        press(Query);
    }
}

} // namespace
