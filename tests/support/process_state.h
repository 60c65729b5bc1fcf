// What a process holds of the machine.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/types.h>

// Its proportional set size in kB; 0 when it is gone.
[[nodiscard]] inline int64_t memoryKbOf(pid_t process)
{
    std::ifstream in("/proc/" + std::to_string(process) + "/smaps_rollup");
    constexpr std::string_view kShare = "Pss:";
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(kShare))
            return std::stoll(line.substr(kShare.size()));
    return 0;
}

[[nodiscard]] inline size_t entriesOf(pid_t process, const std::string& folder)
{
    std::error_code gone;
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/" + folder, gone);
    return gone ? 0 : static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

[[nodiscard]] inline size_t descriptorsOf(pid_t process)
{
    return entriesOf(process, "fd");
}

[[nodiscard]] inline size_t threadsOf(pid_t process)
{
    return entriesOf(process, "task");
}
