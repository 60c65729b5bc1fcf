// A process that a test starts, watches and ends.
#pragma once

#include "support/patience.h"

#include <csignal>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// Standard input is empty, both outputs go to a file.
class ChildProcess {
public:
    // arguments[0] is the program, looked up in PATH. `environment` adds "NAME=value" to that of the test.
    ChildProcess(const std::vector<std::string>& arguments, std::string outputFile,
                 const std::vector<std::string>& environment = {});
    // Kills what still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return _pid; }
    void sendSignal(int signal) const;
    // None of its threads runs from here on; until resume().
    void stop() const;
    void resume() const { sendSignal(SIGCONT); }
    // The exit code, or the number of the signal that ended it, negative; nothing when it does not end in time.
    std::optional<int> wait(std::chrono::seconds patience = kTestPatience);
    // True once the output contains the text; false when it has not come in time, or the process ended without it.
    bool waitForOutput(const std::string& text);
    [[nodiscard]] std::string output() const;

private:
    std::string _outputFile;
    pid_t _pid = -1;
    std::optional<int> _result;
};
