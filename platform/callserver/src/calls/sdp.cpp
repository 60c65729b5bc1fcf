#include "calls/sdp.h"

#include <algorithm>

std::string withoutVideo(std::string_view sdp)
{
    static constexpr std::string_view kVideo = "m=video ";
    std::string result;
    result.reserve(sdp.size());
    while (!sdp.empty()) {
        const size_t end = std::min(sdp.find('\n'), sdp.size() - 1) + 1;
        std::string_view line = sdp.substr(0, end);
        sdp.remove_prefix(end);
        if (line.starts_with(kVideo)) {
            line.remove_prefix(kVideo.size());
            result.append(kVideo).append("0");
            line.remove_prefix(std::min(line.find_first_of(" \r\n"), line.size()));
        }
        result += line;
    }
    return result;
}
