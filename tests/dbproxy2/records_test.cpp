// Every record goes through the same steps, on both engines.
#include "bcl2/text.h"
#include "dbproxy2/proxy.h"
#include "dbproxy2/remote_fixture.h"
#include "remote_table.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <limits>
#include <thread>

namespace {

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

const std::array<Extreme, 8> kExtremes = {{
    {"", 0, "a", 1},
    {"a", 1, "o'neill", 2},
    {std::string(600, 'x'), -1, std::string(32, 'x'), -1},
    {std::string(300, 'x') + "é", std::numeric_limits<int64_t>::max(), repeated("é", 16), 0x7f7f7f7f},
    {repeated("漢", 300), std::numeric_limits<int64_t>::min(), "漢字", 100},
    {"'; drop table tbl_booking; -- \" %s %n ` \\ \t", 0x0102030405060708, "';delete from tbl_disa_account;--%s", 77},
    {"\\' or 1=1 #", 2147483647, "\\", 3},
    {"\xff\xfe no UTF-8 \x80", -2147483648LL, "?", 4},
}};

template <class Record>
bool same(const Record& a, const Record& b)
{
    return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

void put(const FieldDesc& field, void* record, const std::string& text, int64_t number)
{
    if (field.type == FieldType::Text)
        setFieldText(field, record, text);
    else
        setFieldNumber(field, record, number);
}

template <class Record>
Record filled(const Extreme& extreme)
{
    Record record;
    for (const FieldDesc& field : remoteTableOf<Record>().fields())
        put(field, &record, field.isKey ? extreme.key : extreme.text, field.isKey ? extreme.keyNumber : extreme.number);
    return record;
}

template <class Record>
Record keyOnly(const Record& record)
{
    Record key;
    Record source = record;
    for (const FieldDesc& field : remoteTableOf<Record>().fields())
        if (field.isKey)
            std::memcpy(field.at(&key), field.at(&source), field.size);
    return key;
}

} // namespace

class RemoteRecords : public OnEachEngine {
protected:
    template <class Record>
    void check()
    {
        SCOPED_TRACE(remoteTableOf<Record>().name());
        unsigned count = 0;
        for (const Extreme& extreme : kExtremes) {
            SCOPED_TRACE(extreme.key);
            checkRoundTrip(filled<Record>(extreme), count++);
        }
        EXPECT_EQ(kExtremes.size(), remote().template count<Record>());
        for (const Extreme& extreme : kExtremes)
            EXPECT_EQ(kDbOk, remote().del(keyOnly(filled<Record>(extreme))));
        EXPECT_EQ(0u, remote().template count<Record>());
        checkBadKeys<Record>();
    }

private:
    template <class Record>
    void checkRoundTrip(const Record& record, unsigned count)
    {
        const Record key = keyOnly(record);
        Record read = key;
        EXPECT_EQ(kDbFailed, remote().get(read));
        EXPECT_TRUE(same(key, read)) << "a failing get changes nothing";
        EXPECT_EQ(0u, remote().has(key));
        EXPECT_EQ(kDbFailed, remote().del(key));

        EXPECT_EQ(kDbOk, remote().add(record));
        EXPECT_EQ(kDbFailed, remote().add(key)) << "there is one already";
        EXPECT_EQ(count + 1, remote().template count<Record>());
        EXPECT_EQ(kDbHas, remote().has(key));
        ASSERT_EQ(kDbOk, remote().get(read));
        EXPECT_TRUE(same(record, read));

        EXPECT_EQ(kDbOk, remote().set(key)) << "replaces";
        EXPECT_EQ(kDbOk, remote().set(key)) << "a set that changes nothing is no failure";
        read = record;
        ASSERT_EQ(kDbOk, remote().get(read));
        EXPECT_TRUE(same(key, read));
        EXPECT_EQ(kDbOk, remote().del(key));
        EXPECT_EQ(kDbFailed, remote().del(key));
        EXPECT_EQ(kDbOk, remote().set(record)) << "adds";
        ASSERT_EQ(kDbOk, remote().get(read));
        EXPECT_TRUE(same(record, read));
    }

    template <class Record>
    void checkBadKeys()
    {
        for (const FieldDesc& bad : remoteTableOf<Record>().fields()) {
            if (!bad.isKey)
                continue;
            Record record = filled<Record>(kExtremes[0]);
            if (bad.type != FieldType::Text) {
                setFieldNumber(bad, &record, 0);
                expectRefused(record);
                continue;
            }
            for (const std::string& text : {std::string(), std::string("a\nb"), std::string("\x7f")}) {
                setFieldText(bad, &record, text);
                expectRefused(record);
            }
            std::memset(bad.at(&record), 'x', bad.size); // no end
            expectRefused(record);
        }
        EXPECT_TRUE(takeLog().empty());
    }

    template <class Record>
    void expectRefused(Record record)
    {
        EXPECT_EQ(kDbFailed, remote().add(record));
        EXPECT_EQ(kDbFailed, remote().set(record));
        EXPECT_EQ(kDbFailed, remote().get(record));
        EXPECT_EQ(kDbFailed, remote().del(record));
        EXPECT_EQ(0u, remote().has(record));
        EXPECT_EQ(0u, remote().template count<Record>());
    }
};

TEST_P(RemoteRecords, AreKeptAsTheyAre)
{
    check<Ctbl_disa_account>();
    check<Ctbl_disa_caller_id>();
    check<Ctbl_prepaid_rate>();
    check<Ctbl_sub_balance>();
    check<Ctbl_caller_prepaid>();
    check<Ctbl_callingcard_fee_matrix>();
    check<Ctbl_callingcard_balance>();
    EXPECT_TRUE(takeLog().empty());
}

// Case, blanks at the end, accents and umlauts make different keys.
TEST_P(RemoteRecords, HaveKeysThatCompareByteByByte)
{
    const std::vector<std::string> keys = {"a",  "A", "a ", " a", "ä", "a\xcc\x88", "Ä", "ae",
                                           "ss", "ß", "e",  "é",  "É", "١",         "1"};
    for (const std::string& key : keys) {
        Ctbl_sub_balance record;
        BclCopyStr(record.cSubName, key.c_str());
        EXPECT_EQ(kDbOk, remote().add(record)) << key;
    }
    EXPECT_EQ(keys.size(), remote().count<Ctbl_sub_balance>());

    std::vector<std::string> ordered = keys;
    std::sort(ordered.begin(), ordered.end());
    Cdb_proxy page(&remote());
    ASSERT_EQ(kDbOk, page.query("select cSubName, nBalance from tbl_sub_balance order by cSubName limit 0, 50"));
    for (const std::string& key : ordered) {
        EXPECT_EQ(kDbOk, page.fetchRow());
        EXPECT_EQ(key, page.getRow(0));
    }
    EXPECT_EQ(kDbFailed, page.fetchRow());
}

TEST_P(RemoteRecords, ShowTheirDefaults)
{
    const Ctbl_callingcard_balance card;
    EXPECT_EQ(1u, card.nMaxCalls);
    EXPECT_EQ(0u, card.nDialPlanInd);
    Ctbl_callingcard_balance stored = card;
    BclCopyStr(stored.cCard, "77");
    stored.setDialPlanInd();
    stored.nBalance = -5;
    ASSERT_EQ(kDbOk, remote().set(stored));
    EXPECT_EQ("1", sql("select nDialPlanInd from tbl_callingcard_balance"));
    EXPECT_EQ("-5", sql("select nBalance from tbl_callingcard_balance"));
    EXPECT_EQ("1", sql("select nMaxCalls from tbl_callingcard_balance"));
}

TEST_P(RemoteRecords, KeepOneFieldOfWhatIsStored)
{
    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "77");
    card.nBalance = 500;
    ASSERT_EQ(kDbOk, remote().setKeeping(card, &Ctbl_callingcard_balance::nBalance)) << "adds";
    EXPECT_EQ("500", sql("select nBalance from tbl_callingcard_balance"));
    ASSERT_EQ(kDbOk, remote().debit({Ebalance_kind::CallingCard, "77"}, 180));
    BclCopyStr(card.cPin, "1234");
    ASSERT_EQ(kDbOk, remote().setKeeping(card, &Ctbl_callingcard_balance::nBalance));
    EXPECT_EQ(320, card.nBalance);
    EXPECT_EQ("320", sql("select nBalance from tbl_callingcard_balance"));
    EXPECT_EQ("1234", sql("select cPin from tbl_callingcard_balance"));
    BclCopyStr(card.cCard, "");
    EXPECT_EQ(kDbFailed, remote().setKeeping(card, &Ctbl_callingcard_balance::nBalance));
}

TEST_P(RemoteRecords, KeepAFieldThatOthersChangeAllTheTime)
{
    constexpr int kCents = 100;
    Ctbl_callingcard_balance card;
    BclCopyStr(card.cCard, "77");
    card.nBalance = kCents;
    ASSERT_EQ(kDbOk, remote().set(card));
    std::atomic<bool> isSpent = false;
    std::thread calls([this, &isSpent] {
        for (int i = 0; i < kCents; ++i)
            sql("update tbl_callingcard_balance set nBalance=nBalance-1");
        isSpent = true;
    });
    unsigned kept = 0;
    while (!isSpent) {
        ++card.nMaxCalls;
        kept += remote().setKeeping(card, &Ctbl_callingcard_balance::nBalance) == kDbOk ? 1 : 0;
        // A file has no queue for those who want to write.
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    calls.join();
    EXPECT_GT(kept, 0u);
    EXPECT_EQ("0", sql("select nBalance from tbl_callingcard_balance"));
}

INSTANTIATE_TEST_SUITE_P(Engines, RemoteRecords, testing::Values(Engine::Embedded, Engine::MariaDb), engineName);
