#include "support/child_process.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::chrono::milliseconds kPollPause{5};

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, std::string outputFile,
                           const std::vector<std::string>& environment)
    : _outputFile(std::move(outputFile))
{
    std::vector<std::string> argumentTexts = arguments;
    std::vector<std::string> environmentTexts = environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
        environmentTexts.emplace_back(*variable);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, _outputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    const int error = posix_spawnp(&_pid, arguments.front().c_str(), &files, nullptr, pointers(argumentTexts).data(),
                                   pointers(environmentTexts).data());
    posix_spawn_file_actions_destroy(&files);
    if (error != 0)
        throw std::runtime_error("cannot start " + arguments.front());
}

ChildProcess::~ChildProcess()
{
    if (_result)
        return;
    kill(_pid, SIGKILL);
    waitpid(_pid, nullptr, 0);
}

void ChildProcess::sendSignal(int signal) const
{
    if (!_result)
        kill(_pid, signal);
}

void ChildProcess::stop() const
{
    sendSignal(SIGSTOP);
    siginfo_t info{};
    (void)waitid(P_PID, static_cast<id_t>(_pid), &info, WSTOPPED | WEXITED | WNOWAIT);
}

std::optional<int> ChildProcess::wait(std::chrono::seconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!_result) {
        int status = 0;
        if (waitpid(_pid, &status, WNOHANG) == _pid)
            _result = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        else if (std::chrono::steady_clock::now() > deadline)
            break;
        else
            std::this_thread::sleep_for(kPollPause);
    }
    return _result;
}

bool ChildProcess::waitForOutput(const std::string& text)
{
    const auto deadline = std::chrono::steady_clock::now() + kTestPatience;
    for (;;) {
        const bool hasEnded = wait(std::chrono::seconds(0)).has_value();
        if (output().find(text) != std::string::npos)
            return true;
        if (hasEnded || std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(kPollPause);
    }
}

std::string ChildProcess::output() const
{
    std::ifstream in(_outputFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
