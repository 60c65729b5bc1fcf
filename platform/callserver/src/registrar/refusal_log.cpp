#include "registrar/refusal_log.h"

#include "server_log.h"

#include "bcl2/text.h"

#include <utility>

namespace {

// Bytes. What strangers send must neither push the rest out of the line nor fill the memory.
constexpr size_t kMaxUser = 64;
constexpr size_t kMaxReason = 256;

} // namespace

void RefusalLog::note(const std::string& user, const std::string& address, const std::string& source,
                      const std::string& reason, const char* what)
{
    const int64_t now = _clock.steadyMs();
    const std::string shownUser = BclPrintable(user, kMaxUser);
    const std::string shownReason = BclPrintable(reason, kMaxReason);
    std::string key = what + ('\n' + shownUser) + '\n' + address + '\n' + shownReason;
    if (const auto it = _loggedAtMs.find(key); it != _loggedAtMs.end() && now - it->second < kPauseMs)
        return;
    if (_loggedAtMs.size() >= kMaxEntries) {
        std::erase_if(_loggedAtMs, [now](const auto& entry) { return now - entry.second >= kPauseMs; });
        if (_loggedAtMs.size() >= kMaxEntries) {
            if (!std::exchange(_isFull, true))
                ServerLog("Many requests are refused; further ones are not logged for a while.");
            return;
        }
    }
    _isFull = false;
    _loggedAtMs.insert_or_assign(std::move(key), now);
    ServerLog("%s of user %s from %s refused: %s.", what, shownUser.c_str(), source.c_str(), shownReason.c_str());
}
