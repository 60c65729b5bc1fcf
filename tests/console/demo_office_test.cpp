// The office that the demo makes: whatever a record of it names is there.
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/remote_tables.h"
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

// Each row that names a rate names one that is there, and who pays for calls has a rate and a balance.
TEST_F(DemoOffice, HasPrepaidUsersAndACardWithRates)
{
    (void)make("demo.txt");
    Cdb_fac_mgr store;
    ASSERT_NE(store.IsRemoteDbActive(), 0u);
    for (const char* table : {"tbl_caller_prepaid", "tbl_callingcard_fee_matrix"}) {
        Cdba_proxy rows(&store);
        ASSERT_EQ(rows.query((std::string("select nRateId from ") + table).c_str()), kDbOk);
        EXPECT_EQ(rows.getRecordsCnt(), 2u) << table;
        while (rows.fetchRow() == kDbOk) {
            Ctbl_prepaid_rate rate;
            EXPECT_EQ(tbl_prepaid_rate_get(&store, rows.getRowU32Val(0), &rate), kDbOk) << table;
            EXPECT_NE(rate.tariff_interval, 0u);
        }
    }
    for (const char* name : {"1010", "1011"}) {
        Cdb_usr_info user;
        ASSERT_EQ(store.DbGetUsrInfo(name, user), kDbOk);
        EXPECT_NE(user.flags & kUsrPrepaid, 0u) << name;
        EXPECT_EQ(tbl_sub_balace_has(&store, name), kDbHas) << name;
    }
    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "55501234");
    EXPECT_EQ(tbl_callingcard_balance_get(&store, card), kDbOk);
    EXPECT_GT(card.nBalance, 0);
}

TEST_F(DemoOffice, IsNotMadeTwice)
{
    const std::string first = make("first.txt");
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 20) << first;
    EXPECT_EQ(make("second.txt"), first) << "the users and their passwords stay";
}

} // namespace
