// Parser of the Authorization header (RFC 7616 section 3.4).
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The parameters that the server looks at, unquoted. Absent ones have no value.
struct DigestParams {
    std::optional<std::string> username;
    std::optional<std::string> realm;
    std::optional<std::string> nonce;
    std::optional<std::string> uri;
    std::optional<std::string> response;
    std::optional<std::string> algorithm;
    std::optional<std::string> cnonce;
    std::optional<std::string> qop;
    std::optional<std::string> nc;
};

enum class DigestParse {
    Ok,
    OtherScheme, // not "Digest"
    Malformed,
    Duplicate, // a known parameter stands twice
    TooLong,   // the header, a value or the number of parameters
};

// Parses the header's value. Unknown parameters are passed over; what was filled in counts only with Ok.
[[nodiscard]] DigestParse parseDigestParams(std::string_view header, DigestParams& out);
