#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

class Query : public StoreFixture {
protected:
    Query()
    {
        open();
        EXPECT_EQ(kDbOk, store().DbAddUserMany(1000, 120, "p"));
    }

    static constexpr const char* kUserPage =
        "select usrName, description, dispName, preAddr, prePort,usrStage,userAgent from tbl_local_users left outer "
        "join "
        "tbl_sip_reg on tbl_sip_reg.userName=tbl_local_users.usrName order by usrName";

    std::vector<std::string> page(int offset, int count)
    {
        Cbcl_tmp_str statement;
        statement.append("%s", kUserPage);
        statement.append(" limit %d, %d", offset, count);
        std::vector<std::string> names;
        Cdb_query query(store().GetCacheDB());
        if (query.prepare(statement) != kDbOk)
            return {"prepare failed"};
        while (query.step() == 14)
            names.emplace_back(query.getRow(0));
        return names;
    }
};

TEST_F(Query, GivesFourteenForARowAndOneAtTheEnd)
{
    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(0u, query.prepare("select usrName from tbl_local_users order by usrName limit 0, 2"));
    EXPECT_EQ(14u, query.step());
    EXPECT_STREQ("1000", query.getRow(0));
    EXPECT_EQ(14u, query.step());
    EXPECT_EQ(1u, query.step());
    EXPECT_EQ(1u, query.step()); // does not begin anew
    EXPECT_STREQ("", query.getRow(0));
}

TEST_F(Query, CountsRows)
{
    Cbcl_tmp_str statement;
    statement.set("select count(*) from %s", "tbl_local_users");
    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(14u, query.query(statement));
    EXPECT_EQ(120u, query.getRowU32Val(0));
}

TEST_F(Query, PagesEndWithFewerRowsAndThenWithNone)
{
    EXPECT_EQ(50u, page(0, 50).size());
    EXPECT_EQ(20u, page(100, 50).size());
    EXPECT_EQ("1100", page(100, 50).front());
    EXPECT_TRUE(page(150, 50).empty());
}

TEST_F(Query, OverAnEmptyTableIsEmpty)
{
    Cbcl_tmp_str statement;
    statement.set("select * from tbl_sip_reg");
    Cdb_query query(store().GetCacheDB());
    EXPECT_EQ(1u, query.query(statement));
    statement.set("select count(*) from tbl_sip_reg");
    EXPECT_EQ(14u, query.query(statement));
    EXPECT_EQ(0u, query.getRowU32Val(0));
}

TEST_F(Query, JoinsEachUserOnceWithTheRegistrationOrNothing)
{
    Cdb_user_bindings live;
    live.userName = "1001";
    live.hasRow = true;
    BclCopyStr(live.row.userName, "1001");
    BclCopyStr(live.row.preAddr, "10.0.0.7");
    live.row.prePort = 65535;
    live.row.usrStage = kUsrIdle;
    BclCopyStr(live.row.userAgent, "phone 1.0");
    live.contacts.resize(3);
    for (int i = 0; i < 3; ++i) {
        BclCopyStr(live.contacts[i].userName, "1001");
        BclCopyStr(live.contacts[i].contact, ("sip:1001@10.0.0." + std::to_string(i)).c_str());
    }
    ASSERT_EQ(kDbOk, store().DbWriteRegistrations({live}));

    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(0u, query.prepare(kUserPage));
    ASSERT_EQ(14u, query.step());
    EXPECT_STREQ("1000", query.getRow(0));
    EXPECT_STREQ("", query.getRow(3)); // NULL of the join
    EXPECT_EQ(0u, query.getRowU32Val(4));
    EXPECT_EQ(0, query.getRowIntVal(5));
    EXPECT_STREQ("", query.getRow(6));
    ASSERT_EQ(14u, query.step());
    EXPECT_STREQ("1001", query.getRow(0));
    EXPECT_STREQ("10.0.0.7", query.getRow(3));
    EXPECT_EQ(65535u, query.getRowU32Val(4));
    EXPECT_EQ(1u, query.getRowU32Val(5));
    EXPECT_STREQ("phone 1.0", query.getRow(6));
    ASSERT_EQ(14u, query.step());
    EXPECT_STREQ("1002", query.getRow(0));
}

TEST_F(Query, KeepsExtremeNumbers)
{
    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(0u, query.prepare("select 4294967295, -1, -2147483648, '0012', 'x', null"));
    ASSERT_EQ(14u, query.step());
    EXPECT_EQ(4294967295u, query.getRowU32Val(0));
    EXPECT_EQ(-1, query.getRowIntVal(1));
    EXPECT_EQ(std::numeric_limits<int32_t>::min(), query.getRowIntVal(2));
    EXPECT_EQ(12u, query.getRowU32Val(3));
    EXPECT_EQ(0u, query.getRowU32Val(4));
    EXPECT_STREQ("", query.getRow(5));
    EXPECT_STREQ("", query.getRow(6)); // no such column
    EXPECT_EQ(0u, query.getRowU32Val(4294967295u));
}

TEST_F(Query, RefusesWhatIsNotOneReadingStatement)
{
    Cdb_query query(store().GetCacheDB());
    for (const char* sql : {"", "select", "delete from tbl_local_users", "select 1; delete from tbl_local_users",
                            "drop table tbl_local_users", "begin", "attach database ':memory:' as other",
                            "select * from no_such_table", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(1u, query.prepare(sql));
        EXPECT_EQ(1u, query.step());
        EXPECT_STREQ("", query.getRow(0));
    }
    EXPECT_EQ(120u, store().DbGetUsrCnt());
    EXPECT_EQ(0u, query.prepare("select 1 ; "));
}

TEST_F(Query, TheWatchOfAHandleHearsItsStatementsAndNoOthers)
{
    std::vector<std::string> heard;
    store().GetCacheDB()->watchStatements([&heard](std::string_view sql) { heard.emplace_back(sql); });
    EXPECT_EQ(20u, page(100, 50).size());
    Cdb_query(store().GetLocalDB()).prepare("select count(*) from tbl_route");
    Cdb_query(store().GetCacheDB()).prepare("select * from tbl_of_nobody");
    EXPECT_EQ(heard,
              (std::vector<std::string>{std::string(kUserPage) + " limit 100, 50", "select * from tbl_of_nobody"}));
    store().GetCacheDB()->watchStatements({});
    EXPECT_EQ(20u, page(100, 50).size());
    EXPECT_EQ(heard.size(), 2u);
}

TEST_F(Query, WithoutAHandleFails)
{
    Cdb_query query(nullptr);
    EXPECT_EQ(1u, query.prepare("select 1"));
    EXPECT_EQ(1u, query.step());
}

TEST_F(Query, SeesWhatAWriteStoredBefore)
{
    Cdb_query count(store().GetCacheDB());
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(user("new")));
    Cbcl_tmp_str statement;
    statement.set("select count(*) from tbl_local_users where usrName='new'");
    ASSERT_EQ(14u, count.query(statement));
    EXPECT_EQ(1u, count.getRowU32Val(0));
}

TEST_F(Query, DoesNotStopAWriteWhileItIsOpen)
{
    Cdb_query open(store().GetCacheDB());
    ASSERT_EQ(0u, open.prepare("select usrName from tbl_local_users"));
    ASSERT_EQ(14u, open.step());
    EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("meanwhile")));
    EXPECT_EQ(14u, open.step());
}

TEST_F(Query, TheTwoHandlesMayReadDifferentFiles)
{
    const std::string other = path("other.db").string();
    sql(other, "create table tbl_local_users (usrName text); insert into tbl_local_users values ('elsewhere')");
    close();
    Cdb_options options;
    options.localFile = other;
    Cdb_fac_mgr split(options);
    Cdb_query local(split.GetLocalDB());
    ASSERT_EQ(0u, local.prepare("select usrName from tbl_local_users"));
    ASSERT_EQ(14u, local.step());
    EXPECT_STREQ("elsewhere", local.getRow(0));
    Cbcl_tmp_str statement;
    statement.set("select count(*) from tbl_local_users");
    Cdb_query cache(split.GetCacheDB());
    ASSERT_EQ(14u, cache.query(statement));
    EXPECT_EQ(120u, cache.getRowU32Val(0));
}
