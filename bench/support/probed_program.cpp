#include "support/probed_program.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <sstream>
#include <stdexcept>

int64_t monotonicNs()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

ProbedProgram::ProbedProgram(const std::string& path, const std::string& outputFile, const std::string& dataFolder)
    : _startNs(monotonicNs()), _process({path}, outputFile, {"PARLOVEX_HOME=" + dataFolder})
{}

ProbedProgram::~ProbedProgram()
{
    _process.sendSignal(SIGTERM);
    _process.wait();
}

double ProbedProgram::msToFirstPaint()
{
    return static_cast<double>(told("painted").timeNs - _startNs) / 1e6;
}

Told ProbedProgram::told(const std::string& what, std::chrono::seconds after)
{
    const auto soon = std::chrono::steady_clock::now() + after + kTestPatience;
    while (!_process.waitForOutput(what + " "))
        if (std::chrono::steady_clock::now() > soon)
            throw std::runtime_error("the program did not say \"" + what + "\": " + _process.output());
    std::istringstream words(_process.output());
    for (std::string word; words >> word;) {
        Told result;
        if (word == what && words >> result.timeNs >> result.number)
            return result;
    }
    throw std::runtime_error("cannot be read: " + _process.output());
}

double ProbedProgram::worstLatenessMs(int64_t sinceNs, int64_t untilNs) const
{
    int64_t worst = 0;
    std::istringstream lines(_process.output());
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        int64_t time = 0;
        int64_t late = 0;
        if (words >> kind >> time >> late && kind == "late" && time >= sinceNs && time <= untilNs)
            worst = std::max(worst, late);
    }
    return static_cast<double>(worst) / 1e6;
}
