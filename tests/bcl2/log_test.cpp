#include "bcl2/log.h"

#include "bcl2/event_bus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The log opens once a process: each of these tests needs a process of its own, which ctest gives it.

namespace {

// Subscribed to the log; the lines in the order in which they came.
class Reader {
public:
    Reader() { BclSubEvent(kBclLogEvent, this, &Reader::read); }
    [[nodiscard]] std::vector<std::string> lines()
    {
        const std::lock_guard lock(_mutex);
        return _lines;
    }

private:
    static void read(void* context, void* text, void* none)
    {
        auto* reader = static_cast<Reader*>(context);
        const std::lock_guard lock(reader->_mutex);
        EXPECT_EQ(none, nullptr);
        reader->_lines.emplace_back(static_cast<const char*>(text));
    }
    std::mutex _mutex;
    std::vector<std::string> _lines;
};

using Lines = std::vector<std::string>;

} // namespace

TEST(Log, keepsLinesInOrderUntilItIsOpen)
{
    Reader& reader = *new Reader;
    BclLog("first %d", 1);
    BclLog("second %s", "two");
    EXPECT_TRUE(reader.lines().empty());
    BclOpenLog();
    EXPECT_EQ(reader.lines(), (Lines{"first 1", "second two"}));
    BclLog("third");
    EXPECT_EQ(reader.lines(), (Lines{"first 1", "second two", "third"}));
    BclOpenLog();
    EXPECT_EQ(reader.lines().size(), 3u);
}

TEST(Log, keepsTheFirstHundredLinesAndCountsTheRest)
{
    Reader& reader = *new Reader;
    Lines expected;
    for (int i = 0; i < 142; ++i) {
        BclLog("line %d", i);
        if (i < 100)
            expected.push_back("line " + std::to_string(i));
    }
    BclOpenLog();
    BclLog("after");
    expected.emplace_back("42 log lines were dropped: too many came before the log was open");
    expected.emplace_back("after");
    EXPECT_EQ(reader.lines(), expected);
}

TEST(Log, dropsNothingAtExactlyAHundred)
{
    Reader& reader = *new Reader;
    for (int i = 0; i < 100; ++i)
        BclLog("line %d", i);
    BclOpenLog();
    const Lines lines = reader.lines();
    ASSERT_EQ(lines.size(), 100u);
    EXPECT_EQ(lines.back(), "line 99");
}

TEST(Log, aLineIsOneLine)
{
    Reader& reader = *new Reader;
    BclOpenLog();
    BclLog("User-Agent %s", "<h1>\r\nforged\x1b[2J\xff");
    BclLog("%s", std::string(5000, 'x').c_str());
    BclLog("%s\xE2\x82\xAC", std::string(1023, 'x').c_str());
    EXPECT_EQ(reader.lines(), (Lines{"User-Agent <h1>\\x0D\\x0Aforged\\x1B[2J\xEF\xBF\xBD", std::string(1024, 'x'),
                                     std::string(1023, 'x')}));
}

TEST(Log, showsTheFormatWhenItCannotFormat)
{
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    Reader& reader = *new Reader;
    BclOpenLog();
    const wchar_t wide[] = {0x20ac, 0};
    BclLog("name %ls", wide);
    EXPECT_EQ(reader.lines(), (Lines{"name %ls"}));
}

TEST(Log, aSubscriberMayLogWhileTheLogOpens)
{
    Reader& reader = *new Reader;
    BclSubEvent(kBclLogEvent, nullptr, [](void*, void* text, void*) {
        if (std::string(static_cast<const char*>(text)) == "first")
            BclLog("answer");
    });
    BclLog("first");
    BclLog("second");
    BclOpenLog();
    EXPECT_EQ(reader.lines(), (Lines{"first", "second", "answer"}));
}

TEST(Log, linesOfOtherThreadsDoNotOvertakeWhileItOpens)
{
    // The first line of the opening makes another thread log and waits until that is done: its line must come last.
    Reader& reader = *new Reader;
    static auto& isDone = *new std::atomic<bool>;
    BclSubEvent(kBclLogEvent, nullptr, [](void*, void*, void*) {
        if (!isDone.exchange(true))
            std::thread([] { BclLog("late"); }).join();
    });
    for (int i = 0; i < 10; ++i)
        BclLog("held %d", i);
    BclOpenLog();
    Lines expected;
    for (int i = 0; i < 10; ++i)
        expected.push_back("held " + std::to_string(i));
    expected.emplace_back("late");
    EXPECT_EQ(reader.lines(), expected);
}

TEST(Log, eachThreadsLinesKeepTheirOrder)
{
    Reader& reader = *new Reader;
    constexpr int kThreads = 4;
    constexpr int kLinesEach = 20; // all together below the number that is held
    std::atomic<int> begun = 0;
    std::vector<std::thread> writers;
    writers.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        writers.emplace_back([thread, &begun] {
            for (int i = 0; i < kLinesEach; ++i) {
                BclLog("%d %d", thread, i);
                ++begun;
            }
        });
    }
    while (begun < kThreads * kLinesEach / 2)
        std::this_thread::yield();
    BclOpenLog();
    for (std::thread& writer : writers)
        writer.join();
    std::vector<int> next(kThreads, 0);
    const Lines lines = reader.lines();
    EXPECT_EQ(lines.size(), size_t{kThreads} * kLinesEach);
    for (const std::string& line : lines) {
        const size_t blank = line.find(' ');
        int& expected = next.at(std::stoul(line.substr(0, blank)));
        EXPECT_EQ(std::stoi(line.substr(blank + 1)), expected++) << line;
    }
}

TEST(Log, openingAgainWhileItOpensLetsNothingOvertake)
{
    Reader& reader = *new Reader;
    BclSubEvent(kBclLogEvent, nullptr, [](void*, void* text, void*) {
        if (std::string(static_cast<const char*>(text)) == "first") {
            BclOpenLog();
            BclLog("late");
        }
    });
    BclLog("first");
    BclLog("second");
    BclOpenLog();
    EXPECT_EQ(reader.lines(), (Lines{"first", "second", "late"}));
}
