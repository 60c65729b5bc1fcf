// Every record of the store goes through the same steps.
#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "tables.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <ostream>

namespace {

using Store = Cdb_fac_mgr;

// The operations of a record; those that its family does not have are empty.
template <class Record>
struct Family {
    const char* table;
    Edb_table id;
    const char* columns; // stored order
    std::function<unsigned(Store&, Record&)> add = {};
    std::function<unsigned(Store&, Record&)> set = {};
    std::function<unsigned(Store&, Record&)> update = {};
    std::function<unsigned(Store&, Record&)> get = {};
    std::function<unsigned(Store&, Record&)> has = {};
    std::function<unsigned(Store&, Record&)> del = {};
    std::function<void(const Cdb_query&, Record*)> map = {};
    std::function<void(Record&)> fit = {}; // brings a record within rules of its own
    bool isSingle = false;                 // one record, whose key nobody chooses
};

struct Extreme {
    std::string text;
    int64_t number;
    std::string key;
    int64_t keyNumber;
};

std::string repeated(const std::string& text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

// Keys have at most 32 bytes, the other texts are cut at their fields.
const std::array<Extreme, 6> kExtremes = {{
    {"", 0, "a", 1},
    {"a", 1, "o'neill", 2},
    {std::string(600, 'x'), -1, std::string(32, 'x'), -1},
    {std::string(300, 'x') + "é", std::numeric_limits<int64_t>::max(), repeated("é", 16), 0x7f7f7f7f},
    {repeated("漢", 300), std::numeric_limits<int64_t>::min(), "漢字", 100},
    {"'; drop table tbl_ext_line; -- \" %s %n ` \\ \t", 0x0102030405060708, "';delete from tbl_route;--%s", 77},
}};

} // namespace

class StoreFamily : public StoreFixture {
public:
    void TestBody() override {}

    template <class Record>
    void check(const Family<Record>& family)
    {
        SCOPED_TRACE(family.table);
        open();
        checkColumns(family);
        for (const Extreme& extreme : kExtremes)
            checkRoundTrip(family, extreme);
        checkSameKey(family);
        if (!family.isSingle)
            checkKeys(family);
        checkListeners(family);
    }

private:
    template <class Record>
    static bool same(const Record& a, const Record& b)
    {
        return std::memcmp(&a, &b, sizeof(Record)) == 0;
    }

    static void put(const FieldDesc& field, void* record, const std::string& text, int64_t number)
    {
        if (field.type == FieldType::Text)
            BclCopyText(static_cast<char*>(field.at(record)), field.size, text, field.size);
        else
            std::memcpy(field.at(record), &number, field.size); // little endian: the low bytes
    }

    template <class Record>
    static Record filled(const Family<Record>& family, const Extreme& extreme)
    {
        Record record;
        for (const FieldDesc& field : tableOf<Record>().fields()) {
            if (!field.isKey)
                put(field, &record, extreme.text, extreme.number);
            else if (!family.isSingle)
                put(field, &record, extreme.key, extreme.keyNumber);
        }
        if (family.fit)
            family.fit(record);
        return record;
    }

    template <class Record>
    unsigned write(const Family<Record>& family, Record& record)
    {
        return family.add ? family.add(store(), record) : family.set(store(), record);
    }

    template <class Record>
    size_t rows()
    {
        return store().rows<Record>().get()->size();
    }

    // What a page shows, record by record.
    template <class Record>
    std::vector<Record> page(const Family<Record>& family)
    {
        std::vector<Record> records;
        Cdb_query query(store().GetCacheDB());
        EXPECT_EQ(kDbOk, query.prepare((std::string("select * from ") + family.table).c_str()));
        while (query.step() == kDbRow)
            family.map(query, &records.emplace_back());
        return records;
    }

    template <class Record>
    void checkColumns(const Family<Record>& family)
    {
        EXPECT_EQ(family.columns, sql(path("config.db"), std::string("select group_concat(name, ' ') from"
                                                                     " pragma_table_info('") +
                                                             family.table + "')"));
    }

    template <class Record>
    void checkStored(const Family<Record>& family, const Record& written)
    {
        const auto version = store().rows<Record>().get();
        const auto kept = version->find(tableOf<Record>().keyText(&written));
        ASSERT_TRUE(kept);
        EXPECT_TRUE(same(written, *kept));
        EXPECT_EQ(1u, version->size());
        Record key = written;
        for (const FieldDesc& field : tableOf<Record>().fields())
            if (!field.isKey)
                put(field, &key, "other", 5);
        if (family.get) {
            Record read = key;
            ASSERT_EQ(kDbOk, family.get(store(), read));
            EXPECT_TRUE(same(written, read));
        }
        if (family.has) {
            EXPECT_EQ(kDbHas, family.has(store(), key));
        }
        if (family.map) {
            const std::vector<Record> shown = page(family);
            ASSERT_EQ(1u, shown.size());
            EXPECT_TRUE(same(written, shown[0]));
        }
    }

    template <class Record>
    void checkRoundTrip(const Family<Record>& family, const Extreme& extreme)
    {
        SCOPED_TRACE(extreme.key);
        Record written = filled(family, extreme);
        ASSERT_EQ(kDbOk, write(family, written));
        checkStored(family, written);
        open();
        checkStored(family, written);
        if (!family.del)
            return;
        EXPECT_EQ(kDbOk, family.del(store(), written));
        EXPECT_EQ(kDbFailed, family.del(store(), written));
        EXPECT_EQ(0u, rows<Record>());
        Record gone = written;
        if (family.get) {
            EXPECT_EQ(kDbFailed, family.get(store(), gone));
        }
        if (family.has) {
            EXPECT_EQ(0u, family.has(store(), gone));
        }
        open();
        EXPECT_EQ(0u, rows<Record>());
    }

    template <class Record>
    void checkSameKey(const Family<Record>& family)
    {
        Record first = filled(family, kExtremes[1]);
        Record second = first;
        for (const FieldDesc& field : tableOf<Record>().fields())
            if (!field.isKey)
                put(field, &second, "second", 9);
        if (family.fit)
            family.fit(second);
        if (family.update) {
            EXPECT_EQ(kDbFailed, family.update(store(), first));
            EXPECT_EQ(0u, rows<Record>());
        }
        ASSERT_EQ(kDbOk, write(family, first));
        if (family.add) {
            EXPECT_EQ(kDbFailed, family.add(store(), second));
            checkStored(family, first);
        }
        if (family.update) {
            EXPECT_EQ(kDbOk, family.update(store(), second));
            checkStored(family, second);
        }
        if (family.set) {
            EXPECT_EQ(kDbOk, family.set(store(), second));
            checkStored(family, second);
        }
        if (family.del) {
            EXPECT_EQ(kDbOk, family.del(store(), first));
        }
    }

    // Each part of the key in turn is none.
    template <class Record>
    void checkKeys(const Family<Record>& family)
    {
        for (const FieldDesc& field : tableOf<Record>().fields()) {
            if (!field.isKey)
                continue;
            SCOPED_TRACE(field.column);
            Record record = filled(family, kExtremes[1]);
            put(field, &record, "", 0);
            EXPECT_EQ(field.mayBeEmpty ? kDbOk : kDbFailed, write(family, record));
            EXPECT_EQ(field.mayBeEmpty ? kDbOk : kDbFailed, family.del(store(), record));
            if (field.type != FieldType::Text)
                continue;
            std::memset(field.at(&record), 'k', field.size); // has no end
            EXPECT_EQ(kDbFailed, write(family, record));
            put(field, &record, "a\nb", 0);
            EXPECT_EQ(kDbFailed, write(family, record));
            put(field, &record, "\xff\xfe", 0);
            EXPECT_EQ(kDbFailed, write(family, record));
        }
        EXPECT_EQ(0u, rows<Record>());
    }

    template <class Record>
    void checkListeners(const Family<Record>& family)
    {
        struct Heard {
            Edb_table table;
            std::string key;
            bool isRemoval;
            size_t rows;
        };
        std::vector<Heard> heard;
        store().addListener([&](const Cdb_change& change) {
            heard.push_back({change.table, std::string(change.key), change.isRemoval, rows<Record>()});
        });
        Record record = filled(family, kExtremes[0]);
        ASSERT_EQ(kDbOk, write(family, record));
        ASSERT_EQ(1u, heard.size());
        EXPECT_EQ(family.id, heard[0].table);
        EXPECT_EQ(tableOf<Record>().keyText(&record), heard[0].key);
        EXPECT_FALSE(heard[0].isRemoval);
        EXPECT_EQ(1u, heard[0].rows);
        if (!family.del)
            return;
        ASSERT_EQ(kDbOk, family.del(store(), record));
        ASSERT_EQ(2u, heard.size());
        EXPECT_TRUE(heard[1].isRemoval);
        EXPECT_EQ(0u, heard[1].rows);
        EXPECT_EQ(kDbFailed, family.del(store(), record));
        EXPECT_EQ(2u, heard.size());
    }
};

namespace {

struct Case {
    const char* name;
    std::function<void(StoreFamily&)> run;

    friend void PrintTo(const Case& given, std::ostream* out) { *out << given.name; }
};

template <class Record>
Case make(const char* name, Family<Record> family)
{
    return {name, [family = std::move(family)](StoreFamily& test) { test.check(family); }};
}

// An operation as a function of the store and a record, whatever form its record takes.
template <class Record>
auto byRef(unsigned (Store::*op)(Record&))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byRef(unsigned (Store::*op)(const Record&))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byValue(unsigned (Store::*op)(Record))
{
    return [op](Store& store, Record& record) { return (store.*op)(record); };
}

template <class Record>
auto byPointer(unsigned (Store::*op)(const Record*))
{
    return [op](Store& store, Record& record) { return (store.*op)(&record); };
}

template <class Record>
auto byPointer(unsigned (Store::*op)(Record*))
{
    return [op](Store& store, Record& record) { return (store.*op)(&record); };
}

template <class T>
T part(const T& number)
{
    return number;
}

template <size_t N>
const char* part(const char (&text)[N])
{
    return text;
}

const char* part(const Cphone_number& number)
{
    return number.c_str();
}

// An operation that takes the parts of the key.
template <class Record, auto... members, class Op>
auto byKey(Op op)
{
    return [op](Store& store, Record& record) { return (store.*op)(part(record.*members)...); };
}

std::vector<Case> allCases()
{
    std::vector<Case> all;
    all.push_back(make<Cdb_ext_line_info>(
        "ExtLines",
        {.table = "tbl_ext_line",
         .id = Edb_table::ExtLines,
         .columns = "extName lineType password description serverAddr serverPort authName flags destination proxyAddr "
                    "proxyPort transport uriParams timeCondId cldRefineGroup noAnsTime maxOutCalls maxDuration "
                    "nextLine maxCalls",
         .set = byRef<Cdb_ext_line_info>(&Store::DbExtLineSet),
         .get = byRef<Cdb_ext_line_info>(&Store::DbExtLineGet),
         .has = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineHas),
         .del = byKey<Cdb_ext_line_info, &Cdb_ext_line_info::extName>(&Store::DbExtLineDel),
         .map = cdb_ext_line_get_full_data}));
    all.push_back(make<Cdb_peer_server>(
        "PeerServers",
        {.table = "tbl_peer_server",
         .id = Edb_table::PeerServers,
         .columns = "sid description peerPort outCallerNbr dialPlan transport cldRefineGroup peerAddr timeCondId "
                    "maxOutCalls maxInCalls flags backupSid uriParams",
         .set = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerSet(row.sid, row); },
         .get = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerGet(row.sid, row); },
         .del = [](Store& store, Cdb_peer_server& row) { return store.DbPeerServerDel(row.sid); },
         .map = [](const Cdb_query& query,
                   Cdb_peer_server* row) { ldb_peer_server_get_full_data(query, row->sid, row); }}));
    all.push_back(make<Cdb_route_group>(
        "RouteGroups", {.table = "tbl_route_group",
                        .id = Edb_table::RouteGroups,
                        .columns = "groupID description",
                        .add = byValue<Cdb_route_group>(&Store::DbRouteGroupAdd),
                        .update = byValue<Cdb_route_group>(&Store::DbRouteGroupUpdate),
                        .get = byRef<Cdb_route_group>(&Store::DbRouteGroupGet),
                        .del = byKey<Cdb_route_group, &Cdb_route_group::groupID>(&Store::DbRouteGroupDelete),
                        .map = ldb_route_group_get_full_data}));
    all.push_back(make<Cdb_route>("Routes", {.table = "tbl_route",
                                             .id = Edb_table::Routes,
                                             .columns = "groupID routeType extLine peerServerId",
                                             .add = byValue<Cdb_route>(&Store::DbRouteAdd),
                                             .del = byValue<Cdb_route>(&Store::DbRouteDel),
                                             .map = ldb_route_get_full_data}));
    using T = Cdb_nbr_trans_data;
    all.push_back(make<T>("NbrTransitions", {.table = "tbl_nbr_trans",
                                             .id = Edb_table::NbrTransitions,
                                             .columns = "transid type startPos length digits description",
                                             .set = byRef<T>(&Store::DbNbrTransSet),
                                             .get = byRef<T>(&Store::DbNbrTransGet),
                                             .has = byKey<T, &T::transid>(&Store::DbNbrTransHas),
                                             .del = byKey<T, &T::transid>(&Store::DbNbrTransDel),
                                             .map = ldb_nbr_trans_get_full_data}));
    using Called = Cdb_nbr_cld_ana_data;
    all.push_back(make<Called>(
        "CalledAnalysis",
        {.table = "tbl_nbr_cld_ana",
         .id = Edb_table::CalledAnalysis,
         .columns = "calledPrefix routeType peerServerId calledChanged transId transOption extLine level dialPlan "
                    "maxDuration clrRefineGroup rtGroupId description serviceType",
         .set = byRef<Called>(&Store::DbNbrCldAnaSet),
         .get = byRef<Called>(&Store::DbNbrCldAnaGet),
         .has = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaHas),
         .del = byKey<Called, &Called::dialPlan, &Called::calledPrefix>(&Store::DbNbrCldAnaDel),
         .map = ldb_nbr_cld_ana_get_full_data}));
    using Caller = Cdb_nbr_clr_ana_data;
    all.push_back(make<Caller>("CallerAnalysis", {.table = "tbl_nbr_clr_ana",
                                                  .id = Edb_table::CallerAnalysis,
                                                  .columns = "callerPrefix transId dialPlan description",
                                                  .set = byRef<Caller>(&Store::DbNbrClrAnaSet),
                                                  .get = byRef<Caller>(&Store::DbNbrClrAnaGet),
                                                  .has = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaHas),
                                                  .del = byKey<Caller, &Caller::callerPrefix>(&Store::DbNbrClrAnaDel),
                                                  .map = ldb_nbr_clr_ana_get_full_data}));
    using Refined = Cdb_nbr_clr_refine_data;
    all.push_back(
        make<Refined>("CallerRefinement",
                      {.table = "tbl_nbr_clr_refine",
                       .id = Edb_table::CallerRefinement,
                       .columns = "groupID callerPrefix transId description",
                       .set = byRef<Refined>(&Store::DbNbrClrRefineSet),
                       .get = byRef<Refined>(&Store::DbNbrClrRefineGet),
                       .has = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineHas),
                       .del = byKey<Refined, &Refined::groupID, &Refined::callerPrefix>(&Store::DbNbrClrRefineDel),
                       .map = ldb_nbr_clr_refine_get_full_data}));
    using R = Cdb_nbr_cld_refine;
    all.push_back(
        make<R>("CalledRefinement", {.table = "tbl_nbr_cld_refine",
                                     .id = Edb_table::CalledRefinement,
                                     .columns = "groupID calledPrefix transId description",
                                     .add = byValue<R>(&Store::DbRefineCalledNbrAdd),
                                     .update = byValue<R>(&Store::DbRefineCalledNbrUpdate),
                                     .get = byRef<R>(&Store::DbRefineCalledNbrGet),
                                     .del = byKey<R, &R::groupID, &R::calledPrefix>(&Store::DbRefineCalledNbrDelete),
                                     .map = ldb_nbr_cld_refine_get_full_data}));
    using Time = Cdb_time_cond;
    all.push_back(
        make<Time>("TimeConditions", {.table = "tbl_time_condition",
                                      .id = Edb_table::TimeConditions,
                                      .columns = "ID description startHour startMinute endHour endMinute weekdays",
                                      .add = byRef<Time>(&Store::DbTimeConditionAdd),
                                      .update = byRef<Time>(&Store::DbTimeConditionUpdate),
                                      .get = byRef<Time>(&Store::DbTimeConditionGet),
                                      .del = byKey<Time, &Time::ID>(&Store::DbTimeConditionDel),
                                      .map = ldb_time_condition_get_full_data}));
    using Group = Cdb_hunting_group_cfg_data;
    all.push_back(make<Group>(
        "HuntingGroups", {.table = "tbl_hunting_group",
                          .id = Edb_table::HuntingGroups,
                          .columns = "groupID description strategy operatorTime isQueueOn queueCounter queueDuration",
                          .add = byRef<Group>(&Store::DbAddHuntingGroup),
                          .update = byRef<Group>(&Store::DbUpdateHuntingGroup),
                          .get = byRef<Group>(&Store::DbGetHGInfo),
                          .has = byKey<Group, &Group::groupID>(&Store::DbHasHGInfo),
                          .del = byKey<Group, &Group::groupID>(&Store::DbDelHuntingGroup),
                          .map = ldb_hg_group_get_full_data,
                          .fit = [](Group& group) { group.groupID = std::min(group.groupID, 100u); }}));
    using Operator = Cdb_hunting_group_operator_data;
    all.push_back(
        make<Operator>("HuntingOperators", {.table = "tbl_hunting_group_operator",
                                            .id = Edb_table::HuntingOperators,
                                            .columns = "operator groupID isExternal",
                                            .add = byRef<Operator>(&Store::DbAddHGOperator),
                                            .has = byKey<Operator, &Operator::operatorNbr>(&Store::DbHasOperator),
                                            .del = byKey<Operator, &Operator::operatorNbr>(&Store::DbRemoveHGOperator),
                                            .map = cdb_hg_operator_get_full_data}));
    using Detect = Cdb_hunting_group_detect_data;
    all.push_back(make<Detect>("HuntingDetection",
                               {.table = "tbl_hunting_group_detect",
                                .id = Edb_table::HuntingDetection,
                                .columns = "dialPlan calledNbr groupID",
                                .add = byRef<Detect>(&Store::DbHGAddDetect),
                                .update = byRef<Detect>(&Store::DbHGUpdateDetect),
                                .get = byRef<Detect>(&Store::DbHGGetDetect),
                                .del = byKey<Detect, &Detect::dialPlan, &Detect::calledNbr>(&Store::DbHGDelDetect),
                                .map = ldb_hg_detect_get_full_data}));
    using Member = Cdb_rg_user;
    all.push_back(make<Member>("RingUsers", {.table = "tbl_rg_user",
                                             .id = Edb_table::RingUsers,
                                             .columns = "groupID user",
                                             .add = byValue<Member>(&Store::DbRGUserAdd),
                                             .has = byValue<Member>(&Store::DbRGUserHas),
                                             .del = byValue<Member>(&Store::DbRGUserDel),
                                             .map = ldb_rg_user_get_full_data}));
    using Ring = Cdb_rg_detection;
    all.push_back(make<Ring>("RingDetection",
                             {.table = "tbl_rg_detect",
                              .id = Edb_table::RingDetection,
                              .columns = "dialPlan cldNbr name groupID",
                              .set = byValue<Ring>(&Store::DbRGDetectionSet),
                              .get = byRef<Ring>(&Store::DbRGDetectionGet),
                              .has = [](Store& store, Ring& record) { return store.DbRGDetectionHas(record.index()); },
                              .del = [](Store& store, Ring& record) { return store.DbRGDetectionDel(record.index()); },
                              .map = ldb_rg_detect_get_full_data}));
    using Ivr = Cdb_ivr_trigger_data;
    all.push_back(make<Ivr>("IvrTriggers", {.table = "tbl_ivr_trigger",
                                            .id = Edb_table::IvrTriggers,
                                            .columns = "dialPlan calledNbr name fileName",
                                            .add = byPointer<Ivr>(&Store::DbAddIVRTrigger),
                                            .update = byPointer<Ivr>(&Store::DbUpdateIVRTrigger),
                                            .get = byPointer<Ivr>(&Store::DbGetIVRTrigger),
                                            .has = byKey<Ivr, &Ivr::dialPlan, &Ivr::calledNbr>(&Store::DbHasIVRTrigger),
                                            .del = byPointer<Ivr>(&Store::DbDelIVRTrigger),
                                            .map = ldb_ivr_trigger_get_full_data}));
    using Lua = Cdb_lua_trigger;
    all.push_back(
        make<Lua>("LuaTriggers", {.table = "tbl_lua_trigger",
                                  .id = Edb_table::LuaTriggers,
                                  .columns = "DP dialPlan calledNbr name moduleName",
                                  .add = byValue<Lua>(&Store::DbLuaTriggerAdd),
                                  .update = byValue<Lua>(&Store::DbLuaTriggerUpdate),
                                  .get = byPointer<Lua>(&Store::DbLuaTriggerGet),
                                  .has = byKey<Lua, &Lua::DP, &Lua::dialPlan, &Lua::calledNbr>(&Store::DbLuaTriggerHas),
                                  .del = byValue<Lua>(&Store::DbLuaTriggerDel),
                                  .map = ldb_lua_trigger_get_full_data}));
    using Dial = Cdb_speed_dial_data;
    all.push_back(make<Dial>("SpeedDial", {.table = "tbl_speed_dial",
                                           .id = Edb_table::SpeedDial,
                                           .columns = "callerNbr dialedNbr name destination",
                                           .add = byRef<Dial>(&Store::DbAddSpeedDial),
                                           .update = byRef<Dial>(&Store::DbUpdateSpeedDial),
                                           .del = byRef<Dial>(&Store::DbDelSpeedDial),
                                           .map = ldb_speed_dial_get_full_data}));
    using Rec = Cdb_call_record;
    all.push_back(
        make<Rec>("CallRecording", {.table = "tbl_call_recording",
                                    .id = Edb_table::CallRecording,
                                    .columns = "callerNbr calledNbr name recording",
                                    .add = byValue<Rec>(&Store::DbAddCallRecord),
                                    .update = byValue<Rec>(&Store::DbUpdateCallRecord),
                                    .get = byRef<Rec>(&Store::DbCallRecordGet),
                                    .del = byKey<Rec, &Rec::callerNbr, &Rec::calledNbr>(&Store::DbCallRecordDel),
                                    .map = ldb_call_recording_get_full_data}));
    using Shop = Cdb_call_shop_fee_rate_info;
    all.push_back(make<Shop>("CallShop", {.table = "tbl_call_shop",
                                          .id = Edb_table::CallShop,
                                          .columns = "calledNbr description interval fee",
                                          .add = byPointer<Shop>(&Store::DbCallShopAdd),
                                          .update = byPointer<Shop>(&Store::DbCallShopUpdate),
                                          .del = byPointer<Shop>(&Store::DbCallShopDel),
                                          .map = [](const Cdb_query& query, Shop* record) {
                                              ldb_call_shop_get_full_data(&query, record);
                                          }}));
    using Rewrite = Cdb_clr_rewriting_info;
    all.push_back(make<Rewrite>("CallerRewriting", {.table = "tbl_clr_rewrite",
                                                    .id = Edb_table::CallerRewriting,
                                                    .columns = "callerNbr displayName isAnonymous",
                                                    .add = byPointer<Rewrite>(&Store::DbClrReWriteAdd),
                                                    .update = byPointer<Rewrite>(&Store::DbClrReWriteUpdate),
                                                    .get = byPointer<Rewrite>(&Store::DbClrReWriteGet),
                                                    .del = byPointer<Rewrite>(&Store::DbClrReWriteDel),
                                                    .map = ldb_clr_rewrite_get_full_data}));
    using Black = Cdb_sys_black_item;
    all.push_back(make<Black>("BlackList", {.table = "tbl_sys_blacklist",
                                            .id = Edb_table::BlackList,
                                            .columns = "callerNbr calledNbr name code",
                                            .add = byPointer<Black>(&Store::DbSysBlackListAdd),
                                            .update = byPointer<Black>(&Store::DbSysBlackListUpdate),
                                            .get = byRef<Black>(&Store::DbSysBlackListGet),
                                            .del = byPointer<Black>(&Store::DbSysBlackListDel),
                                            .map = ldb_sys_black_list_get_full_data,
                                            .fit = [](Black& item) { item.code = item.code == 0 ? 0 : 699; }}));
    using Ip = Cdb_ip_bwlist;
    all.push_back(make<Ip>("IpLists", {.table = "tbl_ip_bwlist",
                                       .id = Edb_table::IpLists,
                                       .columns = "ipAddr name action",
                                       .set = byRef<Ip>(&Store::DbIPBWListSet),
                                       .get = byRef<Ip>(&Store::DbIPBWListGet),
                                       .del = byKey<Ip, &Ip::ipAddr>(&Store::DbIPBWListDel),
                                       .map = ldb_ip_bwlist_get_full_data}));
    using Auth = Cdb_evt_channel_auth;
    all.push_back(make<Auth>("EventChannel", {.table = "tbl_evt_channel_auth",
                                              .id = Edb_table::EventChannel,
                                              .columns = "ipAddr",
                                              .add = byValue<Auth>(&Store::DbEvtChannelAuthAdd),
                                              .del = byKey<Auth, &Auth::ipAddr>(&Store::DbEvtChannelAuthDel),
                                              .map = ldb_evt_channel_auth_get_full_data}));
    using Callback = Cdb_cb_serv_data;
    all.push_back(make<Callback>("Callback", {.table = "tbl_callback",
                                              .id = Edb_table::Callback,
                                              .columns = "id file delay number",
                                              .set = byPointer<Callback>(&Store::DbCallbackSet),
                                              .get = byPointer<Callback>(&Store::DbCallbackGet),
                                              .isSingle = true}));
    return all;
}

} // namespace

class EveryFamily : public testing::TestWithParam<Case> {};

TEST_P(EveryFamily, KeepsItsRecords)
{
    StoreFamily store;
    GetParam().run(store);
}

INSTANTIATE_TEST_SUITE_P(Store, EveryFamily, testing::ValuesIn(allCases()),
                         [](const auto& given) { return std::string(given.param.name); });
