// What the tests of the called number analysis stand on: a line, a peer, groups and a transition to choose from.
#pragma once

#include "bcl2/text.h"
#include "frm_ana_cld_nbr.h"
#include "support/editor_page_fixture.h"

#include <QLabel>
#include <QTreeView>

class CalledAnalysisPages : public EditorFixture {
protected:
    void SetUp() override
    {
        EditorFixture::SetUp();
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
    using Analysis = Cdb_nbr_cld_ana_data;

    static Analysis analysis(const char* plan, const char* prefix)
    {
        Analysis record;
        BclCopyStr(record.dialPlan, plan);
        BclCopyStr(record.calledPrefix, prefix);
        return record;
    }
    [[nodiscard]] QString title() const override { return item(206); }
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
    static QLineEdit& maxDuration(QDialog& editor) { return named<QLineEdit>(editor, 219); }
    static void chooseRoute(QDialog& editor, int routeItem) { combo(editor, 208).setCurrentText(item(routeItem)); }
    // With the prefix 00.
    void add(const Use& fill)
    {
        EditorFixture::add([fill](QDialog& editor) {
            edit(editor, 207).setText("00");
            fill(editor);
        });
    }
    void expectRefused(const QString& message, const Use& spoil)
    {
        addToBeRefused("Parameter Invalid", message, [spoil](QDialog& editor) {
            edit(editor, 207).setText("00");
            spoil(editor);
        });
        EXPECT_EQ(model().rowCount(), 0);
        EXPECT_EQ(store().rows<Analysis>().get()->size(), 0u);
    }
    static bool isShown(QDialog& editor, int label)
    {
        const QComboBox& box = combo(editor, label);
        EXPECT_EQ(labelOf(editor, label).isHidden(), box.isHidden());
        EXPECT_EQ(box.isEnabled(), !box.isHidden());
        return !box.isHidden();
    }
};
