// The parser of the Authorization header: no text harms it, and what it accepts keeps its limits.
#include "fuzz/fuzz_checks.h"
#include "registrar/digest_params.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = textOf(data, size);
    DigestParams params;
    if (parseDigestParams(text, params) != DigestParse::Ok)
        return 0;
    const std::array fields = {&params.username,  &params.realm,  &params.nonce, &params.uri, &params.response,
                               &params.algorithm, &params.cnonce, &params.qop,   &params.nc};
    for (const auto* field : fields)
        require(!*field ||
                ((*field)->size() <= text.size() && (*field)->find_first_of("\r\n") == std::string_view::npos));
    return 0;
}
