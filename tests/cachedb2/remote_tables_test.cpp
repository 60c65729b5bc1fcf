// The remote database through the facade, on both engines.
#include "cachedb2/remote_tables.h"

#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "dbproxy2/remote_db.h"
#include "support/maria_server.h"
#include "support/patience.h"

#include <limits>

class RemoteTables : public StoreFixture {
protected:
    void useServer(Cdb_sys_data& system)
    {
        if (!_server) {
            _server = std::make_unique<MariaServer>();
            _server->start();
        }
        BclCopyStr(system.dbAddr, " 127.0.0.1 ");
        system.dbPort = _server->port();
        BclCopyStr(system.dbUser, MariaServer::kUser);
        BclCopyStr(system.dbPassword, MariaServer::kPassword);
        BclCopyStr(system.dbName, MariaServer::kDatabase);
    }
    [[nodiscard]] bool waitForActive()
    {
        return waitUntil([this] { return store().IsRemoteDbActive() != 0; });
    }

private:
    std::unique_ptr<MariaServer> _server;
};

class EachRemoteEngine : public RemoteTables, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        open();
        if (GetParam()) {
            Cdb_sys_data system;
            useServer(system);
            ASSERT_EQ(kDbOk, store().DbSetSysData(system));
        }
        ASSERT_TRUE(waitForActive());
        fac = &store();
    }

    Cdb_fac_mgr* fac = nullptr;
};

TEST_P(EachRemoteEngine, KeepsDisaAccountsAndCallerIds)
{
    Ctbl_disa_account account;
    BclCopyStr(account.cAccount, "4711");
    BclCopyStr(account.cPassword, "0815");
    BclCopyStr(account.cExtension, "1000");
    EXPECT_EQ(kDbOk, tbl_disa_account_add(fac, account));
    EXPECT_NE(kDbOk, tbl_disa_account_add(fac, account));
    Ctbl_disa_account read;
    ASSERT_EQ(kDbOk, tbl_disa_account_get(fac, "4711", read));
    EXPECT_EQ(0, std::memcmp(&account, &read, sizeof read));
    EXPECT_NE(kDbOk, tbl_disa_account_get(fac, "4712", read));
    EXPECT_STREQ("4711", read.cAccount) << "a failing get changes nothing";
    EXPECT_NE(kDbOk, tbl_disa_account_get(fac, nullptr, read));
    EXPECT_NE(kDbOk, tbl_disa_account_get(fac, std::string(33, '1').c_str(), read));
    EXPECT_NE(kDbOk, tbl_disa_account_add(fac, Ctbl_disa_account())) << "an empty key";
    EXPECT_EQ(kDbOk, tbl_disa_account_del(fac, "4711"));
    EXPECT_NE(kDbOk, tbl_disa_account_del(fac, "4711"));

    Ctbl_disa_caller_id caller;
    BclCopyStr(caller.cCallerID, "030123");
    BclCopyStr(caller.cDISAAccount, "4711");
    EXPECT_EQ(kDbOk, tbl_disa_caller_id_add(fac, caller));
    EXPECT_NE(kDbOk, tbl_disa_caller_id_add(fac, caller));
    Ctbl_disa_caller_id readCaller;
    ASSERT_EQ(kDbOk, tbl_disa_caller_id_get(fac, "030123", readCaller));
    EXPECT_EQ(0, std::memcmp(&caller, &readCaller, sizeof caller));
    EXPECT_EQ(kDbOk, tbl_disa_caller_id_del(fac, "030123"));
    EXPECT_NE(kDbOk, tbl_disa_caller_id_get(fac, "030123", readCaller));
}

TEST_P(EachRemoteEngine, KeepsRatesAndBalances)
{
    Ctbl_prepaid_rate rate;
    rate.rate_id = 5;
    rate.tariff = std::numeric_limits<uint32_t>::max();
    Ctbl_prepaid_rate readRate;
    EXPECT_NE(kDbOk, tbl_prepaid_rate_get(fac, 5, &readRate));
    EXPECT_EQ(kDbOk, tbl_prepaid_rate_add(fac, rate));
    EXPECT_NE(kDbOk, tbl_prepaid_rate_add(fac, rate));
    EXPECT_EQ(kDbOk, tbl_prepaid_rate_set(fac, &rate));
    EXPECT_EQ(kDbOk, tbl_prepaid_rate_set(fac, &rate));
    ASSERT_EQ(kDbOk, tbl_prepaid_rate_get(fac, 5, &readRate));
    EXPECT_EQ(rate.tariff, readRate.tariff);
    EXPECT_EQ(1u, tbl_prepaid_rate_count(fac));
    EXPECT_NE(kDbOk, tbl_prepaid_rate_get(fac, 0, &readRate));
    EXPECT_NE(kDbOk, tbl_prepaid_rate_get(fac, 5, nullptr));
    EXPECT_NE(kDbOk, tbl_prepaid_rate_set(fac, nullptr));
    EXPECT_EQ(kDbOk, tbl_prepaid_rate_del(fac, 5));
    EXPECT_NE(kDbOk, tbl_prepaid_rate_del(fac, 5));

    const std::string longest(60, 'n');
    for (const int balance : {0, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(kDbOk, tbl_sub_balance_set(fac, longest.c_str(), balance));
        int read = 7;
        EXPECT_EQ(kDbOk, tbl_sub_balance_get(fac, longest.c_str(), read));
        EXPECT_EQ(balance, read);
    }
    Ctbl_sub_balance added;
    BclCopyStr(added.cSubName, longest.c_str());
    EXPECT_NE(kDbOk, tbl_sub_balance_add(fac, added)) << "there is one";
    int read = 7;
    EXPECT_NE(kDbOk, tbl_sub_balance_get(fac, "unknown", read));
    EXPECT_EQ(7, read);
    EXPECT_NE(kDbOk, tbl_sub_balance_set(fac, std::string(61, 'n').c_str(), 1));
    EXPECT_EQ(1u, tbl_sub_balace_has(fac, longest.c_str()));
    EXPECT_EQ(0u, tbl_sub_balace_has(fac, "unknown"));
    EXPECT_EQ(1u, tbl_sub_balance_count(fac));
    EXPECT_EQ(kDbOk, tbl_sub_balance_del(fac, longest.c_str()));
    EXPECT_NE(kDbOk, tbl_sub_balance_del(fac, longest.c_str()));
    EXPECT_EQ(kDbOk, tbl_sub_balance_add(fac, added));
}

TEST_P(EachRemoteEngine, KeepsRatesOfCallersAndCards)
{
    Ctbl_caller_prepaid prepaid;
    BclCopyStr(prepaid.cSubscriber, ".");
    BclCopyStr(prepaid.cRouteNbr, "0049");
    prepaid.nRateId = 3;
    EXPECT_EQ(kDbOk, tbl_caller_prepaid_add(fac, prepaid));
    EXPECT_NE(kDbOk, tbl_caller_prepaid_add(fac, prepaid));
    EXPECT_EQ(kDbOk, tbl_caller_prepaid_set(fac, &prepaid));
    unsigned rateId = 0;
    EXPECT_EQ(kDbOk, tbl_caller_prepaid_get(fac, ".", "0049", rateId));
    EXPECT_EQ(3u, rateId);
    EXPECT_NE(kDbOk, tbl_caller_prepaid_get(fac, "0049", ".", rateId));
    EXPECT_EQ(1u, tbl_caller_prepaid_has(fac, ".", "0049"));
    EXPECT_EQ(0u, tbl_caller_prepaid_has(fac, ".", "004"));
    EXPECT_EQ(1u, tbl_caller_prepaid_count(fac));
    EXPECT_EQ(kDbOk, tbl_caller_prepaid_del(fac, ".", "0049"));
    EXPECT_NE(kDbOk, tbl_caller_prepaid_del(fac, ".", "0049"));

    Ctbl_callingcard_fee_matrix matrix;
    BclCopyStr(matrix.cDialPlan, "default");
    BclCopyStr(matrix.cRouteNbr, "0");
    matrix.nRateId = 9;
    EXPECT_EQ(kDbOk, tbl_callingcard_fee_matrix_add(fac, matrix));
    EXPECT_NE(kDbOk, tbl_callingcard_fee_matrix_add(fac, matrix));
    EXPECT_EQ(kDbOk, tbl_callingcard_fee_matrix_set(fac, &matrix));
    EXPECT_EQ(kDbOk, tbl_callingcard_fee_matrix_get(fac, "default", "0", rateId));
    EXPECT_EQ(9u, rateId);
    EXPECT_NE(kDbOk, tbl_callingcard_fee_matrix_get(fac, "default", "", rateId));
    EXPECT_EQ(kDbOk, tbl_callingcard_fee_matrix_del(fac, "default", "0"));
    EXPECT_NE(kDbOk, tbl_callingcard_fee_matrix_del(fac, "default", "0"));

    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "77");
    BclCopyStr(card.cPin, "1234");
    card.nBalance = -3;
    card.nExpiry = 20261231;
    BclCopyStr(card.cDialPlan, "cards");
    card.setDialPlanInd();
    EXPECT_EQ(kDbOk, tbl_callingcard_balance_add(fac, card));
    EXPECT_NE(kDbOk, tbl_callingcard_balance_add(fac, card));
    EXPECT_EQ(kDbOk, tbl_callingcard_balance_set(fac, card));
    Ctbl_callingcard_balance other = card;
    other.nBalance = 500;
    EXPECT_EQ(kDbOk, tbl_callingcard_balance_set_rest(fac, other));
    EXPECT_EQ(-3, other.nBalance);
    Ctbl_callingcard_balance read;
    EXPECT_NE(kDbOk, tbl_callingcard_balance_get(fac, read)) << "an empty key";
    BclCopyStr(read.cCard, "77");
    ASSERT_EQ(kDbOk, tbl_callingcard_balance_get(fac, read));
    EXPECT_EQ(0, std::memcmp(&card, &read, sizeof card));
    EXPECT_EQ(kDbOk, tbl_callingcard_balance_del(fac, "77"));
    EXPECT_NE(kDbOk, tbl_callingcard_balance_del(fac, "77"));
}

TEST_P(EachRemoteEngine, ReadsPages)
{
    for (unsigned i = 1; i <= 51; ++i)
        ASSERT_EQ(kDbOk, tbl_sub_balance_set(fac, std::to_string(1000 + i).c_str(), -static_cast<int>(i)));
    Cdba_proxy page(fac);
    Cbcl_tmp_str sql;
    sql.append("select cSubName, nBalance from tbl_sub_balance order by cSubName ");
    sql.append("limit %d, %d", 50, 50);
    ASSERT_EQ(kDbOk, page.query(sql));
    ASSERT_EQ(1u, page.getRecordsCnt());
    (void)page.fetchRow();
    EXPECT_STREQ("1051", page.getRow(0));
    EXPECT_EQ(-51, page.getRowIntVal(1));
}

INSTANTIATE_TEST_SUITE_P(Engines, EachRemoteEngine, testing::Bool(),
                         [](const auto& engine) { return engine.param ? "MariaDb" : "Embedded"; });

TEST_F(RemoteTables, AreInAFileOfANewStore)
{
    open();
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(kDbOk, tbl_sub_balance_set(&store(), "1000", 500));
    EXPECT_EQ(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
              std::filesystem::status(path("billing.db")).permissions());
    open(); // and from the first moment
    int balance = 0;
    EXPECT_EQ(kDbOk, tbl_sub_balance_get(&store(), "1000", balance));
    EXPECT_EQ(500, balance);
    close();
    EXPECT_TRUE(takeLog().empty());
    EXPECT_EQ("wal", sql(path("billing.db"), "pragma journal_mode"));
}

TEST_F(RemoteTables, FollowTheSystemSettings)
{
    open();
    Cdb_sys_tbl& system = *store().DbGetSysTbl();
    ASSERT_TRUE(waitForActive());
    ASSERT_EQ(kDbOk, tbl_sub_balance_set(&store(), "1000", 500));

    BclCopyStr(system.dbAddr, "");
    system.SetModified();
    ASSERT_EQ(kDbOk, system.SaveDB());
    EXPECT_EQ(0u, store().IsRemoteDbActive());
    EXPECT_EQ(0u, tbl_sub_balace_has(&store(), "1000"));
    EXPECT_NE(kDbOk, Cdba_proxy(&store()).query("select count(*) from tbl_sub_balance"));

    useServer(system);
    system.SetModified();
    ASSERT_EQ(kDbOk, system.SaveDB());
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(0u, tbl_sub_balace_has(&store(), "1000")) << "a table of the server, not of the file";

    BclCopyStr(system.dbAddr, "local");
    system.SetModified();
    ASSERT_EQ(kDbOk, system.SaveDB());
    ASSERT_TRUE(waitForActive());
    EXPECT_EQ(1u, tbl_sub_balace_has(&store(), "1000"));
}

TEST_F(RemoteTables, AreNotThereWithoutAStore)
{
    Ctbl_disa_account account;
    BclCopyStr(account.cAccount, "1");
    EXPECT_NE(kDbOk, tbl_disa_account_add(nullptr, account));
    EXPECT_EQ(0u, tbl_sub_balance_count(nullptr));
    EXPECT_EQ(0u, tbl_sub_balace_has(nullptr, "1000"));
    EXPECT_NE(kDbOk, Cdba_proxy(nullptr).query("select 1"));
}

TEST_F(RemoteTables, LeaveADamagedFileAsItIs)
{
    const std::string rubbish(8192, 'x');
    writeFile(path("billing.db"), rubbish);
    open();
    EXPECT_EQ(0u, store().IsRemoteDbActive());
    EXPECT_NE(kDbOk, tbl_sub_balance_set(&store(), "1000", 500));
    EXPECT_TRUE(store().isOpen()) << "everything else goes on";
    close();
    const auto log = takeLog();
    ASSERT_EQ(1u, log.size());
    EXPECT_NE(std::string::npos, log[0].find("billing.db cannot be used")) << log[0];
    EXPECT_EQ(rubbish, readFile(path("billing.db")));
}
