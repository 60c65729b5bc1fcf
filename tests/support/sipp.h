// Runs sipp against the server.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class TemporaryFolder;

// One line of sipp's injection file a user.
struct SippUser {
    std::string name;
    std::string password;
};

// Runs the scenario of tests/data/sipp once for each user, all over one socket. Gives sipp's exit code (0: every call
// went as the scenario says), -1 when it did not end. What it wrote lies in the folder.
int runSipp(const TemporaryFolder& folder, const std::string& scenario, uint16_t serverPort,
            const std::vector<SippUser>& users, unsigned callsPerSecond = 1000);
