// What the server changes in session descriptions (RFC 4566).
#pragma once

#include <string>
#include <string_view>

// With the port of every video stream set to 0 (RFC 3264 section 6: refused).
[[nodiscard]] std::string withoutVideo(std::string_view sdp);
