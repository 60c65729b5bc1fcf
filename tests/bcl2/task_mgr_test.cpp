#include "bcl2/task_mgr.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

constexpr std::chrono::seconds kPatience{60}; // a task that has not run by then never will

class Tasks : public Cbcl_task_mgr {
public:
    using Cbcl_task_mgr::addTask;
};

} // namespace

TEST(TaskMgr, startsEachTaskOnAThreadOfItsOwn)
{
    // Both stay until the end, since the id of a thread that is gone may be given again.
    const auto end = std::make_shared<std::promise<void>>();
    const std::shared_future<void> ended = end->get_future().share();
    const auto first = std::make_shared<std::promise<std::thread::id>>();
    const auto second = std::make_shared<std::promise<std::thread::id>>();
    Tasks tasks;
    for (const auto& id : {first, second}) {
        tasks.addTask("task", [id, ended] {
            id->set_value(std::this_thread::get_id());
            ended.wait();
        });
    }
    auto firstId = first->get_future();
    auto secondId = second->get_future();
    tasks.Run();
    ASSERT_EQ(firstId.wait_for(kPatience), std::future_status::ready);
    ASSERT_EQ(secondId.wait_for(kPatience), std::future_status::ready);
    const auto a = firstId.get();
    const auto b = secondId.get();
    EXPECT_NE(a, b);
    EXPECT_NE(a, std::this_thread::get_id());
    EXPECT_NE(b, std::this_thread::get_id());
    end->set_value();
}

TEST(TaskMgr, runTwiceStartsOnce)
{
    const auto end = std::make_shared<std::promise<void>>();
    const std::shared_future<void> ended = end->get_future().share();
    const auto countThreads = [] {
        const std::filesystem::directory_iterator threads("/proc/self/task");
        return std::distance(begin(threads), std::filesystem::directory_iterator());
    };
    Tasks tasks;
    tasks.addTask("waiter", [ended] { ended.wait(); });
    tasks.Run();
    const auto threads = countThreads();
    tasks.Run();
    EXPECT_EQ(countThreads(), threads);
    EXPECT_GE(threads, 2);
    end->set_value();
}

TEST(TaskMgr, blocksAllSignalsInTasksAndNoneInTheirStarter)
{
    sigset_t before;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &before), 0);
    Tasks tasks;
    const auto mask = std::make_shared<std::promise<sigset_t>>();
    tasks.addTask("signals", [=] {
        sigset_t mine;
        pthread_sigmask(SIG_SETMASK, nullptr, &mine);
        mask->set_value(mine);
    });
    auto inTask = mask->get_future();
    tasks.Run();
    ASSERT_EQ(inTask.wait_for(kPatience), std::future_status::ready);
    const sigset_t blocked = inTask.get();
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &after), 0);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGUSR1, SIGALRM, SIGCHLD, SIGWINCH}) {
        EXPECT_EQ(sigismember(&blocked, number), 1) << number;
        EXPECT_EQ(sigismember(&after, number), sigismember(&before, number)) << number;
        EXPECT_EQ(sigismember(&after, number), 0) << number;
    }
}

TEST(TaskMgr, namesItsThreadsWithinTheSystemsBound)
{
    Tasks tasks;
    const auto name = std::make_shared<std::promise<std::string>>();
    tasks.addTask("fourteen bytes\xC3\xA9 and more", [=] {
        char text[64] = "";
        pthread_getname_np(pthread_self(), text, sizeof text);
        name->set_value(text);
    });
    auto shown = name->get_future();
    tasks.Run();
    ASSERT_EQ(shown.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(shown.get(), "fourteen bytes");
}

TEST(TaskMgr, aTaskThatThrowsEndsAloneWithALogLine)
{
    static std::promise<std::string>& line = *new std::promise<std::string>;
    BclSubEvent(kBclLogEvent, nullptr,
                [](void*, void* text, void*) { line.set_value(static_cast<const char*>(text)); });
    BclOpenLog();
    Tasks tasks;
    tasks.addTask("breaker", [] { throw std::runtime_error("no more\npaper"); });
    tasks.Run();
    auto text = line.get_future();
    ASSERT_EQ(text.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(text.get(), "Task breaker ended by an error: no more\\x0Apaper");
}

TEST(TaskMgr, tasksOutliveTheObjectThatStartedThem)
{
    static std::promise<void>& go = *new std::promise<void>;
    static std::promise<int>& result = *new std::promise<int>;
    {
        Tasks tasks;
        tasks.addTask("long", [owned = std::make_shared<int>(42)] {
            go.get_future().wait();
            result.set_value(*owned);
        });
        tasks.Run();
    }
    go.set_value();
    auto value = result.get_future();
    ASSERT_EQ(value.wait_for(kPatience), std::future_status::ready);
    EXPECT_EQ(value.get(), 42);
}
