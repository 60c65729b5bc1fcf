// What happens in the demo office while its windows are looked at.
#pragma once

class Cdb_fac_mgr;

// Rows of the tables that the demo leaves empty, and a server that listens on this machine only. Call before the
// server starts.
[[nodiscard]] bool completeOffice();
// Telephones that are there, ring and talk, and a line that is registered, as the server tells it.
void publishStates(Cdb_fac_mgr& store);
// Calls in each of their states.
void publishCalls();
