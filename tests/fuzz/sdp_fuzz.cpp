// Session descriptions as the server passes them on: what is not video stays as it came, and no video stream is left.
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = textOf(data, size);
    const std::string passed = withoutVideo(text);
    require(withoutVideo(passed) == passed);
    const std::vector<std::string_view> before = linesOf(text);
    const std::vector<std::string_view> after = linesOf(passed);
    require(before.size() == after.size());
    for (size_t i = 0; i < before.size(); ++i)
        checkLine(before[i], after[i]);
    return 0;
}
