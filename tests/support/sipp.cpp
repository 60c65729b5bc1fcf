#include "support/sipp.h"

#include "support/free_port.h"
#include "support/patience.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <sstream>

namespace {

constexpr unsigned kMaxOpen = 4000;    // registrations begun and not ended; sipp waits with the next ones
constexpr unsigned kBuffer = 4U << 20; // bytes; sipp's own would lose answers before the server does

std::vector<std::string> split(const std::string& line)
{
    std::vector<std::string> fields;
    std::istringstream in(line);
    for (std::string field; std::getline(in, field, ';');)
        fields.push_back(field);
    return fields;
}

using Line = std::map<std::string, std::string>;

// The last line of sipp's statistics by the names of its first one; empty when there is none.
Line lastLine(const std::string& path)
{
    std::istringstream in(TemporaryFolder::read(path));
    std::string first;
    std::getline(in, first);
    std::string last;
    for (std::string line; std::getline(in, line);)
        last = line;
    const std::vector<std::string> names = split(first);
    const std::vector<std::string> values = split(last);
    Line result;
    for (size_t i = 0; i < std::min(names.size(), values.size()); ++i)
        result[names[i]] = values[i];
    return result;
}

// "hh:mm:ss:uuuuuu"
double seconds(const std::string& text)
{
    std::istringstream in(text);
    double hours = 0;
    double minutes = 0;
    double whole = 0;
    double micros = 0;
    char colon = 0;
    in >> hours >> colon >> minutes >> colon >> whole >> colon >> micros;
    return hours * 3600 + minutes * 60 + whole + micros / 1e6;
}

unsigned number(const Line& line, const std::string& name)
{
    const auto it = line.find(name);
    unsigned value = 0;
    if (it != line.end())
        std::istringstream(it->second) >> value;
    return value;
}

std::string injection(const std::vector<SippUser>& users)
{
    std::string lines = "SEQUENTIAL\n";
    for (const SippUser& user : users)
        lines += user.name + ";[authentication username=" + user.name + " password=" + user.password + "];" +
                 user.third + "\n";
    return lines;
}

// The scenario with its parts in their places, and the values in theirs.
std::string scenarioText(const std::string& name, const std::map<std::string, std::string>& values)
{
    std::string text;
    const bool isPath = name.front() == '/';
    std::istringstream lines(TemporaryFolder::read(isPath ? name : std::string(TEST_DATA) + "/sipp/" + name));
    for (std::string line; std::getline(lines, line);) {
        for (const auto& [key, value] : values) {
            const std::string place = "[=" + key + "]";
            for (size_t at = line.find(place); at != std::string::npos; at = line.find(place, at + value.size()))
                line.replace(at, place.size(), value);
        }
        const bool isPart = line.size() > 2 && line.front() == '@' && line.back() == '@';
        text += isPart ? scenarioText(line.substr(1, line.size() - 2), values) : line + "\n";
    }
    return text;
}

unsigned countOf(const SippPlan& plan)
{
    return plan.count == 0 ? static_cast<unsigned>(plan.users.size()) : plan.count;
}

// A name for the files of this run, beside those of a run at the same time from another port.
std::string runName(const SippPlan& plan)
{
    std::string name = "sipp";
    if (plan.ownPort != 0)
        name.append("_").append(std::to_string(plan.ownPort));
    return name;
}

std::vector<std::string> commandLine(const TemporaryFolder& folder, const SippPlan& plan, const std::string& statistics,
                                     std::chrono::seconds patience)
{
    const std::string name = runName(plan);
    std::vector<std::string> arguments = {"sipp", std::string("127.0.0.1:").append(std::to_string(plan.serverPort))};
    const auto add = [&](const std::string& option, const std::string& value) {
        arguments.push_back(option);
        arguments.push_back(value);
    };
    add("-sf", folder.write(name + "_scenario.xml", scenarioText(plan.scenario, plan.values)));
    if (!plan.users.empty())
        add("-inf", folder.write(name + "_users.csv", injection(plan.users)));
    if (!plan.dialed.empty())
        add("-auth_uri", plan.dialed + "@127.0.0.1:" + std::to_string(plan.serverPort));
    if (plan.isTcp)
        add("-t", "t1");
    if (plan.lostPercent != 0)
        add("-lost", std::to_string(plan.lostPercent));
    add("-i", "127.0.0.1");
    add("-p", std::to_string(plan.ownPort == 0 ? freeUdpPort() : plan.ownPort)); // by itself it would take 5060
    add("-m", std::to_string(countOf(plan)));
    add("-r", std::to_string(plan.perSecond));
    add("-l", std::to_string(kMaxOpen));
    add("-buff_size", std::to_string(kBuffer));
    add("-timeout", std::to_string(patience.count()));
    add("-stf", statistics);
    add("-error_file", folder.file(name + "_errors.log"));
    arguments.insert(arguments.end(), {"-timeout_error", "-nostdin", "-trace_stat", "-trace_err"});
    if (!plan.isRepeating)
        arguments.emplace_back("-nr");
    return arguments;
}

} // namespace

SippLoad::SippLoad(const TemporaryFolder& folder, const SippPlan& plan)
    : _ownPort(plan.ownPort),
      _isTcp(plan.isTcp),
      _statistics(folder.file(runName(plan) + ".csv")),
      _patience(countOf(plan) / std::max(1U, plan.perSecond) + plan.pauseMs / 1000 + kTestPatience.count())
{
    std::filesystem::remove(_statistics);
    _process = std::make_unique<ChildProcess>(commandLine(folder, plan, _statistics, _patience),
                                              folder.file(runName(plan) + "_output.txt"));
}

bool SippLoad::waitUntilListening() const
{
    // As the kernel lists it: a try to bind to the port could be in sipp's way.
    std::array<char, 16> entry{};
    std::snprintf(entry.data(), entry.size(), "0100007F:%04X ", unsigned{_ownPort});
    const auto isListed = [&] {
        return TemporaryFolder::read(_isTcp ? "/proc/net/tcp" : "/proc/net/udp").find(entry.data()) !=
               std::string::npos;
    };
    return waitUntil([&] { return isListed() || _process->wait(std::chrono::seconds(0)); }) && isListed();
}

SippResult SippLoad::wait()
{
    SippResult result;
    const std::optional<int> code = _process->wait(_patience + kTestPatience);
    result.output = _process->output();
    const Line line = lastLine(_statistics);
    if (!code || line.empty())
        return result;
    result.isComplete = *code == 0 || *code == 1; // 1: it has ended, and calls failed
    result.successful = number(line, "SuccessfulCall(C)");
    result.failed = number(line, "FailedCall(C)");
    result.retransmissions = number(line, "Retransmissions(C)");
    result.seconds = seconds(line.at("ElapsedTime(C)"));
    return result;
}

int runSipp(const TemporaryFolder& folder, const std::string& scenario, uint16_t serverPort,
            const std::vector<SippUser>& users, unsigned callsPerSecond)
{
    SippPlan plan;
    plan.scenario = scenario;
    plan.serverPort = serverPort;
    plan.users = users;
    plan.perSecond = callsPerSecond;
    const SippResult result = SippLoad(folder, plan).wait();
    return !result.isComplete ? -1 : result.isAll(static_cast<unsigned>(users.size())) ? 0 : 1;
}
