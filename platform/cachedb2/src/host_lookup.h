// Looking up the host names of the configuration.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// A host of the configuration and what it is there for ("SMTP server").
struct HostUse {
    std::string use;
    std::string host; // a name or an address
};

// The host of "host", "host:port" or "[address]:port", trimmed.
[[nodiscard]] std::string hostOf(std::string_view hostAndPort);

// Asks the system for each name and writes what it found to the log, a line a name; addresses are no names. A name
// server may take half a minute: not for a thread that others wait for. Ends early when the result is stale. Gives 0.
unsigned lookUpHosts(const std::vector<HostUse>& hosts, const std::function<bool()>& isStale);
