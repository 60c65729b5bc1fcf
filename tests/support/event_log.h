// What the server said on the event bus, for tests to wait for.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

// Hears log lines ("log TEXT"), the events of users ("state USER N", "agent USER TEXT", "address USER TEXT") and call
// records ("call ID start|ring|answer|end CALLER DIALED CALLED", at the end with the release code). Lives as long as
// the process, as its subscriptions do.
class EventLog {
public:
    static EventLog& subscribed();

    [[nodiscard]] std::vector<std::string> all() const;
    // True once an entry is there that equals, respectively contains the text.
    bool waitFor(const std::string& entry);
    bool waitForPart(const std::string& part);
    // True once so many entries begin like this.
    bool waitForCount(const std::string& beginning, size_t count);
    [[nodiscard]] size_t count(const std::string& beginning) const;
    void clear();

private:
    EventLog() = default;
    void note(std::string entry);
    bool waitUntil(const std::function<bool()>& isThere);

    mutable std::mutex _mutex;
    std::condition_variable _wake;
    std::vector<std::string> _entries;
};
