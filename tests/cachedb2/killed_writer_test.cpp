#include "cachedb2/random_operations.h"
#include "cachedb2/store_content.h"
#include "cachedb2/store_fixture.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

int rounds()
{
    const char* wanted = getenv("PARLOVEX_KILL_ROUNDS");
    return wanted == nullptr ? 20 : std::max(1, atoi(wanted));
}

} // namespace

class KilledWriter : public StoreFixture {
protected:
    // Starts a writer, lets it acknowledge `count` operations, kills it `delay` later and returns every line that it
    // has printed.
    static std::vector<std::string> writeAndKill(std::vector<std::string> arguments, size_t count,
                                                 std::chrono::microseconds delay = {})
    {
        arguments.insert(arguments.begin(), STORE_WRITER);
        std::vector<char*> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        int fds[2];
        EXPECT_EQ(0, pipe(fds));
        const pid_t child = fork();
        if (child == 0) {
            dup2(fds[1], STDOUT_FILENO);
            ::close(fds[0]);
            ::close(fds[1]);
            execv(STORE_WRITER, pointers.data());
            _exit(127);
        }
        ::close(fds[1]);
        std::string printed;
        char buffer[4096];
        bool isKilled = false;
        for (ssize_t got = 0; (got = read(fds[0], buffer, sizeof buffer)) > 0;) {
            printed.append(buffer, static_cast<size_t>(got));
            if (!isKilled && static_cast<size_t>(std::count(printed.begin(), printed.end(), '\n')) >= count) {
                std::this_thread::sleep_for(delay);
                kill(child, SIGKILL);
                isKilled = true; // what is in the pipe still counts
            }
        }
        ::close(fds[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

        std::vector<std::string> lines;
        size_t begin = 0;
        for (size_t end = 0; (end = printed.find('\n', begin)) != std::string::npos; begin = end + 1)
            lines.push_back(printed.substr(begin, end - begin));
        return lines;
    }
};

TEST_F(KilledWriter, LosesNoAcknowledgedUser)
{
    std::mt19937 random(20261120);
    std::uniform_int_distribution<size_t> counts(1, 60);
    std::vector<std::string> acknowledged;
    for (int round = 0; round < rounds(); ++round) {
        const auto names = writeAndKill({"r" + std::to_string(round) + "-"}, counts(random));
        acknowledged.insert(acknowledged.end(), names.begin(), names.end());
        ASSERT_EQ("ok", sql(path("config.db"), "pragma integrity_check")) << "round " << round;
        open();
        ASSERT_TRUE(takeLog().empty());
        for (const std::string& name : acknowledged)
            ASSERT_EQ(kDbHas, store().DbIsLocalUser(name.c_str())) << name << " is gone after round " << round;
        close();
    }
    EXPECT_GE(acknowledged.size(), static_cast<size_t>(rounds()));
}

// A second store, which nobody kills, tells what the acknowledged operations come to.
TEST_F(KilledWriter, LeavesWhatItAcknowledgedAndAtMostTheOperationUnderWay)
{
    const uint32_t seed = 20261121;
    std::mt19937 random(seed);
    std::filesystem::create_directory(path("reference"));
    Cdb_options options;
    options.dataFolder = path("reference").string();
    Cdb_fac_mgr reference(options);
    uint32_t next = 0;
    unsigned stored = 0;
    for (int round = 0; round < rounds(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + " from operation " + std::to_string(next));
        const size_t count = 1 + random() % 60;
        const std::chrono::microseconds delay(random() % 2000);
        const auto results = writeAndKill({"random", std::to_string(seed), std::to_string(next)}, count, delay);
        for (const std::string& result : results) {
            ASSERT_EQ(result, std::to_string(runRandomOperation(reference, seed, next))) << "operation " << next;
            stored += result == std::to_string(kDbOk) ? 1 : 0;
            ++next;
        }
        open();
        ASSERT_TRUE(takeLog().empty());
        const StoreContent found = contentOf(store());
        if (found != contentOf(reference)) {
            (void)runRandomOperation(reference, seed, next++);
            ASSERT_EQ(found, contentOf(reference));
        }
        close();
        ASSERT_EQ("ok", sql(path("config.db"), "pragma integrity_check"));
    }
    EXPECT_GE(stored, static_cast<unsigned>(rounds()));
}
