#include "support/cpu_time.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <sstream>

namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string folderOf(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

std::vector<std::string> threadFolders(pid_t process)
{
    std::vector<std::string> result;
    std::error_code gone;
    for (const auto& entry : std::filesystem::directory_iterator(folderOf(process) + "/task", gone))
        result.push_back(entry.path().string());
    return result;
}

} // namespace

CpuTime CpuTime::of(pid_t process)
{
    CpuTime result;
    for (const pid_t member : familyOf(process)) {
        for (const std::string& thread : threadFolders(member)) {
            std::string name = contentOf(thread + "/comm");
            name.resize(name.empty() ? 0 : name.size() - 1); // the line end
            std::istringstream numbers(contentOf(thread + "/schedstat"));
            int64_t onProcessor = 0;
            numbers >> onProcessor;
            result._byThread[name] += onProcessor;
        }
    }
    return result;
}

int64_t CpuTime::total() const
{
    return std::accumulate(_byThread.begin(), _byThread.end(), int64_t{0},
                           [](int64_t sum, const auto& thread) { return sum + thread.second; });
}

CpuTime CpuTime::since(const CpuTime& before) const
{
    CpuTime result = *this;
    for (const auto& [name, time] : before._byThread)
        result._byThread[name] -= time;
    return result;
}

std::vector<pid_t> familyOf(pid_t process)
{
    std::vector<pid_t> result = {process};
    for (size_t i = 0; i < result.size(); ++i) {
        for (const std::string& thread : threadFolders(result[i])) {
            std::istringstream children(contentOf(thread + "/children"));
            for (pid_t child = 0; children >> child;)
                result.push_back(child);
        }
    }
    return result;
}

int64_t memoryKb(pid_t process)
{
    int64_t sum = 0;
    for (const pid_t member : familyOf(process)) {
        std::ifstream in(folderOf(member) + "/smaps_rollup");
        for (std::string line; std::getline(in, line);) {
            constexpr std::string_view kShare = "Pss:";
            if (line.starts_with(kShare))
                sum += std::stoll(line.substr(kShare.size()));
        }
    }
    return sum;
}

std::string machineLoad()
{
    std::istringstream in(contentOf("/proc/loadavg"));
    std::string one;
    std::string five;
    std::string fifteen;
    in >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}
