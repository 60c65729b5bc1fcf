#include "streams/message_framer.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <strings.h>

namespace {

// The offset behind the empty line that ends the header; npos when it has not come yet.
size_t headerEnd(std::string_view text, size_t from)
{
    for (size_t at = text.find('\n', from); at != std::string_view::npos; at = text.find('\n', at + 1)) {
        const std::string_view rest = text.substr(at + 1, 2);
        if (!rest.empty() && rest[0] == '\n')
            return at + 2;
        if (rest == "\r\n")
            return at + 3;
    }
    return std::string_view::npos;
}

bool isNamed(std::string_view line, std::string_view name)
{
    if (line.size() <= name.size() || strncasecmp(line.data(), name.data(), name.size()) != 0)
        return false;
    const size_t colon = line.find_first_not_of(" \t", name.size());
    return colon != std::string_view::npos && line[colon] == ':';
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Digits with blanks around them.
std::optional<size_t> number(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

// Nothing when the header is above a bound, or its Content-Length no number, or another one in each of two lines. A
// message without one has no body: over a connection it must have one (RFC 3261 section 20.14), but old telephones
// leave it out when it is 0.
std::optional<size_t> bodyLength(std::string_view header)
{
    std::optional<size_t> length;
    size_t lines = 0;
    while (!header.empty()) {
        size_t end = header.find('\n');
        // A line that begins with a blank goes on with the one before.
        while (end + 1 < header.size() && (header[end + 1] == ' ' || header[end + 1] == '\t')) {
            end = header.find('\n', end + 1);
            ++lines;
        }
        const std::string_view line = header.substr(0, end + 1);
        header.remove_prefix(line.size());
        if (++lines > MessageFramer::kMaxHeaderLines)
            return std::nullopt;
        if (!isNamed(line, "Content-Length") && !isNamed(line, "l"))
            continue;
        const std::optional<size_t> value = number(line.substr(line.find(':') + 1));
        if (!value || (length && length != value))
            return std::nullopt;
        length = value;
    }
    return length.value_or(0);
}

bool isSipLine(std::string_view line)
{
    static constexpr std::string_view kProtocol = "SIP/";
    return std::search(line.begin(), line.end(), kProtocol.begin(), kProtocol.end(),
                       [](char a, char b) { return (a & ~0x20) == (b & ~0x20); }) != line.end();
}

} // namespace

MessageFramer::Result MessageFramer::next(std::string& message)
{
    if (const size_t start = _buffer.find_first_not_of("\r\n"); start != 0 && !_buffer.empty()) {
        if (_buffer.compare(0, 4, "\r\n\r\n") == 0) {
            _buffer.erase(0, 4);
            return Result::Ping;
        }
        if (start == std::string::npos) {
            // The rest of a ping may follow; more than that is of no use.
            _buffer.resize(std::min<size_t>(_buffer.size(), 3));
            return Result::NeedsMore;
        }
        _buffer.erase(0, start);
    }
    message.clear();
    const size_t lineEnd = _buffer.find('\n');
    if (lineEnd != std::string::npos && !isSipLine(std::string_view(_buffer).substr(0, lineEnd)))
        return Result::Broken;
    const size_t end = headerEnd(_buffer, _scanned);
    if (std::min(end, _buffer.size()) > kMaxHeaderBytes)
        return Result::Broken;
    if (end == std::string::npos) {
        _scanned = _buffer.size() < 3 ? 0 : _buffer.size() - 3;
        return Result::NeedsMore;
    }
    const std::optional<size_t> length = bodyLength(std::string_view(_buffer).substr(0, end));
    if (!length || *length > kMaxMessageBytes - end) {
        message = _buffer.substr(0, end);
        return Result::Broken;
    }
    if (_buffer.size() < end + *length)
        return Result::NeedsMore;
    message = _buffer.substr(0, end + *length);
    _buffer.erase(0, message.size());
    _scanned = 0;
    return Result::Message;
}
