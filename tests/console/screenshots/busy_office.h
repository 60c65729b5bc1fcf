// What happens in the demo office while its windows are looked at.
#pragma once

class Cdb_fac_mgr;

// Rows of the tables that the demo leaves empty, and a server that listens on this machine only. Call before the
// server starts.
[[nodiscard]] bool completeOffice();
// Registers so many of its users with the server, as their telephones would: the server log has a line for each.
constexpr int kTelephones = 5;
void registerTelephones(Cdb_fac_mgr& store);
// Telephones that are there, ring and talk, and a line that is registered, as the server tells it.
void publishStates(Cdb_fac_mgr& store);
// Calls in each of their states.
void publishCalls();
