// Every record of the store goes through the same steps.
#include "bcl2/text.h"
#include "cachedb2/column_checks.h"
#include "cachedb2/families.h"
#include "cachedb2/store_fixture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <ostream>

namespace {

using families::Family;
using families::put;

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
        for (const families::Values& values : families::kAllValues)
            checkValues(family, values);
        checkMapper(family);
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
        return std::memcmp(static_cast<const void*>(&a), static_cast<const void*>(&b), sizeof(Record)) == 0;
    }

    // No two fields of a record are equal; zero stays zero.
    static int64_t moved(int64_t number, uint64_t position)
    {
        return number == 0 ? 0 : static_cast<int64_t>(static_cast<uint64_t>(number) + 3 * position);
    }

    template <class Record>
    static Record filled(const Family<Record>& family, const Extreme& extreme)
    {
        Record record;
        uint64_t position = 0;
        for (const FieldDesc& field : tableOf<Record>().fields()) {
            const std::string name = field.column;
            if (!field.isKey)
                put(field, &record, extreme.text.empty() ? "" : name + extreme.text, moved(extreme.number, position));
            else if (!family.isSingle)
                put(field, &record, std::to_string(position) + extreme.key, moved(extreme.keyNumber, position));
            ++position;
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
        EXPECT_EQ(namesOf(family.columns), sql(path("config.db"), std::string("select group_concat(name, ' ') from"
                                                                              " pragma_table_info('") +
                                                                      family.table + "')"));
        const Record fresh;
        families::expectDescribed(family.columns, tableOf<Record>().fields(), &fresh);
    }

    // Each column by its name, and each member after the store's own reading.
    template <class Record>
    void checkValues(const Family<Record>& family, const families::Values& values)
    {
        SCOPED_TRACE(values.name);
        Record record = families::recordOf<Record>(family.columns, values);
        ASSERT_EQ(kDbOk, write(family, record));
        open();
        checkStored(family, record);
        store().rows<Record>().get()->forEach([&](const std::string&, const Record& read) {
            families::expectStored(family.columns, values, &read, [&](const char* column) {
                return sql(path("config.db"), std::string("select ") + column + " from " + family.table);
            });
        });
        if (family.del) {
            EXPECT_EQ(kDbOk, family.del(store(), record));
        }
    }

    // Without a row, or with fewer columns, the record stays as it is.
    template <class Record>
    void checkMapper(const Family<Record>& family)
    {
        if (!family.map)
            return;
        Record stored = families::sample(family, 1, "stored");
        ASSERT_EQ(kDbOk, write(family, stored));
        const Record kept = families::sample(family, 2, "kept");
        Record record = kept;
        Cdb_query whole(store().GetCacheDB());
        family.map(whole, &record); // nothing is prepared
        EXPECT_TRUE(same(kept, record));
        ASSERT_EQ(kDbOk, whole.prepare((std::string("select * from ") + family.table).c_str()));
        family.map(whole, &record); // no step is made
        EXPECT_TRUE(same(kept, record));
        ASSERT_EQ(kDbRow, whole.step());
        ASSERT_NE(kDbRow, whole.step());
        family.map(whole, &record); // the rows are at their end
        EXPECT_TRUE(same(kept, record));
        if (family.columns.size() > 1) {
            const std::string names = fewerColumns(family.columns);
            Cdb_query part(store().GetCacheDB());
            ASSERT_EQ(kDbOk, part.prepare(("select " + names + " from " + family.table).c_str()));
            ASSERT_EQ(kDbRow, part.step());
            family.map(part, &record);
            EXPECT_TRUE(same(kept, record)) << names;
        }
        EXPECT_EQ(kDbOk, family.del(store(), stored));
    }

    // All but the last.
    static std::string fewerColumns(const families::Columns& columns)
    {
        std::string names;
        for (size_t i = 0; i + 1 < columns.size(); ++i)
            names += (i == 0 ? "" : ", ") + std::string(columns[i].name);
        return names;
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
        for (size_t i = 0; i < family.columns.size(); ++i) {
            const families::Column& column = family.columns[i];
            const FieldDesc& field = tableOf<Record>().fields()[i];
            if (!column.isKey)
                continue;
            SCOPED_TRACE(column.name);
            Record record = filled(family, kExtremes[1]);
            column.write(&record, column.isText() ? "" : "0");
            if (family.fit && column.mayBeEmpty)
                family.fit(record);
            EXPECT_EQ(column.mayBeEmpty ? kDbOk : kDbFailed, write(family, record));
            EXPECT_EQ(column.mayBeEmpty ? kDbOk : kDbFailed, family.del(store(), record));
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

std::vector<Case> allCases()
{
    std::vector<Case> all;
    families::forEachFamily([&all](const char* name, const auto& family) { all.push_back(make(name, family)); });
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
