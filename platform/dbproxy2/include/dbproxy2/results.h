// The result codes of the store and of the remote database. No engine's own code ever passes through: some of them have
// the same numbers.
#pragma once

constexpr unsigned kDbOk = 0;     // found and filled, or stored durably
constexpr unsigned kDbFailed = 1; // anything else; the store keeps its previous content
constexpr unsigned kDbRow = 14;   // a cursor stands on a row
constexpr unsigned kDbHas = 1;    // presence tests: the key exists; 0 it does not
