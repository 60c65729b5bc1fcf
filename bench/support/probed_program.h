// A program with a window that tells when it was painted and how late its event loop is (programs/loop_probe.cpp).
#pragma once

#include "support/child_process.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] int64_t monotonicNs();

// A line "WHAT T N" of the program.
struct Told {
    int64_t timeNs = 0;
    int64_t number = 0;
};

// Ends with the object.
class ProbedProgram {
public:
    ProbedProgram(const std::string& path, const std::string& outputFile, const std::string& dataFolder);
    ~ProbedProgram();
    ProbedProgram(const ProbedProgram&) = delete;
    ProbedProgram& operator=(const ProbedProgram&) = delete;

    [[nodiscard]] pid_t pid() const { return _process.pid(); }
    // From its start to its first paint, in milliseconds. Waits for it; throws when it does not come.
    double msToFirstPaint();
    // The first line of that kind. Waits for it, longer by so much where it takes its time; throws when it does not
    // come.
    Told told(const std::string& what, std::chrono::seconds after = {});
    // How late its event loop was in the worst case between then and then, in milliseconds.
    [[nodiscard]] double worstLatenessMs(int64_t sinceNs, int64_t untilNs = INT64_MAX) const;

private:
    const int64_t _startNs;
    ChildProcess _process;
};
