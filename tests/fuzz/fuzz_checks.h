// What all targets need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// Like assert, in every build. (std::source_location asks for a newer compiler.)
inline void require(bool isTrue, const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    if (isTrue)
        return;
    std::fprintf(stderr, "%s:%d: does not hold\n", file, line);
    std::abort();
}

inline std::string_view textOf(const uint8_t* data, size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

// Parts of one input: a record separator stands between them.
inline constexpr char kBetweenParts = '\x1e';

// Takes the first part off; the rest is empty behind the last one.
inline std::string_view takePart(std::string_view& rest)
{
    const size_t end = rest.find(kBetweenParts);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return part;
}
