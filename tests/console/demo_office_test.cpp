// The office that the demo makes: whatever a record of it names is there.
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "support/child_process.h"
#include "support/console_fixture.h"

#include <algorithm>
#include <string>

namespace {

class DemoOffice : public ConsoleFixture {
protected:
    // What it prints.
    [[nodiscard]] std::string make(const char* outputFile) const
    {
        ChildProcess program({PARLOVEX_DEMO_OFFICE}, inHome(outputFile).toStdString());
        EXPECT_EQ(program.wait(), 0);
        return program.output();
    }
};

TEST_F(DemoOffice, NamesNothingThatIsNotThere)
{
    (void)make("demo.txt");
    Cdb_fac_mgr store;
    ASSERT_TRUE(store.isOpen());
    const auto hasTransition = [&store](unsigned id) { return id == 0 || store.DbNbrTransHas(id) == kDbHas; };
    const auto hasPeer = [&store](unsigned sid) {
        Cdb_sip_domain_data peer;
        return sid == 0 || store.DbPeerServerGet(sid, peer) == kDbOk;
    };
    const auto hasGroup = [&store](unsigned id) {
        Cdb_route_group group;
        group.groupID = id;
        return id == 0 || store.DbRouteGroupGet(group) == kDbOk;
    };
    unsigned rows = 0;
    store.rows<Cdb_nbr_cld_ana_data>().get()->forEach([&](const std::string&, const Cdb_nbr_cld_ana_data& row) {
        ++rows;
        EXPECT_TRUE(hasTransition(row.transId)) << row.calledPrefix;
        EXPECT_TRUE(hasPeer(row.peerServerId)) << row.calledPrefix;
        EXPECT_TRUE(hasGroup(row.rtGroupId)) << row.calledPrefix;
        EXPECT_EQ(row.routeType == kRtSipTrunk, row.peerServerId != 0) << row.calledPrefix;
        EXPECT_EQ(row.routeType == kRtGroup, row.rtGroupId != 0) << row.calledPrefix;
        Cdb_nbr_clr_refine_data refinement;
        refinement.groupID = row.clrRefineGroup;
        BclCopyStr(refinement.callerPrefix, "10");
        EXPECT_TRUE(row.clrRefineGroup == 0 || store.DbNbrClrRefineGet(refinement) == kDbOk) << row.calledPrefix;
    });
    EXPECT_GT(rows, 5u);
    store.rows<Cdb_nbr_clr_ana_data>().get()->forEach([&](const std::string&, const Cdb_nbr_clr_ana_data& row) {
        EXPECT_TRUE(hasTransition(row.transId)) << row.callerPrefix;
    });
    store.rows<Cdb_nbr_clr_refine_data>().get()->forEach([&](const std::string&, const Cdb_nbr_clr_refine_data& row) {
        EXPECT_TRUE(hasTransition(row.transId)) << row.callerPrefix;
    });
    store.rows<Cdb_route>().get()->forEach([&](const std::string&, const Cdb_route& route) {
        EXPECT_TRUE(hasGroup(route.groupID));
        EXPECT_TRUE(hasPeer(route.peerServerId));
    });
    store.rows<Cdb_peer_server>().get()->forEach([&](const std::string&, const Cdb_peer_server& peer) {
        EXPECT_TRUE(hasPeer(peer.backupSid));
        Cdb_time_cond hours;
        hours.ID = peer.timeCondId;
        EXPECT_TRUE(peer.timeCondId == 0 || store.DbTimeConditionGet(hours) == kDbOk);
    });
}

TEST_F(DemoOffice, IsNotMadeTwice)
{
    const std::string first = make("first.txt");
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 20) << first;
    EXPECT_EQ(make("second.txt"), first) << "the users and their passwords stay";
}

} // namespace
