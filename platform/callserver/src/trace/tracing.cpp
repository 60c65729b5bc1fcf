#include "trace/tracing.h"

#include "server_log.h"
#include "sip/source_key.h"

#include "bcl2/text.h"

#include <string_view>
#include <utility>

namespace {

// Bytes; longer ones are neither addresses nor numbers.
constexpr size_t kMaxShown = 64;

std::string_view trimmedText(const char* text)
{
    return BclTrimmed(text == nullptr ? std::string_view() : std::string_view(text));
}

} // namespace

void Tracing::onAddress(const char* text)
{
    const std::string typed(trimmedText(text));
    const std::string address = canonicalAddress(typed);
    if (address.empty()) {
        ServerLog("No trace was set: \"%s\" is not an IP address.", BclPrintable(typed, kMaxShown).c_str());
        return;
    }
    const std::scoped_lock lock(_mutex);
    _traced = "SIP messages to and from " + address;
    ServerLog("Trace on: %s.", _traced.c_str());
    _messages.begin(address);
}

void Tracing::onPrefix(MessageTrace::Whose kind, const char* text)
{
    const char* const whose = kind == MessageTrace::Whose::Caller ? "caller" : "called";
    const std::string prefix = BclPrintable(trimmedText(text), kMaxShown);
    if (prefix.empty()) {
        ServerLog("No trace was set: the %s number is blank.", whose);
        return;
    }
    const std::scoped_lock lock(_mutex);
    _messages.beginCalls(kind, prefix);
    _traced = std::string("calls whose ") + whose + " number begins with " + prefix;
    ServerLog("Trace on: %s.", _traced.c_str());
}

void Tracing::stop()
{
    const std::scoped_lock lock(_mutex);
    _messages.end();
    const std::string traced = std::exchange(_traced, {});
    if (traced.empty())
        ServerLog("No trace was on.");
    else
        ServerLog("Trace off: %s.", traced.c_str());
}
