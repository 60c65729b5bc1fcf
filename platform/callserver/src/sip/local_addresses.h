// The addresses of this machine.
#pragma once

#include <string>
#include <vector>

// Literals of all interfaces that are up, IPv4 first, without link-local ones of IPv6 (they need a scope to be
// reached).
[[nodiscard]] std::vector<std::string> localAddresses();
