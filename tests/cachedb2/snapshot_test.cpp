#include "cachedb2/snapshot.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using Numbers = Snapshot<int>;

TEST(Snapshots, OldVersionsKeepWhatTheyHeld)
{
    Numbers::Builder first(nullptr);
    for (int i = 0; i < 1000; ++i)
        first.set(std::to_string(i), i);
    const auto one = first.finish();
    Numbers::Builder second(one);
    second.set("7", 700);
    second.erase("8");
    second.erase("not there");
    second.set("new", 1);
    const auto two = second.finish();

    EXPECT_EQ(1000u, one->size());
    EXPECT_EQ(7, *one->find("7"));
    EXPECT_EQ(8, *one->find("8"));
    EXPECT_EQ(nullptr, one->find("new"));
    EXPECT_EQ(1000u, two->size());
    EXPECT_EQ(700, *two->find("7"));
    EXPECT_EQ(nullptr, two->find("8"));
    EXPECT_EQ(1, *two->find("new"));
    int visited = 0;
    two->forEach([&visited](const std::string&, int) { ++visited; });
    EXPECT_EQ(1000, visited);
}

TEST(Snapshots, VersionsShareRecordsThatDidNotChange)
{
    Numbers::Builder first(nullptr);
    first.set("a", 1);
    first.set("b", 2);
    const auto one = first.finish();
    Numbers::Builder second(one);
    second.set("b", 3);
    EXPECT_EQ(one->find("a").get(), second.finish()->find("a").get());
}

TEST(Snapshots, RecordsCanBeReadInTheOrderInWhichTheyWereAdded)
{
    Numbers::Builder first(nullptr);
    for (const int number : {30, 10, 20, 40})
        first.set(std::to_string(number), number);
    const auto one = first.finish();
    Numbers::Builder second(one);
    second.set("10", 11);
    second.erase("30");
    second.set("5", 5);
    second.erase("20");
    second.set("20", 20);
    std::vector<int> numbers;
    for (const auto& number : second.finish()->inOrder())
        numbers.push_back(*number);
    EXPECT_EQ((std::vector<int>{11, 40, 5, 20}), numbers);
}

TEST(Snapshots, ReadersNeverSeeAHalfMadeVersion)
{
    SnapshotBox<Numbers> box;
    box.put(std::make_shared<const Numbers>());
    std::atomic<bool> isDone{false};
    std::atomic<int> torn{0};
    std::vector<std::jthread> readers;
    readers.reserve(3);
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            SnapshotReader reader(box);
            while (!isDone) {
                const Numbers& now = reader.now();
                const auto a = now.find("a");
                const auto b = now.find("b");
                if ((a == nullptr) != (b == nullptr) || (a && *a != *b))
                    ++torn;
            }
        });
    for (int i = 0; i < 3000; ++i) {
        Numbers::Builder builder(box.get());
        builder.set("a", i);
        builder.set("b", i);
        box.put(builder.finish());
    }
    isDone = true;
    readers.clear();
    EXPECT_EQ(0, torn);
    EXPECT_EQ(2999, *box.get()->find("a"));
}
