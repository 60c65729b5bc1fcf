#include "trace/message_trace.h"

#include "server_log.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <array>
#include <strings.h>
#include <utility>

namespace {

constexpr int64_t kSecondMs = 1000;
constexpr size_t kDigestDigits = 32; // the shortest response (MD5) in hexadecimal
constexpr size_t kResponseNear = 64; // bytes behind its name within which it begins

constexpr std::array<const char*, 3> kTransports = {"UDP", "TCP", "TLS"};
constexpr std::array<const char*, 3> kWays = {"received from", "received and dropped from", "sent to"}; // by Way

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

size_t findWord(const std::string& text, std::string_view word, size_t from)
{
    for (size_t at = from; at + word.size() <= text.size(); ++at)
        if (strncasecmp(text.data() + at, word.data(), word.size()) == 0)
            return at;
    return std::string::npos;
}

// Whoever has a response can try passwords against it for as long as he likes. It may stand on a line of its own.
void hideResponses(std::string& header)
{
    constexpr std::string_view kWord = "response";
    for (size_t at = findWord(header, kWord, 0); at != std::string::npos; at = findWord(header, kWord, at)) {
        at += kWord.size();
        const auto end = header.begin() + static_cast<std::ptrdiff_t>(std::min(at + kResponseNear, header.size()));
        auto digits = header.begin() + static_cast<std::ptrdiff_t>(at);
        while ((digits = std::find_if(digits, end, isHexDigit)) != end) {
            const auto behind = std::find_if_not(digits, header.end(), isHexDigit);
            if (static_cast<size_t>(behind - digits) >= kDigestDigits) {
                header.replace(digits, behind, "...");
                break;
            }
            digits = std::min(behind, end);
        }
    }
}

// A password that is only encoded.
void hideBasic(std::string& header)
{
    constexpr std::string_view kWord = "basic ";
    for (size_t at = findWord(header, kWord, 0); at != std::string::npos; at = findWord(header, kWord, at)) {
        at += kWord.size();
        const size_t end = std::min(header.find_first_of("\r\n", at), header.size());
        header.replace(at, end - at, "...");
    }
}

std::string addressText(const SipSource& peer)
{
    Cbcl_uaddr text;
    text.setAddress(peer.address.c_str(), peer.port);
    return text.getURLStr();
}

const char* transportText(uint8_t transport)
{
    return transport < kTransports.size() ? kTransports[transport] : "?";
}

// The lines of the header one by one, without their ends.
void writeLines(std::string_view header)
{
    size_t lines = 0;
    while (!header.empty()) {
        const size_t end = std::min(header.find('\n'), header.size());
        std::string_view line = header.substr(0, end);
        header.remove_prefix(std::min(end + 1, header.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty())
            continue;
        if (++lines > MessageTrace::kMaxLines) {
            ServerLog("Trace:   (the rest of the header is left out)");
            return;
        }
        ServerLog("Trace:   %s", BclPrintable(line).c_str());
    }
}

} // namespace

void MessageTrace::begin(const std::string& address)
{
    const std::scoped_lock lock(_mutex);
    _address = address;
    _notedInSecond = _leftOut = 0;
    _isOn.store(true, std::memory_order_relaxed);
}

void MessageTrace::end()
{
    const std::scoped_lock lock(_mutex);
    _isOn.store(false, std::memory_order_relaxed);
}

bool MessageTrace::isWithinRate()
{
    const int64_t now = _clock.steadyMs();
    if (now - _secondBeganAtMs >= kSecondMs) {
        _secondBeganAtMs = now;
        _notedInSecond = 0;
    }
    return ++_notedInSecond <= kMaxPerSecond;
}

bool MessageTrace::isWanted(const SipSource& peer)
{
    unsigned leftOut = 0;
    {
        const std::scoped_lock lock(_mutex);
        if (!isOn() || peer.address != _address)
            return false;
        if (!isWithinRate()) {
            ++_leftOut;
            return false;
        }
        std::swap(leftOut, _leftOut);
    }
    if (leftOut != 0)
        ServerLog("Trace: %u messages came too fast and are left out.", leftOut);
    return true;
}

void MessageTrace::note(Way way, const SipSource& peer, std::string_view message)
{
    if (!isOn() || !isWanted(peer))
        return;
    size_t headerSize = message.find("\r\n\r\n");
    headerSize = headerSize == std::string_view::npos ? message.size() : headerSize + 4;
    std::string header(message.substr(0, headerSize));
    hideResponses(header);
    hideBasic(header);
    ServerLog("Trace: %s %s over %s, %zu bytes.", kWays.at(static_cast<size_t>(way)), addressText(peer).c_str(),
              transportText(peer.transport), message.size());
    writeLines(header);
    if (headerSize < message.size())
        ServerLog("Trace:   (a body of %zu bytes)", message.size() - headerSize);
}

MessageTrace& messageTrace()
{
    static MessageTrace& instance = *new MessageTrace(*new SystemClock);
    return instance;
}
