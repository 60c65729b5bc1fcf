// Session descriptions as the server passes them on: what is not video stays as it came, no video stream is left, and
// another origin changes nothing else. A held answer takes or refuses each stream of the offer.
#include "calls/sdp.h"
#include "fuzz/fuzz_checks.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view kVideo = "m=video ";

// With their ends.
std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        lines.push_back(text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1));
        text.remove_prefix(lines.back().size());
    }
    return lines;
}

// What stands behind the port.
std::string_view behindPort(std::string_view line)
{
    line.remove_prefix(kVideo.size());
    return line.substr(std::min(line.find_first_of(" \r\n"), line.size()));
}

void checkLine(std::string_view before, std::string_view after)
{
    if (!before.starts_with(kVideo)) {
        require(after == before);
        return;
    }
    require(after.starts_with("m=video 0"));
    require(behindPort(after) == behindPort(before) && after.size() == kVideo.size() + 1 + behindPort(before).size());
}

void checkWithoutVideo(std::string_view text)
{
    const std::string passed = withoutVideo(text);
    require(withoutVideo(passed) == passed);
    const std::vector<std::string_view> before = linesOf(text);
    const std::vector<std::string_view> after = linesOf(passed);
    require(before.size() == after.size());
    for (size_t i = 0; i < before.size(); ++i)
        checkLine(before[i], after[i]);
}

// Without what does not count.
std::string_view number(std::string_view digits)
{
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

void checkNext(std::string_view origin)
{
    const std::string next = nextOrigin(origin);
    if (next == origin)
        return;
    size_t begin = origin.find(' ');
    require(begin != std::string_view::npos);
    begin = origin.find(' ', begin + 1);
    require(begin != std::string_view::npos && next.compare(0, begin + 1, origin.substr(0, begin + 1)) == 0);
    ++begin;
    const size_t end = origin.find(' ', begin);
    const size_t nextEnd = next.find(' ', begin);
    require(end != std::string_view::npos && nextEnd != std::string::npos);
    require(origin.substr(end) == std::string_view(next).substr(nextEnd));
    const std::string_view before = number(origin.substr(begin, end - begin));
    const std::string_view after = number(std::string_view(next).substr(begin, nextEnd - begin));
    require(before.size() < after.size() || (before.size() == after.size() && before < after));
}

void checkOrigin(std::string_view text)
{
    static constexpr std::string_view kOther = "- 1 2 IN IP4 0.0.0.0";
    const std::string origin = originOf(text);
    require(origin.find_first_of("\r\n") == std::string::npos);
    const std::string changed = withOrigin(text, kOther);
    require(origin.empty() || originOf(changed) == kOther);
    require(withOrigin(changed, kOther) == changed);
    const std::vector<std::string_view> before = linesOf(text);
    const std::vector<std::string_view> after = linesOf(changed);
    require(before.size() == after.size());
    for (size_t i = 0; i < before.size(); ++i)
        require(before[i].starts_with("o=") ? after[i].starts_with("o=- 1 2 ") : after[i] == before[i]);
    checkNext(origin);
}

std::vector<std::string_view> streamsOf(std::string_view text)
{
    std::vector<std::string_view> streams = linesOf(text);
    std::erase_if(streams, [](std::string_view line) { return !line.starts_with("m="); });
    return streams;
}

void checkHeldAnswer(std::string_view text)
{
    const std::string origin = originOf(text);
    const std::string answer = heldAnswer(text, origin);
    require(origin.empty() || originOf(answer) == origin);
    for (const std::string_view line : linesOf(answer))
        require(line.size() > 3 && line[1] == '=' && line.find('\r') == line.size() - 2);
    const std::vector<std::string_view> offered = streamsOf(text);
    const std::vector<std::string_view> streams = streamsOf(answer);
    require(offered.size() == streams.size());
    for (size_t i = 0; i < streams.size(); ++i) {
        const size_t kind = streams[i].find(' ');
        const std::string_view rest = streams[i].substr(kind);
        require(offered[i].starts_with(streams[i].substr(0, kind)));
        require(rest.starts_with(" 9 RTP/AVP ") || rest.starts_with(" 0 ") || rest == " 0\r\n");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = textOf(data, size);
    checkWithoutVideo(text);
    checkOrigin(text);
    checkHeldAnswer(text);
    return 0;
}
