// The statements that the console's pages and boxes send.
#include "bcl2/text.h"
#include "cachedb2/families.h"
#include "cachedb2/store_fixture.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace {

// What a page or a box reads: the columns are named in the order of the select list.
struct Statement {
    const char* table;
    const char* sql;
    const char* columns;
};

constexpr const char* kRows = "count(*)";

// With two rows in each table.
constexpr Statement kStatements[] = {
    {"tbl_ext_line", "select * from tbl_ext_line limit 0, 50",
     "extName lineType password description serverAddr serverPort authName flags destination proxyAddr proxyPort "
     "transport uriParams timeCondId cldRefineGroup noAnsTime maxOutCalls maxDuration nextLine maxCalls state"},
    {"tbl_peer_server", "select count(*) from tbl_peer_server", kRows},
    {"tbl_peer_server", "select * from tbl_peer_server order by sid limit 0, 50",
     "sid description peerPort outCallerNbr dialPlan transport cldRefineGroup peerAddr timeCondId maxOutCalls "
     "maxInCalls flags backupSid uriParams"},
    {"tbl_route_group", "select count(*) from tbl_route_group", kRows},
    {"tbl_route_group", "select * from tbl_route_group order by groupID limit 0, 50", "groupID description"},
    {"tbl_route", "select count(*) from tbl_route", kRows},
    {"tbl_route", "select * from tbl_route order by groupID, routeType limit 0, 50",
     "groupID routeType extLine peerServerId"},
    {"tbl_nbr_trans", "select count(*) from tbl_nbr_trans", kRows},
    {"tbl_nbr_trans", "select * from tbl_nbr_trans order by transid limit 0, 50",
     "transid type startPos length digits description"},
    {"tbl_nbr_cld_ana", "select count(*) from tbl_nbr_cld_ana where serviceType=0", kRows},
    {"tbl_nbr_cld_ana", "select * from tbl_nbr_cld_ana where serviceType=0 order by dialPlan, calledPrefix limit 0, 50",
     "calledPrefix routeType peerServerId calledChanged transId transOption extLine level dialPlan maxDuration "
     "clrRefineGroup rtGroupId description serviceType"},
    {"tbl_nbr_clr_ana", "select count(*) from tbl_nbr_clr_ana", kRows},
    {"tbl_nbr_clr_ana", "select * from tbl_nbr_clr_ana order by callerPrefix limit 0, 50",
     "callerPrefix transId dialPlan description"},
    {"tbl_nbr_clr_refine", "select count(*) from tbl_nbr_clr_refine", kRows},
    {"tbl_nbr_clr_refine", "select * from tbl_nbr_clr_refine order by groupID, callerPrefix limit 0, 50",
     "groupID callerPrefix transId description"},
    {"tbl_nbr_cld_refine", "select count(*) from tbl_nbr_cld_refine", kRows},
    {"tbl_nbr_cld_refine", "select * from tbl_nbr_cld_refine order by groupID, calledPrefix limit 0, 50",
     "groupID calledPrefix transId description"},
    {"tbl_time_condition", "select count(*) from tbl_time_condition", kRows},
    {"tbl_time_condition", "select * from tbl_time_condition order by ID",
     "ID description startHour startMinute endHour endMinute weekdays"},
    {"tbl_hunting_group", "select count(*) from tbl_hunting_group", kRows},
    {"tbl_hunting_group", "select * from tbl_hunting_group order by groupID limit 0, 50",
     "groupID description strategy operatorTime isQueueOn queueCounter queueDuration"},
    {"tbl_hunting_group_operator", "select count(*) from tbl_hunting_group_operator", kRows},
    {"tbl_hunting_group_operator", "select * from tbl_hunting_group_operator order by operator limit 0, 50",
     "operator groupID isExternal"},
    {"tbl_hunting_group_detect", "select count(*) from tbl_hunting_group_detect", kRows},
    {"tbl_hunting_group_detect", "select * from tbl_hunting_group_detect order by dialPlan, calledNbr limit 0, 50",
     "dialPlan calledNbr groupID"},
    {"tbl_rg_user", "select count(*) from tbl_rg_user", kRows},
    {"tbl_rg_user", "select * from tbl_rg_user order by groupID, user limit 0, 50", "groupID user"},
    {"tbl_rg_detect", "select count(*) from tbl_rg_detect", kRows},
    {"tbl_rg_detect", "select * from tbl_rg_detect order by dialPlan, cldNbr limit 0, 50",
     "dialPlan cldNbr name groupID"},
    {"tbl_ivr_trigger", "select count(*) from tbl_ivr_trigger", kRows},
    {"tbl_ivr_trigger", "select * from tbl_ivr_trigger order by dialPlan, calledNbr limit 0, 50",
     "dialPlan calledNbr name fileName"},
    {"tbl_lua_trigger", "select count(*) from tbl_lua_trigger", kRows},
    {"tbl_lua_trigger", "select * from tbl_lua_trigger order by DP, dialPlan, calledNbr limit 0, 50",
     "DP dialPlan calledNbr name moduleName"},
    {"tbl_speed_dial", "select * from tbl_speed_dial  order by callerNbr, dialedNbr limit 0, 50",
     "callerNbr dialedNbr name destination"},
    {"tbl_call_recording", "select count(*) from tbl_call_recording", kRows},
    {"tbl_call_recording", "select * from tbl_call_recording order by callerNbr, calledNbr limit 0, 50",
     "callerNbr calledNbr name recording"},
    {"tbl_call_shop", "select count(*) from tbl_call_shop", kRows},
    {"tbl_call_shop", "select * from tbl_call_shop order by calledNbr limit 0, 50",
     "calledNbr description interval fee"},
    {"tbl_sys_blacklist", "select count(*) from tbl_sys_blacklist", kRows},
    {"tbl_sys_blacklist", "select * from tbl_sys_blacklist order by callerNbr, calledNbr limit 0, 50",
     "callerNbr calledNbr name code"},
    {"tbl_ip_bwlist", "select count(*) from tbl_ip_bwlist", kRows},
    {"tbl_ip_bwlist", "select * from tbl_ip_bwlist order by ipAddr limit 0, 50", "ipAddr name action"},
    {"tbl_clr_rewrite", "select count(*) from tbl_clr_rewrite", kRows},
    {"tbl_clr_rewrite", "select * from tbl_clr_rewrite order by callerNbr limit 0, 50",
     "callerNbr displayName isAnonymous"},
    {"tbl_evt_channel_auth", "select count(*) from tbl_evt_channel_auth", kRows},
    {"tbl_evt_channel_auth", "select * from tbl_evt_channel_auth order by ipAddr limit 0, 50", "ipAddr"},
    {"tbl_nbr_trans", "select * from tbl_nbr_trans", "transid type startPos length digits description"},
    {"tbl_nbr_clr_refine", "select distinct groupID from tbl_nbr_clr_refine", "groupID"},
    {"tbl_nbr_cld_refine", "select distinct groupID from tbl_nbr_cld_refine", "groupID"},
    {"tbl_ext_line", "select extName, description from tbl_ext_line order by extName", "extName description"},
    {"tbl_peer_server", "select sid, description, peerAddr, peerPort from tbl_peer_server",
     "sid description peerAddr peerPort"},
    {"tbl_route_group", "select groupID, description from tbl_route_group", "groupID description"},
    {"tbl_time_condition", "select ID, description from tbl_time_condition", "ID description"},
    {"tbl_hunting_group", "select groupID, description from tbl_hunting_group", "groupID description"},
    {"tbl_local_users",
     "select usrName, description, dispName, preAddr, prePort,usrStage,userAgent from tbl_local_users left outer join "
     "tbl_sip_reg on tbl_sip_reg.userName=tbl_local_users.usrName order by usrName limit 0, 50",
     "usrName description dispName preAddr prePort usrStage userAgent"},
};

using Row = std::map<std::string, std::string>; // column to value

template <class Record>
Record pageSample(const families::Family<Record>& family, int key)
{
    Record record = families::sample(family, key, "of " + std::to_string(key) + " ");
    if constexpr (std::is_same_v<Record, Cdb_nbr_cld_ana_data>)
        record.serviceType = 0; // the page shows no other
    return record;
}

template <class Record>
Row rowOf(const families::Family<Record>& family, const Record& record)
{
    Row row = {{"state", "0"}}; // of a line that is off
    for (const families::Column& column : family.columns)
        row[column.name] = column.read(&record);
    return row;
}

std::vector<std::string> expectedRows(const Statement& statement, const std::vector<Row>& rows)
{
    if (statement.columns == kRows)
        return {std::to_string(rows.size()) + "|"};
    std::vector<std::string> lines;
    for (const Row& row : rows) {
        std::istringstream columns(statement.columns);
        std::string& line = lines.emplace_back();
        for (std::string column; columns >> column;)
            line += row.at(column) + "|";
    }
    return lines;
}

std::vector<std::string> readRows(Clocal_db* handle, const Statement& statement)
{
    Cdb_query query(handle);
    if (query.prepare(statement.sql) != kDbOk)
        return {"not prepared"};
    const std::string names = statement.columns;
    const auto columns = static_cast<unsigned>(std::count(names.begin(), names.end(), ' ') + 1);
    std::vector<std::string> lines;
    while (query.step() == kDbRow) {
        std::string& line = lines.emplace_back();
        for (unsigned i = 0; i < columns; ++i)
            line += std::string(query.getRow(i)) + "|";
        line += query.getRow(columns); // there is none
    }
    return lines;
}

} // namespace

class PageStatements : public StoreFixture {
protected:
    PageStatements() { open(); }
};

TEST_F(PageStatements, OfCalledAnalysisGiveServiceTypeZeroOnly)
{
    Cdb_nbr_cld_ana_data record;
    for (const uint32_t serviceType : {0u, 1u, 2u, 4294967295u}) {
        record.serviceType = serviceType;
        BclCopyStr(record.calledPrefix, ("p" + std::to_string(serviceType)).c_str());
        ASSERT_EQ(kDbOk, store().DbNbrCldAnaSet(record));
    }
    Cdb_query count(store().GetCacheDB());
    ASSERT_EQ(kDbOk, count.prepare("select count(*) from tbl_nbr_cld_ana where serviceType=0"));
    ASSERT_EQ(kDbRow, count.step());
    EXPECT_EQ(1u, count.getRowU32Val(0));
    Cdb_query page(store().GetCacheDB());
    ASSERT_EQ(kDbOk, page.prepare("select * from tbl_nbr_cld_ana where serviceType=0 order by dialPlan, calledPrefix "
                                  "limit 0, 50"));
    ASSERT_EQ(kDbRow, page.step());
    EXPECT_STREQ("p0", page.getRow(0));
    EXPECT_NE(kDbRow, page.step());
}
TEST_F(PageStatements, GiveTheirColumnsInOrder)
{
    std::map<std::string, std::vector<Row>> tables;
    families::forEachFamily([&]<class Record>(const char* name, const families::Family<Record>& family) {
        if (family.isSingle)
            return;
        for (const int key : {2, 1}) { // the later one first
            const Record record = pageSample(family, key);
            ASSERT_EQ(kDbOk, families::write(family, store(), record)) << name;
            tables[family.table].insert(tables[family.table].begin(), rowOf(family, record));
        }
    });
    for (const char* name : {"u2", "u1"}) {
        Cdb_usr_info record = user(name);
        BclCopyStr(record.description, (std::string("description of ") + name).c_str());
        BclCopyStr(record.dispName, (std::string("dispName of ") + name).c_str());
        ASSERT_EQ(kDbOk, store().DbSetLocalUserData(record));
        auto& users = tables["tbl_local_users"];
        users.insert(users.begin(), {{"usrName", name},
                                     {"description", record.description},
                                     {"dispName", record.dispName},
                                     {"preAddr", ""},
                                     {"prePort", ""},
                                     {"usrStage", ""},
                                     {"userAgent", ""}});
    }
    for (const Statement& statement : kStatements) {
        for (Clocal_db* handle : {store().GetCacheDB(), store().GetLocalDB()}) {
            auto expected = expectedRows(statement, tables[statement.table]);
            auto read = readRows(handle, statement);
            if (std::string(statement.sql).find(" order by ") == std::string::npos) {
                std::ranges::sort(expected);
                std::ranges::sort(read);
            }
            EXPECT_EQ(expected, read) << statement.sql;
        }
    }
}
