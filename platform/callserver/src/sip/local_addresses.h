// The addresses of this machine.
#pragma once

#include <string>
#include <vector>

// Literals of all interfaces that are up, IPv4 first, without link-local ones of IPv6 (they need a scope to be
// reached).
[[nodiscard]] std::vector<std::string> localAddresses();

// The literal of the address by which the machine would send to another one; empty: it has no way there.
[[nodiscard]] std::string localAddressTowards(const std::string& literal);
