// What processes have used of the machine.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

// Time on a processor (user and system) in nanoseconds, by the name of the thread, of a process and all its
// descendants that live now. Threads that have ended are not in it.
class CpuTime {
public:
    static CpuTime of(pid_t process);

    [[nodiscard]] int64_t total() const;
    [[nodiscard]] const std::map<std::string, int64_t>& byThread() const { return _byThread; }
    // What was used since.
    [[nodiscard]] CpuTime since(const CpuTime& before) const;

private:
    std::map<std::string, int64_t> _byThread;
};

// The process and all its descendants.
[[nodiscard]] std::vector<pid_t> familyOf(pid_t process);

// Memory of the process and its descendants in kB; pages that several of them share count once.
[[nodiscard]] int64_t memoryKb(pid_t process);

// "0.53 0.40 0.31": the machine's load over 1, 5 and 15 minutes.
[[nodiscard]] std::string machineLoad();
