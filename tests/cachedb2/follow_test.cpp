// What another process writes to the file while the store is open. A second store of the same folder stands for it:
// the two share nothing but the file.
#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "support/patience.h"

#include <mutex>
#include <set>
#include <string>
#include <tuple>

namespace {

using Heard = std::tuple<Edb_table, std::string, bool>; // table, key, whether it was a removal

} // namespace

class ForeignChanges : public StoreFixture {
protected:
    ForeignChanges()
    {
        open();
        store().addListener([this](const Cdb_change& change) {
            const std::scoped_lock lock(_mutex);
            _heard.emplace(change.table, change.key, change.isRemoval);
        });
        Cdb_options options;
        options.dataFolder = homeFolder();
        _other = std::make_unique<Cdb_fac_mgr>(options);
    }

    // The store tells of changes until it is closed.
    ~ForeignChanges() override { close(); }

    Cdb_fac_mgr& other() { return *_other; }

    bool hears(const Heard& change)
    {
        return waitUntil([&] {
            const std::scoped_lock lock(_mutex);
            return _heard.contains(change);
        });
    }

    size_t heard()
    {
        const std::scoped_lock lock(_mutex);
        return _heard.size();
    }

private:
    std::unique_ptr<Cdb_fac_mgr> _other;
    std::mutex _mutex;
    std::multiset<Heard> _heard;
};

TEST_F(ForeignChanges, AreServedAndTold)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("kept")));
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("changed")));
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("deleted")));
    const auto kept = store().users().get()->find("kept");

    Cdb_usr_info changed = user("changed");
    changed.pickupGroup = 7;
    ASSERT_EQ(kDbOk, other().DbSetLocalUserData(changed));
    ASSERT_EQ(kDbOk, other().DbDelUsrInfo("deleted"));
    ASSERT_EQ(kDbOk, other().DbSetLocalUserData(user("added")));
    Cdb_nbr_trans_data transition;
    transition.transid = 12;
    ASSERT_EQ(kDbOk, other().DbNbrTransSet(transition));

    EXPECT_TRUE(hears({Edb_table::LocalUsers, "changed", false}));
    EXPECT_TRUE(hears({Edb_table::LocalUsers, "deleted", true}));
    EXPECT_TRUE(hears({Edb_table::LocalUsers, "added", false}));
    EXPECT_TRUE(hears({Edb_table::NbrTransitions, "12", false}));
    EXPECT_EQ(3u, store().DbGetUsrCnt());
    Cdb_usr_info record;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("changed", record));
    EXPECT_EQ(7, record.pickupGroup);
    EXPECT_EQ(0u, store().DbIsLocalUser("deleted"));
    EXPECT_EQ(kDbHas, store().DbNbrTransHas(12));
    EXPECT_EQ(0, std::memcmp(kept.get(), store().users().get()->find("kept").get(), sizeof *kept));
}

TEST_F(ForeignChanges, OfTheSystemSettingsReachTheServerAndTheConsole)
{
    Cdb_sys_data settings = *other().system().get();
    settings.udpPort = 5099;
    BclCopyStr(settings.smtpAddr, "mail.example");
    ASSERT_EQ(kDbOk, other().DbSetSysData(settings));
    ASSERT_TRUE(hears({Edb_table::System, "", false}));
    EXPECT_EQ(5099, store().system().get()->udpPort);
    EXPECT_EQ(5099, store().DbGetSysTbl()->udpPort);
    EXPECT_STREQ("mail.example", store().DbGetSmtpServer());
}

TEST_F(ForeignChanges, OfManyRecordsAreToldAsOne)
{
    ASSERT_EQ(kDbOk, store().DbAddUserMany(1, 150, "x"));
    ASSERT_TRUE(hears({Edb_table::LocalUsers, "", false}));
    ASSERT_EQ(kDbOk, other().DbAddUserMany(1000, 300, "x")); // all but what the first one made
    ASSERT_TRUE(waitUntil([this] { return store().DbGetUsrCnt() == 450; }));
    ASSERT_TRUE(waitUntil([this] { return heard() == 2; }));
    EXPECT_TRUE(hears({Edb_table::LocalUsers, "", false}));
}

TEST_F(ForeignChanges, AreNotOverwrittenByABulk)
{
    Cdb_usr_info theirs = user("105");
    BclCopyStr(theirs.password, "theirs");
    // At once, before it can have been noticed.
    ASSERT_EQ(kDbOk, other().DbSetLocalUserData(theirs));
    ASSERT_EQ(kDbOk, store().DbAddUserMany(100, 10, "ours"));
    ASSERT_TRUE(waitUntil([this] { return store().DbGetUsrCnt() == 10; }));
    Cdb_usr_info record;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("105", record));
    EXPECT_STREQ("theirs", record.password);
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("104", record));
    EXPECT_STREQ("ours", record.password);
}

TEST_F(ForeignChanges, DoNotLeaveRoutesBehindTheirGroup)
{
    Cdb_route_group group;
    group.groupID = 1;
    ASSERT_EQ(kDbOk, store().DbRouteGroupAdd(group));
    ASSERT_TRUE(waitUntil([this] { return other().rows<Cdb_route_group>().get()->size() == 1; }));
    Cdb_route route;
    route.groupID = 1;
    route.routeType = 2;
    route.peerServerId = 4;
    ASSERT_EQ(kDbOk, other().DbRouteAdd(route));
    ASSERT_EQ(kDbOk, store().DbRouteGroupDelete(1)); // before the new route can have been noticed
    EXPECT_EQ("0", sql(path("config.db"), "select count(*) from tbl_route"));
    EXPECT_TRUE(waitUntil([this] { return other().rows<Cdb_route>().get()->size() == 0; }));
}

TEST_F(ForeignChanges, MadeWhileThisProcessWritesAreAllServed)
{
    constexpr unsigned kRounds = 200;
    // Either may have to wait for the other for longer than a write waits.
    const auto add = [](Cdb_fac_mgr& to, const std::string& name) {
        EXPECT_TRUE(waitUntil([&] { return to.DbSetLocalUserData(user(name)) == kDbOk; }));
    };
    std::thread writer([&] {
        for (unsigned i = 0; i < kRounds; ++i)
            add(other(), "other" + std::to_string(i));
    });
    for (unsigned i = 0; i < kRounds; ++i)
        add(store(), "own" + std::to_string(i));
    writer.join();
    EXPECT_TRUE(waitUntil([this] { return store().DbGetUsrCnt() == 2 * kRounds; }));
    EXPECT_TRUE(waitUntil([this] { return other().DbGetUsrCnt() == 2 * kRounds; }));
}

TEST_F(ForeignChanges, OwnWritesAreToldOnce)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("own")));
    ASSERT_EQ(kDbOk, other().DbSetLocalUserData(user("later")));
    ASSERT_TRUE(hears({Edb_table::LocalUsers, "later", false}));
    EXPECT_EQ(2u, heard());
}
