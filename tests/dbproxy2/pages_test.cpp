// The result set under the statements of the console.
#include "bcl2/text.h"
#include "dbproxy2/proxy.h"
#include "dbproxy2/remote_fixture.h"

#include <functional>

class RemotePages : public OnEachEngine {
protected:
    // 51 rows, of which the n-th has the number n.
    void fill()
    {
        for (int i = 1; i <= 51; ++i) {
            Ctbl_prepaid_rate rate;
            rate.rate_id = static_cast<uint32_t>(i);
            rate.tariff_interval = 60;
            rate.tariff = 4294967295u;
            ASSERT_EQ(kDbOk, remote().add(rate));
            Ctbl_sub_balance balance;
            snprintf(balance.cSubName, sizeof balance.cSubName, "sub%02d", i);
            balance.nBalance = -i;
            ASSERT_EQ(kDbOk, remote().add(balance));
        }
        Ctbl_disa_account account;
        BclCopyStr(account.cAccount, "12");
        BclCopyStr(account.cExtension, "1000");
        Ctbl_disa_caller_id caller;
        BclCopyStr(caller.cCallerID, "030123");
        BclCopyStr(caller.cDISAAccount, "12");
        Ctbl_caller_prepaid prepaid;
        BclCopyStr(prepaid.cSubscriber, ".");
        BclCopyStr(prepaid.cRouteNbr, "00");
        prepaid.nRateId = 4000000000u;
        Ctbl_callingcard_fee_matrix matrix;
        BclCopyStr(matrix.cDialPlan, "default");
        BclCopyStr(matrix.cRouteNbr, "0");
        matrix.nRateId = 2;
        Ctbl_callingcard_balance card;
        BclCopyStr(card.cCard, "99");
        card.nBalance = -7;
        ASSERT_EQ(kDbOk, remote().add(account));
        ASSERT_EQ(kDbOk, remote().add(caller));
        ASSERT_EQ(kDbOk, remote().add(prepaid));
        ASSERT_EQ(kDbOk, remote().add(matrix));
        ASSERT_EQ(kDbOk, remote().add(card));
    }

    std::string firstRow(const std::string& text, unsigned columns)
    {
        Cbcl_tmp_str sql;
        sql.append("%s", text.c_str());
        Cdb_proxy page(&remote());
        EXPECT_EQ(kDbOk, page.query(sql)) << text;
        EXPECT_EQ(kDbOk, page.fetchRow()) << text;
        std::string row = std::to_string(page.getRecordsCnt());
        for (unsigned i = 0; i < columns; ++i)
            row += std::string("|") + page.getRow(i);
        return row;
    }
};

TEST_P(RemotePages, ReadTheStatementsOfTheConsole)
{
    fill();
    const std::string page = " limit 0, 50";
    EXPECT_EQ("1|12|1000", firstRow("select cAccount, cExtension from tbl_disa_account order by cAccount", 2));
    EXPECT_EQ("1|030123|12", firstRow("select cCallerID, cDISAAccount from tbl_disa_caller_id order by cCallerID", 2));
    EXPECT_EQ(
        "50|1|60|4294967295|0",
        firstRow("select rate_id, tariff_interval, tariff, onetime_fee from tbl_prepaid_rate  order by rate_id" + page,
                 4));
    EXPECT_EQ("50|sub01|-1",
              firstRow("select cSubName, nBalance from tbl_sub_balance order by cSubName limit 0, 50", 2));
    EXPECT_EQ("1|.|00|4000000000", firstRow("select cSubscriber, cRouteNbr, nRateId from tbl_caller_prepaid order by "
                                            "cSubscriber, cRouteNbr limit 0, 50",
                                            3));
    EXPECT_EQ("1|default|0|2", firstRow("select cDialPlan, cRouteNbr, nRateId from tbl_callingcard_fee_matrix  order "
                                        "by cDialPlan, cRouteNbr" +
                                            page,
                                        3));
    EXPECT_EQ("1|99|-7", firstRow("select cCard, nBalance from tbl_callingcard_balance  order by cCard" + page, 2));
    EXPECT_EQ("1|1", firstRow("select count(*) from tbl_callingcard_fee_matrix", 1));
    EXPECT_EQ("1|1", firstRow("select count(*) from tbl_callingcard_balance", 1));

    EXPECT_EQ("1|51", firstRow("select rate_id from tbl_prepaid_rate order by rate_id limit 50, 50", 1));
    Cdb_proxy past(&remote());
    EXPECT_EQ(kDbOk, past.query("select rate_id from tbl_prepaid_rate order by rate_id limit 100, 50"));
    EXPECT_EQ(0u, past.getRecordsCnt());
    EXPECT_EQ(kDbFailed, past.fetchRow());
}

TEST_P(RemotePages, GiveNumbersAndNothingWhereNothingIs)
{
    fill();
    Cdb_proxy page(&remote());
    EXPECT_STREQ("", page.getRow(0));
    ASSERT_EQ(kDbOk, page.query("select nRateId, cRouteNbr, null from tbl_caller_prepaid"));
    EXPECT_STREQ("", page.getRow(0)) << "no row is current before the first fetch";
    ASSERT_EQ(kDbOk, page.fetchRow());
    EXPECT_EQ(4000000000u, page.getRowU32Val(0));
    EXPECT_EQ(-294967296, page.getRowIntVal(0)) << "the low 32 bits";
    EXPECT_EQ(0u, page.getRowU32Val(1)) << "00 read as a number";
    EXPECT_STREQ("", page.getRow(2));
    EXPECT_STREQ("", page.getRow(3));
    EXPECT_EQ(0u, page.getRowU32Val(3));
    EXPECT_EQ(kDbFailed, page.fetchRow());
    EXPECT_EQ(kDbFailed, page.fetchRow());
    EXPECT_STREQ("", page.getRow(1)) << "past the end";
    ASSERT_EQ(kDbOk, page.query("select nBalance from tbl_sub_balance order by cSubName"));
    ASSERT_EQ(kDbOk, page.fetchRow());
    EXPECT_EQ(-1, page.getRowIntVal(0));
}

TEST_P(RemotePages, RunNothingThatChangesSomething)
{
    fill();
    Cdb_proxy page(&remote());
    EXPECT_EQ(kDbFailed, page.query("delete from tbl_sub_balance"));
    EXPECT_EQ(kDbFailed, page.query("select 1; delete from tbl_sub_balance"));
    EXPECT_EQ(kDbFailed, page.query("select nothing from tbl_sub_balance"));
    EXPECT_EQ(kDbFailed, page.query(static_cast<const char*>(nullptr)));
    EXPECT_EQ(0u, page.getRecordsCnt());
    EXPECT_EQ(51u, remote().count<Ctbl_sub_balance>());
    EXPECT_EQ(kDbFailed, Cdb_proxy(nullptr).query("select 1"));
    // A refused statement costs nobody the connection.
    EXPECT_TRUE(remote().isActive());
    EXPECT_EQ(kDbOk, page.query("select count(*) from tbl_sub_balance"));
}

INSTANTIATE_TEST_SUITE_P(Engines, RemotePages, testing::Values(Engine::Embedded, Engine::MariaDb), engineName);
