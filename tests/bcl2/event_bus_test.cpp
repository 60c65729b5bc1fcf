#include "bcl2/event_bus.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

// The bus is one a process and never forgets: ids differ from test to test, and tests that close it need a process of
// their own, which ctest gives them.

namespace {

constexpr unsigned kLongTimeout = 60'000; // milliseconds; ends a test that would hang

// Polls until the condition holds; false when it never does.
template <class Condition>
bool becomesTrue(Condition condition)
{
    for (int i = 0; i < 60'000 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
}

struct Call {
    int subscriber;
    void* data1;
    void* data2;
    friend bool operator==(const Call&, const Call&) = default;
};

// Subscribers with numbers that note their calls on one list.
struct Recorder {
    struct Entry {
        Recorder* owner;
        int number;
    };
    std::vector<Call> calls;
    void subscribe(unsigned eventId, int number)
    {
        BclSubEvent(eventId, new Entry{this, number}, [](void* context, void* data1, void* data2) {
            const auto* entry = static_cast<Entry*>(context);
            entry->owner->calls.push_back({entry->number, data1, data2});
        });
    }
};

void count(void* context, void*, void*)
{
    ++*static_cast<std::atomic<uint64_t>*>(context);
}

} // namespace

TEST(EventBus, callsInTheOrderOfSubscriptionOnTheSameThread)
{
    auto& recorder = *new Recorder;
    for (int number = 0; number < 20; ++number)
        recorder.subscribe(100, number);
    int one = 1;
    const std::string two = "two";
    BclPubEvent(100, &one, &two);
    std::vector<Call> expected;
    expected.reserve(20);
    for (int number = 0; number < 20; ++number)
        expected.push_back({number, &one, const_cast<std::string*>(&two)});
    EXPECT_EQ(recorder.calls, expected); // without a lock: it ran on this thread and is over
}

TEST(EventBus, theSameSubscriptionTwiceIsCalledTwice)
{
    auto& calls = *new std::atomic<uint64_t>;
    BclSubEvent(101, &calls, count);
    BclSubEvent(101, &calls, count);
    BclPubEvent(101, nullptr, nullptr);
    EXPECT_EQ(calls, 2u);
}

TEST(EventBus, keepsAnyIdsApart)
{
    auto& recorder = *new Recorder;
    const unsigned ids[] = {0, 1, 256, 257, 10005, 10006, INT_MAX, 1u << 31, UINT_MAX - 1, UINT_MAX};
    int number = 0;
    for (const unsigned id : ids)
        recorder.subscribe(id, number++);
    number = 0;
    for (const unsigned id : ids) {
        recorder.calls.clear();
        BclPubEvent(id, nullptr, nullptr);
        EXPECT_EQ(recorder.calls, (std::vector<Call>{{number++, nullptr, nullptr}})) << id;
    }
    recorder.calls.clear();
    BclPubEvent(512, nullptr, nullptr); // beside id 0 and 256
    EXPECT_TRUE(recorder.calls.empty());
}

TEST(EventBus, callbacksMayPublishAndSubscribe)
{
    static auto& calls = *new std::vector<int>;
    BclSubEvent(102, nullptr, [](void*, void*, void*) {
        calls.push_back(1);
        BclPubEvent(103, nullptr, nullptr);
        BclSubEvent(102, nullptr, [](void*, void*, void*) { calls.push_back(3); });
    });
    BclSubEvent(103, nullptr, [](void*, void*, void*) { calls.push_back(2); });
    BclPubEvent(102, nullptr, nullptr);
    EXPECT_EQ(calls, (std::vector<int>{1, 2})); // who came during a publication hears of the next one
    BclPubEvent(102, nullptr, nullptr);
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 1, 2, 3}));
}

TEST(EventBus, aMissingCallbackIsNoSubscription)
{
    BclSubEvent(104, nullptr, nullptr);
    BclPubEvent(104, nullptr, nullptr);
    auto& calls = *new std::atomic<uint64_t>;
    BclSubEvent(104, &calls, count);
    BclPubEvent(104, nullptr, nullptr);
    EXPECT_EQ(calls, 1u);
}

TEST(EventBus, subscribingIsSafeWhileFourThreadsPublish)
{
    constexpr unsigned kIds = 8;
    constexpr int kSubscriptions = 400;
    auto& calls = *new std::array<std::atomic<uint64_t>, kIds>{};
    auto& outOfOrder = *new std::atomic<uint64_t>;
    static thread_local int previous = 0; // subscriber of the id that this thread called last
    struct Numbered {
        int number;
        std::atomic<uint64_t>* calls;
        std::atomic<uint64_t>* outOfOrder;
    };
    std::atomic<bool> isOver = false;
    std::atomic<int> started = 0;
    std::vector<std::thread> publishers;
    publishers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        publishers.emplace_back([&] {
            ++started;
            while (!isOver) {
                for (unsigned id = 0; id < kIds; ++id) {
                    previous = 0;
                    BclPubEvent(2000 + id, nullptr, nullptr);
                }
            }
        });
    }
    ASSERT_TRUE(becomesTrue([&] { return started == 4; }));
    for (int i = 0; i < kSubscriptions; ++i) {
        const unsigned id = static_cast<unsigned>(i) % kIds;
        BclSubEvent(2000 + id, new Numbered{i / static_cast<int>(kIds) + 1, &calls[id], &outOfOrder},
                    [](void* context, void*, void*) {
                        const auto* me = static_cast<Numbered*>(context);
                        if (me->number != ++previous)
                            ++*me->outOfOrder;
                        ++*me->calls;
                    });
    }
    isOver = true;
    for (std::thread& publisher : publishers)
        publisher.join();
    EXPECT_EQ(outOfOrder, 0u);
    for (unsigned id = 0; id < kIds; ++id) {
        calls[id] = 0;
        previous = 0;
        BclPubEvent(2000 + id, nullptr, nullptr);
        EXPECT_EQ(calls[id], kSubscriptions / kIds);
    }
}

TEST(EventBusClose, nothingIsPublishedAfterwards)
{
    auto& calls = *new std::atomic<uint64_t>;
    BclSubEvent(200, &calls, count);
    BclPubEvent(200, nullptr, nullptr);
    EXPECT_TRUE(BclCloseEvents(0));
    BclPubEvent(200, nullptr, nullptr);
    BclSubEvent(200, &calls, count);
    BclPubEvent(200, nullptr, nullptr);
    EXPECT_EQ(calls, 1u);
    EXPECT_TRUE(BclCloseEvents(0));
}

TEST(EventBusClose, noCallbackRunsOrStartsOnceItReturned)
{
    // Plain memory: a callback that still ran would be a data race, which the thread sanitizer build reports.
    static auto& value = *new std::array<uint64_t, 64>{};
    static auto& running = *new std::atomic<int>;
    static auto& late = *new std::atomic<int>;
    static auto& isClosed = *new std::atomic<bool>;
    static auto& turn = *new std::array<std::atomic<unsigned>, 4>{};
    BclSubEvent(201, nullptr, [](void*, void* mine, void*) {
        ++running;
        if (isClosed)
            ++late;
        ++value[*static_cast<size_t*>(mine)];
        --running;
    });
    std::atomic<bool> isOver = false;
    std::vector<std::thread> publishers;
    publishers.reserve(4);
    for (size_t i = 0; i < 4; ++i) {
        publishers.emplace_back([i, &isOver] {
            size_t mine = i * 16;
            while (!isOver) {
                BclPubEvent(201, &mine, nullptr);
                ++turn[i];
            }
        });
    }
    ASSERT_TRUE(becomesTrue([] { return turn[0] > 100 && turn[1] > 100 && turn[2] > 100 && turn[3] > 100; }));
    ASSERT_TRUE(BclCloseEvents(kLongTimeout));
    isClosed = true;
    EXPECT_EQ(running, 0);
    const std::array<uint64_t, 64> atClose = value;
    const unsigned turns[] = {turn[0], turn[1], turn[2], turn[3]};
    EXPECT_TRUE(becomesTrue([&] { // each publisher has tried again and again
        return turn[0] - turns[0] > 100 && turn[1] - turns[1] > 100 && turn[2] - turns[2] > 100 &&
               turn[3] - turns[3] > 100;
    }));
    isOver = true;
    for (std::thread& publisher : publishers)
        publisher.join();
    EXPECT_EQ(late, 0);
    EXPECT_EQ(value, atClose);
}

TEST(EventBusClose, waitsForACallbackUnderWay)
{
    static auto& isInside = *new std::atomic<bool>;
    static auto& mayLeave = *new std::atomic<bool>;
    static auto& hasLeft = *new std::atomic<bool>;
    BclSubEvent(202, nullptr, [](void*, void*, void*) {
        isInside = true;
        becomesTrue([] { return mayLeave.load(); });
        hasLeft = true;
    });
    std::thread publisher([] { BclPubEvent(202, nullptr, nullptr); });
    ASSERT_TRUE(becomesTrue([] { return isInside.load(); }));
    std::thread opener([] {
        // Once the bus turns publications away, closing has begun.
        static auto& calls = *new std::atomic<uint64_t>;
        BclSubEvent(203, &calls, count);
        EXPECT_TRUE(becomesTrue([] {
            const uint64_t before = calls;
            BclPubEvent(203, nullptr, nullptr);
            return calls == before;
        }));
        mayLeave = true;
    });
    EXPECT_TRUE(BclCloseEvents(kLongTimeout));
    EXPECT_TRUE(hasLeft);
    opener.join();
    publisher.join();
}

TEST(EventBusClose, aStuckCallbackIsWaitedForABoundedTime)
{
    static auto& isInside = *new std::atomic<bool>;
    static auto& mayLeave = *new std::atomic<bool>;
    static auto& calls = *new std::atomic<uint64_t>;
    BclSubEvent(204, nullptr, [](void*, void*, void*) {
        isInside = true;
        becomesTrue([] { return mayLeave.load(); });
    });
    BclSubEvent(204, &calls, count);
    std::thread publisher([] { BclPubEvent(204, nullptr, nullptr); });
    ASSERT_TRUE(becomesTrue([] { return isInside.load(); }));
    EXPECT_FALSE(BclCloseEvents(20));
    mayLeave = true;
    publisher.join();
    EXPECT_EQ(calls, 0u); // nobody waited for the second subscriber
}

TEST(EventBusClose, thePublicationThatItIsCalledFromDoesNotCount)
{
    static auto& result = *new std::atomic<int>{-1};
    static auto& calls = *new std::atomic<uint64_t>;
    BclSubEvent(205, nullptr, [](void*, void*, void*) { BclPubEvent(206, nullptr, nullptr); });
    BclSubEvent(206, nullptr, [](void*, void*, void*) { result = BclCloseEvents(kLongTimeout) ? 1 : 0; });
    BclSubEvent(206, &calls, count);
    BclSubEvent(205, &calls, count);
    BclPubEvent(205, nullptr, nullptr);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(calls, 0u);
}
