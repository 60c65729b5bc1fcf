// What the server changes in session descriptions (RFC 4566).
#pragma once

#include <string>
#include <string_view>

// With the port of every video stream set to 0 (RFC 3264 section 6: refused).
[[nodiscard]] std::string withoutVideo(std::string_view sdp);

// The value of its origin ("o=") line; empty: it has none.
[[nodiscard]] std::string originOf(std::string_view sdp);

// With that origin in place of its own.
[[nodiscard]] std::string withOrigin(std::string_view sdp, std::string_view origin);

// An answer to the offer with that origin that takes its streams, and lets nothing pass yet.
[[nodiscard]] std::string heldAnswer(std::string_view offer, std::string_view origin);

// The origin of the next description of the same session: with a version higher by one (RFC 3264 section 8). As it is
// when it has no version.
[[nodiscard]] std::string nextOrigin(std::string_view origin);
