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
    if (!_process.waitForOutput("painted "))
        throw std::runtime_error("the window was not painted: " + _process.output());
    std::istringstream words(_process.output());
    for (std::string word; words >> word;) {
        int64_t paintedNs = 0;
        if (word == "painted" && words >> paintedNs)
            return static_cast<double>(paintedNs - _startNs) / 1e6;
    }
    throw std::runtime_error("cannot be read: " + _process.output());
}

double ProbedProgram::worstLatenessMs(int64_t sinceNs) const
{
    int64_t worst = 0;
    std::istringstream lines(_process.output());
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        int64_t time = 0;
        int64_t late = 0;
        if (words >> kind >> time >> late && kind == "late" && time >= sinceNs)
            worst = std::max(worst, late);
    }
    return static_cast<double>(worst) / 1e6;
}
