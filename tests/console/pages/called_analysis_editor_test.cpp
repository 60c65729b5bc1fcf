// The editor of the called number analysis.
#include "console/pages/called_analysis_pages.h"

#include <QCheckBox>

namespace {

class CalledAnalysisEditor : public CalledAnalysisPages {};

TEST_F(CalledAnalysisEditor, AddOpensWithTheDefaultsWhateverWasThereBefore)
{
    keep(full(kRtSipTrunk));
    open<Cfrm_ana_cld_nbr>();
    editRow(0, [](QDialog& editor) { pressCancel(editor); });
    expectEditor([](QDialog& editor) {
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

TEST_F(CalledAnalysisEditor, TheRouteTypeShowsItsTargetAtOnce)
{
    open<Cfrm_ana_cld_nbr>();
    expectEditor([](QDialog& editor) {
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

TEST_F(CalledAnalysisEditor, CheckBoxesSwitchTheirInputsAtOnce)
{
    open<Cfrm_ana_cld_nbr>();
    expectEditor([](QDialog& editor) {
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

TEST_F(CalledAnalysisEditor, AddStoresEveryFieldAndAppendsTheRow)
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

TEST_F(CalledAnalysisEditor, OnlyTheTargetOfTheRouteTypeIsStored)
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

TEST_F(CalledAnalysisEditor, ALineRouteMayLeaveTheLineOpen)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) { chooseRoute(editor, 214); });
    EXPECT_EQ(stored("default", "00").routeType, 1u);
    EXPECT_STREQ(stored("default", "00").extLine, "");
}

TEST_F(CalledAnalysisEditor, ALineTypedByHandIsStoredAsTyped)
{
    open<Cfrm_ana_cld_nbr>();
    add([](QDialog& editor) {
        chooseRoute(editor, 214);
        combo(editor, 323).setCurrentIndex(0);
        combo(editor, 323).setEditText("gw9");
    });
    EXPECT_STREQ(stored("default", "00").extLine, "gw9");
}

TEST_F(CalledAnalysisEditor, WithoutChangeOfTheNumberTheTransitionIsNotStored)
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

TEST_F(CalledAnalysisEditor, ADurationWithoutANumberIsNoLimit)
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

TEST_F(CalledAnalysisEditor, AnEmptyPrefixIsRefusedFirst)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Invalid called prefix.", [](QDialog& editor) {
        edit(editor, 207).clear();
        chooseRoute(editor, 395);
    });
}

TEST_F(CalledAnalysisEditor, ATrunkNeedsAPeer)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please fill peer server id since the route type is 'SIP trunk'.", [](QDialog& editor) {
        chooseRoute(editor, 215);
        combo(editor, 217).setCurrentIndex(-1);
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

TEST_F(CalledAnalysisEditor, ARoutingGroupIsNeverTheFirstEntryWhateverItHolds)
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

TEST_F(CalledAnalysisEditor, AChangedNumberNeedsATransition)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please set transition ID since called shall be changed.", [](QDialog& editor) {
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

TEST_F(CalledAnalysisEditor, EditShowsTheRecordAndLocksItsKey)
{
    keep(full(kRtExtLine));
    open<Cfrm_ana_cld_nbr>();
    editRow(0, [](QDialog& editor) {
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

TEST_F(CalledAnalysisEditor, OkWithoutAChangeStoresNothing)
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
        expectEditor([](QDialog& editor) { pressOk(editor); });
        press(Edit);
        EXPECT_EQ(writes, 0) << at;
    }
}

TEST_F(CalledAnalysisEditor, EveryInputHasItsOwnBytesOfTheRecord)
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
        trip.edit = [&](const std::function<void(QDialog&)>& use) { editRow(0, use); };
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

TEST_F(CalledAnalysisEditor, AGroupIsAskedForBeforeATransition)
{
    open<Cfrm_ana_cld_nbr>();
    expectRefused("Please fill 'Routing group ID' since the route type is 'Routing group'.", [](QDialog& editor) {
        chooseRoute(editor, 395);
        check(editor, 210).setChecked(true);
        combo(editor, 211).setCurrentIndex(-1);
    });
}

} // namespace
