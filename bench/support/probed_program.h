// A program with a window that tells when it was painted and how late its event loop is (programs/loop_probe.cpp).
#pragma once

#include "support/child_process.h"

#include <cstdint>
#include <string>
#include <vector>

// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] int64_t monotonicNs();

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
    // How late its event loop was in the worst case since then, in milliseconds.
    [[nodiscard]] double worstLatenessMs(int64_t sinceNs) const;

private:
    const int64_t _startNs;
    ChildProcess _process;
};
