// The users of the benches: u0, u1, ... with the passwords p0, p1, ...
#pragma once

#include "support/sipp.h"

#include <cstdint>
#include <string>
#include <vector>

class TemporaryFolder;

constexpr unsigned kOfficeUsers = 10'000; // as many as the reference's configuration knows

// Fills a data folder: the users, a server that listens on this port of 127.0.0.1 with the realm "parlovex", and no
// limit on what one source may ask, since all load comes from one. Throws when the store refuses.
void fillOffice(const std::string& dataFolder, unsigned users, uint16_t port);

// The same for calls: a dial plan, a last user at whom calls may wait, and calls that are authenticated, or believed to
// the telephone that registered.
void fillCallOffice(const std::string& dataFolder, unsigned users, uint16_t port, bool areCallsAuthenticated);

// For sipp: the users first, first + 1, ...
[[nodiscard]] std::vector<SippUser> officeUsers(unsigned first, unsigned count);

// Has users register at this rate, `count` times in turn, always from the same port (or each would seem to have moved).
// Throws when a registration fails.
SippResult registerAll(const TemporaryFolder& folder, uint16_t serverPort, uint16_t ownPort,
                       const std::vector<SippUser>& users, unsigned count, unsigned perSecond,
                       const std::string& scenario = "register.xml");
