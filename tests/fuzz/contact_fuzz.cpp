// What a telephone says of itself, contact and User-Agent: no text harms the two readers, and their results keep their
// limits.
#include "bcl2/text.h"
#include "fuzz/fuzz_checks.h"
#include "registrar/user_agent.h"
#include "sip/contact_uri.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace {

constexpr size_t kMaxUserAgent = 128; // bytes

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = textOf(data, size);
    const ContactUri uri = makeContactUri(text);
    require(uri.text == text && (!uri.isSip() || uri.text.size() <= kMaxContactUri));
    require(isSameContact(uri, uri));
    const ContactUri other = makeContactUri(text.substr(0, size / 2));
    require(isSameContact(uri, other) == isSameContact(other, uri));

    const std::string agent = cleanUserAgent(text);
    require(agent.size() <= kMaxUserAgent && BclIsUtf8(agent));
    require(cleanUserAgent(agent) == agent && BclPrintable(agent) == agent);
    return 0;
}
