// Calls between telephones that sipp plays.
#pragma once

#include "support/sipp.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct CallsWanted {
    unsigned count = 0;
    unsigned perSecond = 0;
    unsigned talkMs = 100; // from the answer to the end
    // With passwords; then all call the last user, as sipp makes credentials for one number only.
    bool areAuthenticated = false;
};

struct CallsMade {
    unsigned successful = 0; // on both sides, from the INVITE to the answer of the BYE
    unsigned failed = 0;
    unsigned retransmissions = 0;
    double seconds = 0;
    std::string output; // of sipp
};

// Users of one server who call, and as many who are called: the first calls the first, and so on in turns. Each half
// registers at one telephone, which stays where it is.
class CallTelephones {
public:
    // Of the office's users the first, first + 1, ... Throws when they cannot register.
    CallTelephones(uint16_t serverPort, unsigned firstUser, unsigned pairs);

    // One run, beside whatever else happens until wait().
    class Run {
    public:
        Run(const CallTelephones& telephones, const CallsWanted& wanted);
        CallsMade wait();

    private:
        const unsigned _count;
        SippLoad _called;
        SippLoad _calling;
    };
    [[nodiscard]] std::unique_ptr<Run> start(const CallsWanted& wanted) const
    {
        return std::make_unique<Run>(*this, wanted);
    }
    // Throws when a call fails.
    CallsMade run(const CallsWanted& wanted) const;

private:
    [[nodiscard]] SippPlan planOf(const std::string& scenario, uint16_t ownPort, const CallsWanted& wanted) const;

    const TemporaryFolder _scratch;
    const uint16_t _serverPort;
    const uint16_t _callingPort;
    const uint16_t _calledPort;
    std::vector<SippUser> _users; // who call; the third field is whom
};

// Throws unless all of them went well.
void expectAllMade(const CallsMade& made, unsigned count);
