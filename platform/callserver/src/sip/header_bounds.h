// What a header may be, so that parsing it takes no time worth mentioning.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Counts the lines of one header, the first one included. The stack's parser takes a bare CR for the end of a line,
// reads a line that is folded behind the first one as a header, and takes a time that grows with the square of the
// elements of a list: 50 ms for a header of 16 kB.
class HeaderBounds {
public:
    // Honest messages have some 20 lines of together 2 kB, with fewer than a hundred separators.
    static constexpr size_t kMaxBytes = 16'384;
    static constexpr size_t kMaxLines = 256;
    static constexpr size_t kMaxSeparators = 1000; // commas and semicolons

    // The next lines with their ends; of the last one what has come.
    [[nodiscard]] bool admits(std::string_view lines);

private:
    size_t _bytes = 0;
    size_t _lines = 0;
    size_t _separators = 0;
};
