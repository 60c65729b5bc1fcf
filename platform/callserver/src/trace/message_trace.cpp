#include "trace/message_trace.h"

#include "server_log.h"
#include "sip/packet_text.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"

#include <algorithm>
#include <array>
#include <strings.h>
#include <utility>

namespace {

constexpr int64_t kSecondMs = 1000;
constexpr size_t kMaxCallId = 256;   // bytes; calls with a longer one are not followed
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

const char* transportText(uint8_t transport)
{
    return transport < kTransports.size() ? kTransports[transport] : "?";
}

// One by one, without their ends.
void writeLines(std::string_view text, const char* what)
{
    size_t lines = 0;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty())
            continue;
        if (++lines > MessageTrace::kMaxLines) {
            ServerLog("Trace:   (the rest of the %s is left out)", what);
            return;
        }
        ServerLog("Trace:   %s", BclPrintable(line).c_str());
    }
}

bool isSessionDescription(std::string_view header)
{
    static constexpr std::array<std::string_view, 2> kNames = {"Content-Type", "c"};
    constexpr std::string_view kSdp = "application/sdp";
    const std::string_view type = headerOf(header, kNames).value_or(std::string_view());
    return type.size() >= kSdp.size() && strncasecmp(type.data(), kSdp.data(), kSdp.size()) == 0;
}

// Keys of the media (RFC 4568) are secrets.
void hideKeys(std::string& body)
{
    constexpr std::string_view kWord = "inline:";
    for (size_t at = findWord(body, kWord, 0); at != std::string::npos; at = findWord(body, kWord, at)) {
        at += kWord.size();
        const size_t end = std::min(body.find_first_of("| \r\n", at), body.size());
        body.replace(at, end - at, "...");
    }
}

void tellLeftOut(unsigned messages)
{
    if (messages != 0)
        ServerLog("Trace: %u messages came too fast and are left out.", messages);
}

void writeBody(std::string_view header, std::string_view body)
{
    ServerLog("Trace:   (a body of %zu bytes)", body.size());
    if (!isSessionDescription(header))
        return;
    std::string text(body);
    hideKeys(text);
    writeLines(text, "body");
}

} // namespace

void MessageTrace::begin(const std::string& address)
{
    const std::scoped_lock lock(_mutex);
    _address = address;
    _followed.clear();
    _inOrder.clear();
    _notedInSecond = _leftOut = 0;
    _tracesCalls.store(false, std::memory_order_relaxed);
    _isOn.store(true, std::memory_order_relaxed);
}

void MessageTrace::beginCalls(Whose whose, const std::string& prefix)
{
    const std::scoped_lock lock(_mutex);
    _address.clear();
    _whose = whose;
    _prefix = prefix;
    _followed.clear();
    _inOrder.clear();
    _notedInSecond = _leftOut = 0;
    _tracesCalls.store(true, std::memory_order_relaxed);
    _isOn.store(true, std::memory_order_relaxed);
}

void MessageTrace::follow(const std::string& callId)
{
    if (!_followed.insert(callId).second)
        return;
    _inOrder.push_back(callId);
    if (_inOrder.size() <= kMaxCalls)
        return;
    _followed.erase(_inOrder.front());
    _inOrder.pop_front();
}

bool MessageTrace::followIf(const std::string& callId, std::string_view caller, std::string_view called)
{
    const std::scoped_lock lock(_mutex);
    const std::string_view number = _whose == Whose::Caller ? caller : called;
    if (!tracesCalls() || callId.size() > kMaxCallId || !number.starts_with(_prefix) || _followed.count(callId) != 0)
        return false;
    follow(callId);
    return true;
}

void MessageTrace::followToo(const std::string& callId, const std::string& followed)
{
    const std::scoped_lock lock(_mutex);
    if (tracesCalls() && _followed.count(followed) != 0)
        follow(callId);
}

bool MessageTrace::follows(const std::string& callId)
{
    if (!tracesCalls())
        return false;
    const std::scoped_lock lock(_mutex);
    return _followed.count(callId) != 0;
}

bool MessageTrace::isTraced(const SipSource& peer, std::string_view message) const
{
    if (!tracesCalls())
        return peer.address == _address;
    return _followed.find(callIdOf(message)) != _followed.end();
}

void MessageTrace::end()
{
    unsigned leftOut = 0;
    {
        const std::scoped_lock lock(_mutex);
        _isOn.store(false, std::memory_order_relaxed);
        _tracesCalls.store(false, std::memory_order_relaxed);
        leftOut = std::exchange(_leftOut, 0);
    }
    tellLeftOut(leftOut);
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

bool MessageTrace::isWanted(const SipSource& peer, std::string_view message)
{
    unsigned leftOut = 0;
    {
        const std::scoped_lock lock(_mutex);
        if (!isOn() || !isTraced(peer, message))
            return false;
        if (!isWithinRate()) {
            ++_leftOut;
            return false;
        }
        std::swap(leftOut, _leftOut);
    }
    tellLeftOut(leftOut);
    return true;
}

void MessageTrace::note(Way way, const SipSource& peer, std::string_view message)
{
    if (!isOn() || !isWanted(peer, message))
        return;
    size_t headerSize = message.find("\r\n\r\n");
    headerSize = headerSize == std::string_view::npos ? message.size() : headerSize + 4;
    std::string header(message.substr(0, headerSize));
    hideResponses(header);
    hideBasic(header);
    ServerLog("Trace: %s %s over %s, %zu bytes.", kWays.at(static_cast<size_t>(way)), addressText(peer).c_str(),
              transportText(peer.transport), message.size());
    writeLines(header, "header");
    if (headerSize < message.size())
        writeBody(header, message.substr(headerSize));
}

MessageTrace& messageTrace()
{
    static MessageTrace& instance = *new MessageTrace(*new SystemClock);
    return instance;
}
