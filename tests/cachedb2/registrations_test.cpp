#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

#include <algorithm>
#include <cstring>

class Registrations : public StoreFixture {
protected:
    Registrations() { open(); }

    static Cdb_user_bindings registered(const std::string& name, int contacts)
    {
        Cdb_user_bindings user;
        user.userName = name;
        user.hasRow = contacts > 0;
        BclCopyStr(user.row.userName, name.c_str());
        BclCopyStr(user.row.preAddr, "10.0.0.1");
        user.row.prePort = 5060;
        user.row.usrStage = kUsrIdle;
        for (int i = 0; i < contacts; ++i) {
            Cdb_sip_contact& contact = user.contacts.emplace_back();
            BclCopyStr(contact.userName, name.c_str());
            BclCopyStr(contact.contact, ("sip:" + name + "@10.0.0." + std::to_string(i)).c_str());
            contact.expiresAt = 4102444800 + i; // beyond 2038 and 32 bits
            contact.cseq = 4294967295u;
        }
        return user;
    }
};

TEST_F(Registrations, ComeBackAfterARestartByteForByte)
{
    const Cdb_user_bindings written = registered("1000", 3);
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({written}));
    open();
    auto read = store().DbReadRegistrations();
    ASSERT_EQ(1u, read.size());
    EXPECT_EQ("1000", read[0].userName);
    ASSERT_TRUE(read[0].hasRow);
    EXPECT_EQ(0, std::memcmp(&written.row, &read[0].row, sizeof written.row));
    ASSERT_EQ(3u, read[0].contacts.size());
    std::sort(read[0].contacts.begin(), read[0].contacts.end(),
              [](const auto& a, const auto& b) { return std::strcmp(a.contact, b.contact) < 0; });
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(0, std::memcmp(&written.contacts[i], &read[0].contacts[i], sizeof(Cdb_sip_contact)));
}

TEST_F(Registrations, EachWriteReplacesAllOfItsUser)
{
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 3), registered("1001", 1)}));
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 1)}));
    EXPECT_EQ("1", sql(path("runtime.db"), "select count(*) from tbl_sip_contact where userName='1000'"));
    EXPECT_EQ("1", sql(path("runtime.db"), "select count(*) from tbl_sip_contact where userName='1001'"));
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 0)}));
    EXPECT_EQ("1001", sql(path("runtime.db"), "select userName from tbl_sip_reg"));
}

TEST_F(Registrations, WriteOfTheRowLeavesTheContacts)
{
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 3)}));
    Cdb_user_bindings talking = registered("1000", 0);
    talking.hasRow = talking.isRowOnly = true;
    talking.row.usrStage = kUsrTalking;
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({talking}));
    EXPECT_EQ("3", sql(path("runtime.db"), "select count(*) from tbl_sip_contact where userName='1000'"));
    EXPECT_EQ(std::to_string(kUsrTalking), sql(path("runtime.db"), "select usrStage from tbl_sip_reg"));
}

TEST_F(Registrations, WriteOfTheStateLeavesTheRestOfTheRow)
{
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 3), registered("1001", 1)}));
    Cdb_user_bindings talking;
    talking.userName = "1000";
    talking.hasRow = talking.isRowOnly = talking.isStageOnly = true;
    talking.row.usrStage = kUsrTalking;
    Cdb_user_bindings unknown = talking;
    unknown.userName = "1002";
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({unknown, talking}));
    EXPECT_EQ("4", sql(path("runtime.db"), "select count(*) from tbl_sip_contact"));
    EXPECT_EQ("2", sql(path("runtime.db"), "select count(*) from tbl_sip_reg"));
    EXPECT_EQ(std::to_string(kUsrTalking),
              sql(path("runtime.db"), "select usrStage from tbl_sip_reg where userName='1000' and prePort=5060"));
    EXPECT_EQ(std::to_string(kUsrIdle),
              sql(path("runtime.db"), "select usrStage from tbl_sip_reg where userName='1001'"));
}

TEST_F(Registrations, OfADeletedUserAreGone)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("1000")));
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 2), registered("1001", 1)}));
    ASSERT_EQ(kDbOk, store().DbDelUsrInfo("1000"));
    EXPECT_EQ("1", sql(path("runtime.db"), "select count(*) from tbl_sip_contact"));
    EXPECT_EQ("1", sql(path("runtime.db"), "select count(*) from tbl_sip_reg"));
}

TEST_F(Registrations, OfADeletedUserAreLeftToTheServerThatListens)
{
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("1000")));
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 2)}));
    std::vector<bool> removals;
    store().addListener([&removals](const Cdb_change& change) { removals.push_back(change.isRemoval); });
    ASSERT_EQ(kDbOk, store().DbDelUsrInfo("1000"));
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("1000")));
    EXPECT_EQ((std::vector<bool>{true, false}), removals);
    EXPECT_EQ("2", sql(path("runtime.db"), "select count(*) from tbl_sip_contact"));
}

TEST_F(Registrations, ThatCannotAllBeReadAreALogLine)
{
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 2)}));
    sql(path("runtime.db"), "drop table tbl_sip_contact");
    takeLog();
    EXPECT_EQ(1u, store().DbReadRegistrations().size());
    EXPECT_EQ(1u, takeLog().size());
}

TEST_F(Registrations, RowOfAUserIsOne)
{
    EXPECT_EQ("userName", sql(path("runtime.db"), "select name from pragma_table_info('tbl_sip_reg') where pk=1"));
    EXPECT_EQ("0", sql(path("config.db"), "select count(*) from pragma_table_info('tbl_local_users') where name in "
                                          "('preAddr','prePort','usrStage','userAgent')"));
}

TEST_F(Registrations, WithoutAGoodKeyAreRefusedWhole)
{
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({registered("1000", 1)}));
    Cdb_user_bindings foreign = registered("1000", 2);
    BclCopyStr(foreign.contacts[1].userName, "1001");
    Cdb_user_bindings noContact = registered("1000", 2);
    noContact.contacts[1].contact[0] = '\0';
    for (const Cdb_user_bindings& bad : {registered("", 1), registered(std::string(33, '1'), 1),
                                         registered(std::string(33, '1'), 0), foreign, noContact}) {
        std::string reason;
        EXPECT_EQ(kDbFailed, store().DbWriteRegistrations({registered("1000", 0), bad}, &reason));
        EXPECT_FALSE(reason.empty());
        EXPECT_EQ(1u, store().DbReadRegistrations().size());
    }
}
