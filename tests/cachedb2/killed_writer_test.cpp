#include "cachedb2/store_fixture.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <random>
#include <sys/wait.h>
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
    // Starts a writer, lets it acknowledge `count` users, kills it and returns every name it has acknowledged.
    static std::vector<std::string> writeAndKill(const std::string& prefix, size_t count)
    {
        int fds[2];
        EXPECT_EQ(0, pipe(fds));
        const pid_t child = fork();
        if (child == 0) {
            dup2(fds[1], STDOUT_FILENO);
            ::close(fds[0]);
            ::close(fds[1]);
            execl(STORE_WRITER, STORE_WRITER, prefix.c_str(), nullptr);
            _exit(127);
        }
        ::close(fds[1]);
        std::string printed;
        char buffer[4096];
        bool isKilled = false;
        for (ssize_t got = 0; (got = read(fds[0], buffer, sizeof buffer)) > 0;) {
            printed.append(buffer, static_cast<size_t>(got));
            if (!isKilled && static_cast<size_t>(std::count(printed.begin(), printed.end(), '\n')) >= count) {
                kill(child, SIGKILL);
                isKilled = true; // what is in the pipe still counts
            }
        }
        ::close(fds[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

        std::vector<std::string> names;
        size_t begin = 0;
        for (size_t end = 0; (end = printed.find('\n', begin)) != std::string::npos; begin = end + 1)
            names.push_back(printed.substr(begin, end - begin));
        return names;
    }
};

TEST_F(KilledWriter, LosesNoAcknowledgedUser)
{
    std::mt19937 random(20261120);
    std::uniform_int_distribution<size_t> counts(1, 60);
    std::vector<std::string> acknowledged;
    for (int round = 0; round < rounds(); ++round) {
        const auto names = writeAndKill("r" + std::to_string(round) + "-", counts(random));
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
