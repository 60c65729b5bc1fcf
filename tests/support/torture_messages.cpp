#include "support/torture_messages.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <strings.h>

namespace {

std::string readBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot be read: " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// <hex>00FF</hex> stands for these octets.
std::string withOctets(const std::string& text)
{
    static const std::string begin = "<hex>";
    static const std::string end = "</hex>";
    std::string result;
    size_t at = 0;
    for (size_t next = text.find(begin); next != std::string::npos; next = text.find(begin, at)) {
        result.append(text, at, next - at);
        at = text.find(end, next);
        if (at == std::string::npos)
            throw std::runtime_error("octets without end");
        for (size_t digit = next + begin.size(); digit < at; digit += 2)
            result += static_cast<char>(std::stoi(text.substr(digit, 2), nullptr, 16));
        at += end.size();
    }
    return result.append(text, at, std::string::npos);
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

// "401 405|481": two answers. "-": none.
std::vector<ExpectedAnswer> answersOf(const std::string& text)
{
    std::vector<ExpectedAnswer> answers;
    if (text == "-")
        return answers;
    for (const std::string& statuses : split(text, ' ')) {
        ExpectedAnswer& answer = answers.emplace_back();
        for (const std::string& status : split(statuses, '|'))
            answer.push_back(std::stoi(status));
    }
    return answers;
}

TortureMessage messageOf(const std::string& folder, const std::vector<std::string>& fields)
{
    if (fields.size() != 7 || (fields[3] != "valid" && fields[3] != "invalid"))
        throw std::runtime_error("not a line of a message: " + (fields.empty() ? folder : fields[0]));
    TortureMessage message;
    message.folder = fields[0];
    message.name = fields[1];
    message.section = fields[2];
    message.isValid = fields[3] == "valid";
    message.datagram = answersOf(fields[4]);
    message.stream = fields[5] == "=" ? message.datagram : answersOf(fields[5]);
    message.reason = fields[6];
    message.bytes = withOctets(readBytes(folder + "/" + fields[0] + "/" + fields[1] + ".sip"));
    return message;
}

} // namespace

std::string TortureMessage::header(const std::string& longName, const std::string& shortName) const
{
    std::istringstream lines(bytes);
    for (std::string line; std::getline(lines, line) && line != "\r";) {
        const std::string key = line.substr(0, line.find_first_of(" :"));
        if (strcasecmp(key.c_str(), longName.c_str()) != 0 && strcasecmp(key.c_str(), shortName.c_str()) != 0)
            continue;
        const size_t value = line.find_first_not_of(' ', line.find(':') + 1);
        return line.substr(value, line.find('\r') - value);
    }
    return {};
}

std::vector<TortureMessage> tortureMessages(const std::string& folder)
{
    std::vector<TortureMessage> messages;
    std::set<std::string> listed = {folder + "/expected.tsv"};
    std::istringstream table(readBytes(folder + "/expected.tsv"));
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const std::vector<std::string> fields = split(line, '\t');
        messages.push_back(messageOf(folder, fields));
        listed.insert(folder + "/" + fields[0] + "/" + fields[1] + ".sip");
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && listed.count(entry.path().string()) == 0)
            throw std::runtime_error("not in expected.tsv: " + entry.path().string());
    return messages;
}

TortureMessage tortureMessage(const std::string& folder, const std::string& name)
{
    for (TortureMessage& message : tortureMessages(folder))
        if (message.name == name)
            return std::move(message);
    throw std::runtime_error("no message: " + name);
}
