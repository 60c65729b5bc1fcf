// Bodies with a session description among other parts: what is found lies within the body, and another one comes into
// its place and nowhere else.
#include "calls/sdp_part.h"
#include "fuzz/fuzz_checks.h"

#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static constexpr std::string_view kOther = "v=0\r\n";
    std::string_view input = textOf(data, size);
    SipBody body;
    body.type = takePart(input);
    body.data = input;
    const std::string_view sdp = sdpOf(body);
    require(withSdp(body, sdp).data == body.data);
    const SipBody changed = withSdp(body, kOther);
    require(changed.type == body.type && changed.headers == body.headers);
    if (sdp.empty()) {
        require(changed.data == body.data);
        return 0;
    }
    const auto begin = static_cast<size_t>(sdp.data() - body.data.data());
    require(begin <= body.data.size() && sdp.size() <= body.data.size() - begin);
    require(changed.data == body.data.substr(0, begin).append(kOther) + body.data.substr(begin + sdp.size()));
    require(sdpOf(changed) == kOther);
    return 0;
}
