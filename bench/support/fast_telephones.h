// Registrations as fast as a server answers, at little cost: sipp would be the limit.
#pragma once

#include <cstdint>
#include <memory>

// Many telephones in one thread over one UDP socket, each with one request under way; when one has registered, its
// place goes to the next user of the office.
class FastTelephones {
public:
    // So many users u0, u1, ... take turns; so many of them register at a time.
    FastTelephones(uint16_t serverPort, unsigned users, unsigned atATime);
    ~FastTelephones();
    FastTelephones(const FastTelephones&) = delete;
    FastTelephones& operator=(const FastTelephones&) = delete;

    struct Result {
        unsigned registered = 0;
        unsigned refused = 0; // answers that are neither a challenge nor 200
        unsigned lost = 0;    // without an answer for a second
        double seconds = 0;
        double ownCores = 0; // that this thread has used
    };
    Result run(double seconds);

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
