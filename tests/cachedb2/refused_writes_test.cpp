// A file that may not be written, or that somebody else holds.
#include "cachedb2/families.h"
#include "cachedb2/store_content.h"
#include "cachedb2/store_fixture.h"

#include <sqlite3.h>

#include <ostream>
#include <sys/stat.h>

namespace {

using families::Family;
using families::sample;
using families::Store;

// Another user of the file who holds a transaction open.
class Holder {
public:
    Holder(const std::string& file, const char* begin)
    {
        EXPECT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &_db));
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(_db, begin, nullptr, nullptr, nullptr));
    }
    ~Holder() { sqlite3_close(_db); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    sqlite3* _db = nullptr;
};

} // namespace

class RefusedWrites : public StoreFixture {
public:
    void TestBody() override {}

    // A record of every family.
    void fill()
    {
        open();
        ASSERT_EQ(kDbOk, store().DbAddUserMany(1000, 3, "p"));
        families::forEachFamily([this]<class Record>(const char* name, const Family<Record>& family) {
            ASSERT_EQ(kDbOk, families::write(family, store(), sample(family, 1, "old"))) << name;
        });
    }

    // Every operation that writes. `most`: as many of them at most.
    template <class Record>
    void expectRefused(const Family<Record>& family, int most)
    {
        Record fresh = sample(family, 2, "new");
        Record changed = sample(family, 1, "new");
        const std::pair<std::function<unsigned(Store&, Record&)>, Record*> writes[] = {
            {family.add, &fresh}, {family.set, &changed}, {family.update, &changed}, {family.del, &changed}};
        int tried = 0;
        for (const auto& [run, record] : writes)
            if (run && tried < most) {
                ++tried;
                EXPECT_EQ(kDbFailed, run(store(), *record));
            }
        EXPECT_GT(tried, 0);
        if (family.get) {
            Record read = sample(family, 1, "");
            EXPECT_EQ(kDbOk, family.get(store(), read));
        }
    }

    template <class Record>
    void checkHeld(const Family<Record>& family, const char* begin)
    {
        fill();
        const StoreContent before = contentOf(store());
        {
            const Holder other(path("config.db").string(), begin);
            takeLog();
            expectRefused(family, 1); // each waits as long as a commit of another program may last
            EXPECT_EQ(1u, takeLog().size());
            EXPECT_EQ(before, contentOf(store()));
            EXPECT_EQ(before, contentOf(path("config.db")));
            Cdb_query query(store().GetCacheDB());
            EXPECT_EQ(kDbOk, query.prepare("select * from tbl_local_users"));
            EXPECT_EQ(kDbRow, query.step());
        }
        Record record = sample(family, family.isSingle ? 1 : 2, "new");
        EXPECT_EQ(kDbOk, families::write(family, store(), record));
        EXPECT_NE(before, contentOf(store()));
        EXPECT_EQ(contentOf(store()), contentOf(path("config.db")));
    }

    void checkReadOnly()
    {
        fill();
        const StoreContent before = contentOf(store());
        close();
        takeLog();
        {
            const WithoutRoot nobody(folder());
            for (const char* mode : {"file", "folder and file"}) {
                SCOPED_TRACE(mode);
                ASSERT_EQ(0, chmod(path("config.db").c_str(), 0400));
                ASSERT_EQ(0, chmod(homeFolder().c_str(), std::string(mode) == "file" ? 0700 : 0500));
                open();
                if (store().isOpen()) {
                    EXPECT_EQ(before, contentOf(store()));
                    families::forEachFamily([this]<class Record>(const char* name, const Family<Record>& family) {
                        SCOPED_TRACE(name);
                        expectRefused(family, 4);
                    });
                    EXPECT_EQ(kDbFailed, store().DbSetLocalUserData(user("new")));
                    EXPECT_EQ(kDbFailed, store().DbAddUserMany(1, 10, "p"));
                    EXPECT_EQ(before, contentOf(store()));
                }
                EXPECT_FALSE(takeLog().empty());
                EXPECT_EQ(0, countFiles("config.db."));
                close();
                ASSERT_EQ(0, chmod(homeFolder().c_str(), 0700));
            }
            ASSERT_EQ(0, chmod(path("config.db").c_str(), 0600));
            open();
            EXPECT_EQ(before, contentOf(store()));
            EXPECT_EQ(kDbOk, store().DbSetLocalUserData(user("new")));
            close();
        }
    }
};

TEST(ReadOnlyFile, RefusesEveryWriteAndKeepsItsContent)
{
    RefusedWrites store;
    store.checkReadOnly();
}

namespace {

struct Held {
    const char* name;
    std::function<void(RefusedWrites&)> run;

    friend void PrintTo(const Held& given, std::ostream* out) { *out << given.name; }
};

// Both ways to hold a file, by turns.
std::vector<Held> allHeld()
{
    std::vector<Held> all;
    families::forEachFamily([&all]<class Record>(const char* name, const Family<Record>& family) {
        const char* begin = all.size() % 2 == 0 ? "begin immediate" : "begin exclusive";
        all.push_back({name, [family, begin](RefusedWrites& test) { test.checkHeld(family, begin); }});
    });
    return all;
}

} // namespace

class HeldFile : public testing::TestWithParam<Held> {};

TEST_P(HeldFile, RefusesAWriteAndTakesTheNextOneWhenItIsFree)
{
    RefusedWrites store;
    GetParam().run(store);
}

INSTANTIATE_TEST_SUITE_P(Store, HeldFile, testing::ValuesIn(allHeld()),
                         [](const auto& given) { return std::string(given.param.name); });
