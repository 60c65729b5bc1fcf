// Parser of the Authorization header (RFC 7616 section 3.4).
#pragma once

#include <list>
#include <optional>
#include <string>
#include <string_view>

// The parameters that the server looks at, unquoted. Absent ones have no value. They point into the header that was
// parsed, and into the object itself: it can be moved, not copied.
struct DigestParams {
    DigestParams() = default;
    DigestParams(DigestParams&&) = default;
    DigestParams& operator=(DigestParams&&) = default;

    std::optional<std::string_view> username;
    std::optional<std::string_view> realm;
    std::optional<std::string_view> nonce;
    std::optional<std::string_view> uri;
    std::optional<std::string_view> response;
    std::optional<std::string_view> algorithm;
    std::optional<std::string_view> cnonce;
    std::optional<std::string_view> qop;
    std::optional<std::string_view> nc;

    std::list<std::string> unescaped; // values that had escapes; stay where they are when the list moves
};

enum class DigestParse {
    Ok,
    OtherScheme, // not "Digest"
    Malformed,
    Duplicate, // a known parameter stands twice
    TooLong,   // the header, a value or the number of parameters
};

// Parses the header's value, which must outlive `out`. Unknown parameters are passed over; what was filled in counts
// only with Ok.
[[nodiscard]] DigestParse parseDigestParams(std::string_view header, DigestParams& out);
