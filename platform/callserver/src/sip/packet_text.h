// Looks at messages as texts, before anything parses them. Any thread.
#pragma once

#include <optional>
#include <span>
#include <string_view>

[[nodiscard]] std::string_view withoutEmptyLines(std::string_view packet);
// The first line begins with this word: a method, or "SIP/2.0" for an answer.
[[nodiscard]] bool isMethod(std::string_view packet, std::string_view method);
// The value of the first of these headers, on its first line; nothing when there is none. Names of all forms are to be
// given.
[[nodiscard]] std::optional<std::string_view> headerOf(std::string_view packet,
                                                       std::span<const std::string_view> names);
// Value of the Call-ID header; empty: none.
[[nodiscard]] std::string_view callIdOf(std::string_view packet);
