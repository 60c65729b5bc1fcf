// Bounded copies, UTF-8 limits and number texts. Every function may be called on any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// Length in bytes of the longest start of `text` that is at most `bound` bytes and cuts no UTF-8 character in two.
// Bytes that are no UTF-8 are counted as they stand.
[[nodiscard]] size_t BclUtf8Bound(std::string_view text, size_t bound);

// The well-formed UTF-8 character at the start of `text` (RFC 3629): its length in bytes, 0 when there is none or the
// text is empty. `code` is set only with a length.
[[nodiscard]] size_t BclDecodeUtf8(std::string_view text, char32_t& code);

// True for characters that could end a line, hide text or turn its direction: C0, C1, DEL, line and paragraph
// separators, bidirectional controls, and those that text widgets and converters take for marks of their own (U+FDD0 to
// U+FDEF, U+FEFF, U+FFF9 to U+FFFC, the last two of each plane).
[[nodiscard]] bool BclIsControlCharacter(char32_t code);

// True when `text` is well-formed UTF-8 (RFC 3629: no surrogates, no overlong forms, nothing above U+10FFFF).
[[nodiscard]] bool BclIsUtf8(std::string_view text);

// Copies at most min(bound, size - 1) bytes of `src` into the `size` bytes at `dst`, without cutting a UTF-8 character,
// and fills the rest of `dst` with zeros, so that equal texts have equal bytes. A null src is an empty text.
// Returns the number of bytes of text in dst. size 0: nothing is written.
size_t BclCopyText(char* dst, size_t size, std::string_view src, size_t bound);

// The same into a field whose size the compiler knows: a bound larger than the field is harmless.
template <size_t N>
size_t BclCopyStr(char (&dst)[N], const char* src, size_t bound = N - 1)
{
    return BclCopyText(dst, N, src == nullptr ? std::string_view() : std::string_view(src), bound);
}

// The text of a fixed field, also of one that is not terminated.
template <size_t N>
[[nodiscard]] std::string_view BclFieldText(const char (&field)[N])
{
    return {field, strnlen(field, N)};
}

// The text without blanks (space, tab, CR, LF) at both ends. The result points into `text`.
[[nodiscard]] std::string_view BclTrimmed(std::string_view text);

// The same in place on a NUL-terminated text; what was behind the new end is zero. Null is ignored.
void BclStrTrimSpace(char* text);

// True for null and for the empty text; blanks are not trimmed.
[[nodiscard]] bool BclStrIsBlank(const char* text);

// Decimal text of a signed number.
[[nodiscard]] std::string BclIntToStr(int value);

// Number texts with automatic base: "0x" hexadecimal, a leading "0" octal, else decimal; blanks at both ends are
// passed over. Anything else, and a number outside the type's range, is 0. BclStrToInt takes a sign; BclStrToU32 takes
// a leading "+" only.
[[nodiscard]] int32_t BclStrToInt(const char* text);
[[nodiscard]] uint32_t BclStrToU32(const char* text);

// The text as one line that can be shown and logged: control characters (as above) become "\xNN" or "\u{NNNN}", bytes
// that are no UTF-8 become U+FFFD, at most `bound` bytes of result.
[[nodiscard]] std::string BclPrintable(std::string_view text, size_t bound = 1024);
