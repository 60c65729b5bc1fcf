// Work beside a library's callers: a thread of its own that its owner ends.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>

// A thread that gets no signals; those are for the process. The name (at most 15 bytes) shows in process listings. An
// exception of `body` ends it with a log line. When no thread can be had a log line says so, and the result is empty.
[[nodiscard]] std::jthread BclStartThread(const std::string& name, std::function<void(const std::stop_token&)> body);

// Calls a function again and again on a thread of its own. Owner: any one thread. Destroying it waits for a call that
// is under way, and no longer.
class Cbcl_ticker {
public:
    // The first call comes after `intervalMs`.
    Cbcl_ticker(const std::string& name, unsigned intervalMs, std::function<void()> tick);
    ~Cbcl_ticker();
    Cbcl_ticker(const Cbcl_ticker&) = delete;
    Cbcl_ticker& operator=(const Cbcl_ticker&) = delete;

private:
    std::mutex _mutex;
    std::condition_variable_any _changed;
    std::jthread _thread;
};

// Hands requests to a function on a thread of its own, which starts with the first one. Only the newest waits. Any
// thread may ask. Destroying it waits for nothing: the thread ends after the call that is under way, so that what the
// function uses must be its own.
template <class Request>
class Cbcl_latest {
public:
    // True when the result is no longer wanted: a newer request waits, or the owner has gone.
    using IsStale = std::function<bool()>;
    // `request` is null when the time has passed that the last call gave. Returns after how many ms it wants to be
    // called again, 0: for a request only.
    using Work = std::function<unsigned(const Request* request, const IsStale& isStale)>;

    Cbcl_latest(std::string name, Work work) : _name(std::move(name)), _state(std::make_shared<State>(std::move(work)))
    {}
    ~Cbcl_latest()
    {
        const std::scoped_lock lock(_state->mutex);
        _state->isClosed = true;
        _state->changed.notify_all();
    }
    Cbcl_latest(const Cbcl_latest&) = delete;
    Cbcl_latest& operator=(const Cbcl_latest&) = delete;

    void ask(Request request)
    {
        const std::scoped_lock lock(_state->mutex);
        _state->next = std::move(request);
        _state->changed.notify_all();
        if (_state->isRunning)
            return;
        std::jthread thread = BclStartThread(_name, [state = _state](const std::stop_token&) { run(*state); });
        _state->isRunning = thread.joinable();
        if (thread.joinable())
            thread.detach();
    }

private:
    struct State {
        explicit State(Work body) : work(std::move(body)) {}

        [[nodiscard]] bool isStale()
        {
            const std::scoped_lock lock(mutex);
            return isClosed || next.has_value();
        }

        const Work work;
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Request> next;
        bool isRunning = false;
        bool isClosed = false;
    };

    static void run(State& state)
    {
        unsigned waitMs = 0;
        std::unique_lock lock(state.mutex);
        for (;;) {
            const auto isWanted = [&state] { return state.isClosed || state.next.has_value(); };
            if (waitMs == 0)
                state.changed.wait(lock, isWanted);
            else
                state.changed.wait_for(lock, std::chrono::milliseconds(waitMs), isWanted);
            if (state.isClosed)
                return;
            const std::optional<Request> request = std::exchange(state.next, std::nullopt);
            lock.unlock();
            waitMs = state.work(request ? &*request : nullptr, [&state] { return state.isStale(); });
            lock.lock();
        }
    }

    std::string _name;
    std::shared_ptr<State> _state;
};
