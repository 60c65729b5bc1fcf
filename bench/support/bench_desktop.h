// What benchmarks of the console's windows stand on.
#pragma once

#include "support/probed_program.h"
#include "support/servers.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <optional>
#include <string>

// The body of main(): runs the benchmark on a virtual desktop, in the folder of the language files.
[[nodiscard]] int runDesktopBench(int argc, char** argv, void (*bench)());

// The data folder of an office, and a program with an empty window, painted, to compare with.
class BenchOffice {
public:
    // With a dial plan where calls are served.
    explicit BenchOffice(unsigned users, std::optional<ServedCalls> calls = std::nullopt);

    // One of the consoles with a probe; it serves the office.
    [[nodiscard]] ProbedProgram start(const char* program) const;

    [[nodiscard]] uint16_t port() const { return _port; }
    [[nodiscard]] const TemporaryFolder& scratch() const { return _scratch; }
    // Of the machine, before anything was started.
    [[nodiscard]] const std::string& load() const { return _load; }
    [[nodiscard]] const ProbedProgram& empty() const { return _empty; }

private:
    const TemporaryFolder _office;
    const TemporaryFolder _scratch;
    const uint16_t _port;
    const std::string _load;
    ProbedProgram _empty;
};
