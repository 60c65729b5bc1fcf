// What connections may cost.
#pragma once

#include <cstddef>
#include <cstdint>

// A stranger's connection is one on which nobody was authenticated yet, and whose address is not an allowed one. Times
// in ms.
struct StreamLimits {
    int64_t handshake = 10'000;    // from the accept to the end of the TLS handshake
    int64_t firstMessage = 10'000; // from there to the end of the first message
    int64_t message = 10'000;      // from the first byte of a message to its last
    int64_t writing = 10'000;      // until a telephone takes what is sent to it
    int64_t closing = 2'000;       // for the last answers after a telephone closed its direction
    int64_t strangerIdle = 60'000; // after the last message
    int64_t knownIdle = 3'660'000; // the longest registration and a minute
    uint32_t strangerRate = 50;    // messages a second, and as many at once
    size_t writeBuffer = 262'144;  // bytes for a telephone that does not take them

    size_t connections = 10'000;
    // Some 60 kB each with TLS. One more ends the oldest: a flood cannot keep telephones out for longer than it takes
    // them to say who they are.
    size_t strangers = 1'000;
    size_t strangersOfSource = 100; // an office behind one address comes back at once after a power cut
};
