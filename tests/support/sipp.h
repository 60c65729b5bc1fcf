// Runs sipp against the server.
#pragma once

#include "support/child_process.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class TemporaryFolder;

// One line of sipp's injection file a user.
struct SippUser {
    std::string name;
    std::string password;
    std::string third = {}; // for scenarios that have such a field
};

struct SippPlan {
    // A file of tests/data/sipp, or a path. A line "@file@" in it stands for that file, "[=name]" for one of the
    // values.
    std::string scenario;
    std::map<std::string, std::string> values = {};
    uint16_t serverPort = 0;
    uint16_t ownPort = 0; // 0: any. The same in several runs, and the telephones stay where they are
    bool isTcp = false;
    std::vector<SippUser> users = {}; // none: the scenario has no fields
    std::string dialed = {};          // whom credentials of calls are for; empty: they are for the server itself
    unsigned count = 0;               // how often the scenario is run, over the users in turn; 0: once for each user
    unsigned perSecond = 1000;
    // False: nothing is sent twice, so that one lost packet, but no late one, makes the run fail.
    bool isRepeating = true;
    // So many of a hundred messages are lost in each direction.
    unsigned lostPercent = 0;
    unsigned pauseMs = 0; // that the scenario rests; so much longer may the run take
};

struct SippResult {
    bool isComplete = false; // sipp has ended by itself, and said what became of its calls
    unsigned successful = 0;
    unsigned failed = 0;
    unsigned retransmissions = 0;
    double seconds = 0;
    std::string output; // of sipp, for who wants to know why

    [[nodiscard]] bool isAll(unsigned count) const { return isComplete && successful == count && failed == 0; }
};

// One run of sipp, all over one socket of 127.0.0.1, beside whatever else happens until wait(). What sipp wrote lies in
// the folder.
class SippLoad {
public:
    SippLoad(const TemporaryFolder& folder, const SippPlan& plan);

    // True once it hears what is sent to its port of 127.0.0.1; the plan has to name it. For scenarios that begin with
    // waiting.
    [[nodiscard]] bool waitUntilListening() const;
    SippResult wait();

private:
    uint16_t _ownPort;
    bool _isTcp;
    std::string _statistics;
    std::chrono::seconds _patience;
    std::unique_ptr<ChildProcess> _process;
};

// Runs the scenario once for each user. Gives sipp's exit code (0: every call went as the scenario says), -1 when it
// did not end.
int runSipp(const TemporaryFolder& folder, const std::string& scenario, uint16_t serverPort,
            const std::vector<SippUser>& users, unsigned callsPerSecond = 1000);
