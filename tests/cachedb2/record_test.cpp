#include "bcl2/text.h"
#include "cachedb2/column_checks.h"
#include "cachedb2/registrations.h"
#include "cachedb2/store_fixture.h"
#include "tables.h"

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <set>

namespace {

template <class Record>
bool sameBytes(const Record& a, const Record& b)
{
    return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

template <class Record>
std::set<std::string> changedColumns(const Table& table, Record& a, Record& b)
{
    std::set<std::string> columns;
    for (const FieldDesc& field : table.fields())
        if (std::memcmp(field.at(&a), field.at(&b), field.size) != 0)
            columns.insert(field.column);
    return columns;
}

// Every field of a record at one kind of extreme value; the key is kept.
template <class Record>
void fill(const Table& table, Record& record, const std::string& text, int64_t number)
{
    for (const FieldDesc& field : table.fields()) {
        void* at = field.at(&record);
        switch (field.type) {
        case FieldType::Text:
            if (!field.isKey)
                BclCopyText(static_cast<char*>(at), field.size, text, field.size);
            break;
        default:
            if (!field.isKey)
                std::memcpy(at, &number, field.size); // little endian: the low bytes
        }
    }
}

const std::array<std::pair<std::string, int64_t>, 6> kExtremes = {{
    {"", 0},
    {"a", 1},
    {std::string(600, 'x'), -1},
    {std::string(300, 'x') + "é", std::numeric_limits<int64_t>::max()},
    {[] {
         std::string text;
         for (int i = 0; i < 300; ++i)
             text += "漢";
         return text;
     }(),
     std::numeric_limits<int64_t>::min()},
    {"'; drop table tbl_local_users; -- \" %s %n ` \\ \t", 0x0102030405060708},
}};

using families::i32;
using families::text;
using families::u16;
using families::u32;
using families::u8;
using User = Cdb_usr_info;
using System = Cdb_sys_data;
using Settings = Cdb_settings;

const families::Columns kUserColumns = {
    text<&User::usrName>("usrName", 32).key(),
    text<&User::password>("password", 32),
    text<&User::description>("description", 64),
    text<&User::dispName>("dispName", 32),
    text<&User::email>("email", 64),
    u32<&User::flags>("flags").def(0x804480),
    i32<&User::pickupGroup>("pickupGroup"),
    u8<&User::callWaitingLimit>("callWaitingLimit").def(1),
    u32<&User::noAnsTime>("noAnsTime"),
    text<&User::extLine>("extLine", 32),
    i32<&User::maxDuration>("maxDuration"),
    i32<&User::maxCalls>("maxCalls"),
    i32<&User::maxOutCalls>("maxOutCalls"),
    text<&User::dialPlan>("dialPlan", 32).def("default"),
    u32<&User::expiryDate>("expiryDate"),
    u32<&User::timeCondId>("timeCondId"),
    u32<&User::levels>("levels").def(0x7e),
    i32<&User::maxConfParties>("maxConfParties").def(10),
    text<&User::cfuNbr>("cfuNbr", 32),
    text<&User::cfncNbr>("cfncNbr", 32),
    text<&User::cfbNbr>("cfbNbr", 32),
    text<&User::cfnaNbr>("cfnaNbr", 32),
    u8<&User::followMeType>("followMeType").def(1),
    u8<&User::followMeTime>("followMeTime").def(20),
    text<&User::followMeNbr1>("followMeNbr1", 32),
    text<&User::followMeNbr2>("followMeNbr2", 32),
    text<&User::followMeNbr3>("followMeNbr3", 32),
    text<&User::ipAddr>("ipAddr", 64),
    u32<&User::ipPort>("ipPort"),
};

const families::Columns kSystemColumns = {
    u8<&System::id>("id").key().def(1).within(1, 1),
    text<&System::evtChannelPassword>("evtChannelPassword", 32),
    i32<&System::rtpPortFirst>("rtpPortFirst").def(10000),
    i32<&System::rtpPortLast>("rtpPortLast").def(19999),
    u32<&System::evtChannelPort>("evtChannelPort"),
    u8<&System::isUpnp>("isUpnp"),
    text<&System::localAddr>("localAddr", 64),
    text<&System::publicAddr>("publicAddr", 64),
    text<&System::sipDomain>("sipDomain", 64),
    i32<&System::udpPort>("udpPort").def(5060),
    u16<&System::tcpPort>("tcpPort").def(5060),
    u16<&System::tlsPort>("tlsPort"),
    text<&System::realm>("realm", 64).def("parlovex"),
    u8<&System::servicePrefix>("servicePrefix").def('*'),
    u8<&System::defaultRoute>("defaultRoute"),
    u8<&System::callFlags>("callFlags").def(106),
    text<&System::stunAddr1>("stunAddr1", 64),
    i32<&System::stunPort1>("stunPort1").def(3478),
    text<&System::stunAddr2>("stunAddr2", 64),
    i32<&System::stunPort2>("stunPort2").def(3478),
    text<&System::dbAddr>("dbAddr", 64).def("local"),
    i32<&System::dbPort>("dbPort"),
    text<&System::dbUser>("dbUser", 79),
    text<&System::dbPassword>("dbPassword", 79),
    text<&System::dbName>("dbName", 64),
    text<&System::smtpAddr>("smtpAddr", 64),
    text<&System::smtpUser>("smtpUser", 79),
    text<&System::smtpPassword>("smtpPassword", 79),
    u8<&System::isSmtpTls>("isSmtpTls"),
    text<&System::learnedAddr>("learnedAddr", 64),
};

const families::Columns kSettingsColumns = {
    u8<&Settings::id>("id").key().def(1).within(1, 1),
    u32<&Settings::annLang>("annLang"),
    u32<&Settings::vmsMode>("vmsMode"),
};

} // namespace

class Record : public StoreFixture {};

TEST_F(Record, OfAUserResetsToItsDefaults)
{
    const Cdb_usr_info user;
    EXPECT_EQ(0x804480u, user.flags);
    EXPECT_EQ(0x7eu, user.levels.value());
    EXPECT_EQ(1, user.callWaitingLimit);
    EXPECT_EQ(1, user.followMeType);
    EXPECT_EQ(20, user.followMeTime);
    EXPECT_EQ(10, user.maxConfParties);
    EXPECT_STREQ("default", user.dialPlan);
    EXPECT_STREQ("", user.usrName);
    EXPECT_EQ(0u, user.noAnsTime);
    EXPECT_EQ(0u, user.expiryDate);
    EXPECT_EQ(0, user.usrStage);
}

TEST_F(Record, OfTheSystemResetsToItsDefaults)
{
    const Cdb_sys_data system;
    EXPECT_EQ(10000, system.rtpPortFirst);
    EXPECT_EQ(19999, system.rtpPortLast);
    EXPECT_EQ(5060, system.udpPort);
    EXPECT_EQ(5060, system.tcpPort);
    EXPECT_EQ(0, system.tlsPort);
    EXPECT_EQ(3478, system.stunPort1);
    EXPECT_EQ(3478, system.stunPort2);
    EXPECT_EQ(106, system.callFlags);
    EXPECT_EQ('*', system.servicePrefix);
    EXPECT_STREQ("parlovex", system.realm);
    EXPECT_STREQ("local", system.dbAddr);
    EXPECT_EQ(0u, system.evtChannelPort);
}

TEST_F(Record, EqualRecordsHaveEqualBytesWhateverLayInTheMemoryBefore)
{
    const auto check = []<class Type>(std::type_identity<Type>) {
        alignas(Type) std::array<unsigned char, sizeof(Type)> first;
        alignas(Type) std::array<unsigned char, sizeof(Type)> second;
        first.fill(0xaa);
        second.fill(0x55);
        new (first.data()) Type();
        new (second.data()) Type();
        EXPECT_EQ(first, second);
    };
    check(std::type_identity<Cdb_usr_info>());
    check(std::type_identity<Cdb_sys_data>());
    check(std::type_identity<Cdb_sip_reg>());
    check(std::type_identity<Cdb_sip_contact>());
}

TEST_F(Record, TextThatWasLongerLeavesNoTailBehind)
{
    Cdb_usr_info used = user("1000");
    BclCopyStr(used.description, "a long description that goes away");
    used.SetCFUNbr("0123456789");
    BclCopyStr(used.description, "short");
    used.ClrCFUNbr();
    Cdb_usr_info fresh = user("1000");
    BclCopyStr(fresh.description, "short");
    EXPECT_TRUE(sameBytes(used, fresh));
}

TEST_F(Record, EveryFieldOfAUserComesBackFromTheStoreByteForByte)
{
    open();
    for (const auto& [text, number] : kExtremes) {
        Cdb_usr_info written = user("1000");
        fill(localUsersTable(), written, text, number);
        ASSERT_EQ(kDbOk, store().DbSetLocalUserData(written));
        open();
        Cdb_usr_info read;
        ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
        EXPECT_TRUE(sameBytes(written, read)) << "text \"" << text.substr(0, 20) << "\", number " << number;
        EXPECT_EQ(1u, store().DbGetUsrCnt());
    }
}

TEST_F(Record, EveryFieldOfTheSystemComesBackFromTheStoreByteForByte)
{
    open();
    for (const auto& [text, number] : kExtremes) {
        Cdb_sys_data written;
        fill(systemTable(), written, text, number);
        ASSERT_EQ(kDbOk, store().DbSetSysData(written));
        open();
        ASSERT_NE(nullptr, store().DbGetSysTbl());
        EXPECT_TRUE(sameBytes(written, static_cast<const Cdb_sys_data&>(*store().DbGetSysTbl())));
        EXPECT_TRUE(sameBytes(written, *store().system().get()));
    }
}

TEST_F(Record, ColumnsOfAUserAreThoseOfItsMembers)
{
    open();
    const User fresh;
    families::expectDescribed(kUserColumns, localUsersTable().fields(), &fresh);
    for (const families::Values& values : families::kAllValues) {
        SCOPED_TRACE(values.name);
        const auto written = families::recordOf<User>(kUserColumns, values);
        ASSERT_EQ(kDbOk, store().DbSetLocalUserData(written));
        open();
        User read;
        ASSERT_EQ(kDbOk, store().DbGetUsrInfo(written.usrName, read));
        families::expectStored(kUserColumns, values, &read, [this](const char* column) {
            return sql(path("config.db"), std::string("select ") + column + " from tbl_local_users");
        });
        EXPECT_EQ(kDbOk, store().DbDelUsrInfo(written.usrName));
    }
}

TEST_F(Record, ColumnsOfTheSystemAreThoseOfItsMembers)
{
    open();
    const System fresh;
    families::expectDescribed(kSystemColumns, systemTable().fields(), &fresh);
    for (const families::Values& values : families::kAllValues) {
        SCOPED_TRACE(values.name);
        ASSERT_EQ(kDbOk, store().DbSetSysData(families::recordOf<System>(kSystemColumns, values)));
        open();
        families::expectStored(kSystemColumns, values, store().system().get().get(), [this](const char* column) {
            return sql(path("config.db"), std::string("select ") + column + " from tbl_system");
        });
    }
}

TEST_F(Record, ColumnsOfTheSettingsAreThoseOfTheirMembers)
{
    open();
    const Settings fresh;
    families::expectDescribed(kSettingsColumns, tableOf<Settings>().fields(), &fresh);
    for (const families::Values& values : families::kAllValues) {
        SCOPED_TRACE(values.name);
        const auto written = families::recordOf<Settings>(kSettingsColumns, values);
        ASSERT_EQ(kDbOk, store().DbSetSrfAnnLang(written.annLang));
        ASSERT_EQ(kDbOk, store().DbSetVmsMode(written.vmsMode));
        const Settings read = *store().rows<Settings>().get()->inOrder().front();
        families::expectStored(kSettingsColumns, values, &read, [this](const char* column) {
            return sql(path("config.db"), std::string("select ") + column + " from tbl_settings");
        });
        EXPECT_EQ(written.annLang, store().DbGetSrfAnnLang());
        EXPECT_EQ(written.vmsMode, store().DbGetVmsMode());
    }
}

TEST_F(Record, TextWithoutAnEndIsCutAtItsField)
{
    open();
    Cdb_usr_info written = user("1000");
    std::memset(written.description, 'd', sizeof written.description);
    std::memset(written.password, 'p', sizeof written.password);
    ASSERT_EQ(kDbOk, store().DbSetLocalUserData(written));
    Cdb_usr_info read;
    ASSERT_EQ(kDbOk, store().DbGetUsrInfo("1000", read));
    EXPECT_EQ(std::string(64, 'd'), read.description);
    EXPECT_EQ(std::string(32, 'p'), read.password);
}

TEST_F(Record, VersionedResetsOfAUserTouchOnlyTheirFields)
{
    Cdb_usr_info plain = user("1000");
    fill(localUsersTable(), plain, "text", 77);
    Cdb_usr_info reset = plain;
    reset.InitV8();
    EXPECT_EQ(std::set<std::string>{"callWaitingLimit"}, changedColumns(localUsersTable(), plain, reset));
    reset = plain;
    reset.InitV13();
    EXPECT_EQ((std::set<std::string>{"followMeType", "followMeTime", "followMeNbr1", "followMeNbr2", "followMeNbr3"}),
              changedColumns(localUsersTable(), plain, reset));
    EXPECT_EQ(1, reset.followMeType);
    EXPECT_EQ(20, reset.followMeTime);
}

TEST_F(Record, SavingTheSystemGroupByGroupKeepsWhatWasWrittenBefore)
{
    // The settings dialog resets a group just before it writes it, and must not lose what it has written already.
    const std::array<std::pair<void (Cdb_sys_data::*)(), std::set<std::string>>, 8> steps = {{
        {&Cdb_sys_data::InitV18, {"evtChannelPort"}},
        {&Cdb_sys_data::InitV24, {"isUpnp"}},
        {&Cdb_sys_data::InitV17, {"dbAddr", "dbPort"}},
        {&Cdb_sys_data::InitV11, {"dbUser", "dbPassword"}},
        {&Cdb_sys_data::InitV14, {"dbName"}},
        {&Cdb_sys_data::InitV15, {"smtpAddr", "smtpUser", "smtpPassword"}},
        {&Cdb_sys_data::InitV16, {"isSmtpTls", "defaultRoute"}},
        {&Cdb_sys_data::InitV13, {"learnedAddr"}},
    }};
    std::set<std::string> seen;
    for (const auto& [reset, columns] : steps) {
        Cdb_sys_data plain;
        fill(systemTable(), plain, "text", 77);
        Cdb_sys_data changed = plain;
        (changed.*reset)();
        EXPECT_EQ(columns, changedColumns(systemTable(), plain, changed));
        for (const std::string& column : columns)
            EXPECT_TRUE(seen.insert(column).second) << column << " lies in two groups";
    }
}

TEST_F(Record, NoAnswerTimeBelowFiveSecondsBecomesFive)
{
    for (const auto& [set, refined] : {std::pair{0u, 0u}, {1u, 5u}, {4u, 5u}, {5u, 5u}, {3599u, 3599u}}) {
        Cdb_usr_info record;
        record.noAnsTime = set;
        record.refineNoAnsTimer();
        EXPECT_EQ(refined, record.noAnsTime);
    }
}

TEST_F(Record, BlankRealmIsTheDefaultRealm)
{
    Cdb_sys_data system;
    system.SetRealm("office.example");
    EXPECT_STREQ("office.example", system.realm);
    for (const char* blank : {"", "  \t", static_cast<const char*>(nullptr)}) {
        system.SetRealm(blank);
        EXPECT_STREQ("parlovex", system.realm);
    }
    system.SetRealm(std::string(200, 'r').c_str());
    EXPECT_EQ(std::string(64, 'r'), system.realm);
}
