#include "bcl2/event_bus.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>

namespace {

struct Subscriber {
    void* context;
    BclEventFunc callback;
    Subscriber* next; // written before `last` of the topic moves on, read only by who saw it move
};

// The subscribers of one event id: a list that only grows. Who read `last` may walk from `first` to there.
struct Topic {
    unsigned eventId;
    Subscriber* first;
    std::atomic<Subscriber*> last;
    Topic* next; // in its bucket
};

constexpr size_t kBuckets = 256;                // ids in use are some dozens
constexpr uint64_t kClosed = uint64_t{1} << 63; // nobody begins a publication
constexpr uint64_t kEnded = uint64_t{1} << 62;  // nobody begins a callback
constexpr uint64_t kUnderWay = kEnded - 1;
constexpr std::chrono::milliseconds kClosePause{1}; // publishers wake nobody: the closing thread looks again

// Used by every thread until the process is gone, so never destroyed.
struct Bus {
    std::mutex subscribing;
    std::array<std::atomic<Topic*>, kBuckets> buckets{};
    // The bits kClosed and kEnded, and below them the number of publications under way.
    std::atomic<uint64_t> state{0};
};

Bus& bus()
{
    static Bus& theBus = *new Bus;
    return theBus;
}

thread_local uint64_t publishingHere = 0; // publications under way on this thread

Topic* findTopic(const std::atomic<Topic*>& bucket, unsigned eventId)
{
    Topic* topic = bucket.load(std::memory_order_acquire);
    while (topic != nullptr && topic->eventId != eventId)
        topic = topic->next;
    return topic;
}

// Counts a publication while it lives.
class Publication {
public:
    explicit Publication(Bus& theBus) : _bus(theBus)
    {
        theBus.state.fetch_add(1, std::memory_order_acq_rel);
        ++publishingHere;
    }
    ~Publication()
    {
        --publishingHere;
        _bus.state.fetch_sub(1, std::memory_order_release);
    }
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;

    // False once nobody waits for this publication any more.
    [[nodiscard]] bool mayCall() const { return (_bus.state.load(std::memory_order_acquire) & kEnded) == 0; }

private:
    Bus& _bus;
};

} // namespace

void BclSubEvent(unsigned eventId, void* context, BclEventFunc callback)
{
    if (callback == nullptr)
        return;
    auto* subscriber = new Subscriber{context, callback, nullptr};
    Bus& theBus = bus();
    std::atomic<Topic*>& bucket = theBus.buckets[eventId % kBuckets];
    const std::lock_guard lock(theBus.subscribing);
    if (Topic* topic = findTopic(bucket, eventId)) {
        topic->last.load(std::memory_order_relaxed)->next = subscriber;
        topic->last.store(subscriber, std::memory_order_release);
        return;
    }
    auto* topic = new Topic{eventId, subscriber, subscriber, bucket.load(std::memory_order_relaxed)};
    bucket.store(topic, std::memory_order_release);
}

void BclPubEvent(unsigned eventId, const void* data1, const void* data2)
{
    Bus& theBus = bus();
    if ((theBus.state.load(std::memory_order_relaxed) & kClosed) != 0)
        return;
    const Topic* topic = findTopic(theBus.buckets[eventId % kBuckets], eventId);
    if (topic == nullptr)
        return;
    const Subscriber* last = topic->last.load(std::memory_order_acquire);
    const Publication publication(theBus);
    for (const Subscriber* subscriber = topic->first; publication.mayCall(); subscriber = subscriber->next) {
        subscriber->callback(subscriber->context, const_cast<void*>(data1), const_cast<void*>(data2));
        if (subscriber == last)
            return;
    }
}

bool BclCloseEvents(unsigned timeoutMs)
{
    // One word holds flags and counter, and kEnded is set only in exchange for a word without publications of others:
    // what is counted later reads kEnded before its first callback, what was counted before has ended and its work is
    // seen here.
    std::atomic<uint64_t>& state = bus().state;
    state.fetch_or(kClosed, std::memory_order_acq_rel);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        uint64_t seen = state.load(std::memory_order_acquire);
        if ((seen & kUnderWay) == publishingHere &&
            state.compare_exchange_strong(seen, seen | kEnded, std::memory_order_acq_rel))
            return true;
        if (std::chrono::steady_clock::now() >= deadline) {
            state.fetch_or(kEnded, std::memory_order_acq_rel); // a stuck publication ends with its present callback
            return false;
        }
        std::this_thread::sleep_for(kClosePause);
    }
}
