// The dial plan over a real store: rules are found under the keys that the store gives them.
#include "bcl2/text.h"
#include "callserver/dialplan_fixture.h"
#include "dialplan/dial_plan.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace {

class DialPlanStoreTest : public testing::Test {
protected:
    DialPlanStoreTest() { addUser("2001"); }

    void addUser(const std::string& name)
    {
        Cdb_usr_info record;
        BclCopyStr(record.usrName, name.c_str());
        ASSERT_EQ(store.DbSetLocalUserData(record), kDbOk);
    }
    DialAnswer call(const std::string& dialed)
    {
        CallRequest request;
        request.source = {SourceKind::User, "2001", 0};
        request.caller = "2001";
        request.dialed = dialed;
        return analyzeCall(plan.now(), request, counts, BclGetCurrTimestamp());
    }

    static Cdb_options optionsOf(const TemporaryFolder& folder)
    {
        Cdb_options options;
        options.dataFolder = folder.path();
        return options;
    }

    TemporaryFolder folder;
    Cdb_fac_mgr store{optionsOf(folder)};
    DialPlan plan{store};
    FakeCallCounts counts;
};

TEST_F(DialPlanStoreTest, FollowsTheStore)
{
    EXPECT_EQ(call("2002").status, 404);
    addUser("2002");
    EXPECT_EQ(call("2002").status, 0);
    Cdb_nbr_cld_ana_data rule;
    BclCopyStr(rule.calledPrefix, "20");
    rule.routeType = kRtReject;
    ASSERT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    EXPECT_NE(call("2002").status, 0);
    ASSERT_EQ(store.DbNbrCldAnaDel("default", "20"), kDbOk);
    EXPECT_EQ(call("2002").status, 0);
}

TEST_F(DialPlanStoreTest, CallKeepsTheVersionsThatItBeganWith)
{
    addUser("2002");
    const DialPlanTables before = plan.now();
    ASSERT_EQ(store.DbDelUsrInfo("2002"), kDbOk);
    EXPECT_FALSE(plan.now().rows<Cdb_usr_info>().find("2002"));
    EXPECT_TRUE(before.rows<Cdb_usr_info>().find("2002"));
}

} // namespace
