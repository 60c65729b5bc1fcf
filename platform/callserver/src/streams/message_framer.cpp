#include "streams/message_framer.h"

#include "sip/header_bounds.h"

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

struct BodyLength {
    bool isSound = true; // the header keeps to its bounds, and what it says of the length is one number
    std::optional<size_t> value;
};

BodyLength bodyLength(std::string_view header)
{
    BodyLength length;
    HeaderBounds bounds;
    while (!header.empty() && length.isSound) {
        size_t end = header.find('\n') + 1;
        length.isSound = bounds.admits(header.substr(0, end));
        // A line that begins with a blank goes on with the one before.
        while (end < header.size() && (header[end] == ' ' || header[end] == '\t')) {
            const size_t start = end;
            end = header.find('\n', start) + 1;
            length.isSound = length.isSound && bounds.admits(header.substr(start, end - start));
        }
        const std::string_view line = header.substr(0, end);
        header.remove_prefix(end);
        if (!isNamed(line, "Content-Length") && !isNamed(line, "l"))
            continue;
        const std::optional<size_t> value = number(line.substr(line.find(':') + 1));
        length.isSound = length.isSound && value && (!length.value || length.value == value);
        length.value = value;
    }
    return length;
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
    if (std::min(end, _buffer.size()) > HeaderBounds::kMaxBytes)
        return Result::Broken;
    if (end == std::string::npos) {
        _scanned = _buffer.size() < 3 ? 0 : _buffer.size() - 3;
        return Result::NeedsMore;
    }
    const BodyLength length = bodyLength(std::string_view(_buffer).substr(0, end));
    const size_t size = end + length.value.value_or(0);
    if (!length.isSound || size > kMaxMessageBytes || size < end) {
        message = _buffer.substr(0, end);
        return Result::Broken;
    }
    if (_buffer.size() < size)
        return Result::NeedsMore;
    message = _buffer.substr(0, size);
    if (!length.value)
        message.insert(_buffer[end - 2] == '\r' ? end - 2 : end - 1, "Content-Length: 0\r\n");
    _buffer.erase(0, size);
    _scanned = 0;
    return Result::Message;
}
