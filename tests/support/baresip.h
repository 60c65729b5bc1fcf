// A telephone: baresip without sound, picture and console.
#pragma once

#include "support/child_process.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class TemporaryFolder;

// Registers the user with the password "secret" for 600 s with the server at that port of 127.0.0.1 ("udp", "tcp",
// "tls"), and unregisters when it gets SIGTERM. Its files lie in the folder.
std::unique_ptr<ChildProcess> startBaresip(const TemporaryFolder& folder, const std::string& user, uint16_t serverPort,
                                           const std::string& transport = "udp");

// What a telephone with audio does, beside what it does without.
struct BaresipAudio {
    unsigned toneHz = 0;      // it sings for a minute
    std::string dialed = {};  // calls this user at once; empty: it answers whoever calls
    uint16_t commandPort = 0; // TCP, for tellBaresip(); 0: it is told nothing
};

// With audio that needs no sound card; all on the loopback interface. Its output names who calls and who sends it
// sound.
std::unique_ptr<ChildProcess> startBaresipWithAudio(const TemporaryFolder& folder, const std::string& user,
                                                    uint16_t serverPort, const std::string& transport,
                                                    const BaresipAudio& audio);

// Has the telephone with that command port do something, for example "transfer" to "sip:2003@127.0.0.1:5060". False: it
// takes no command.
[[nodiscard]] bool tellBaresip(uint16_t commandPort, const std::string& command, const std::string& argument);

// The sound that it got: 8000 samples a second. Whole once the process has ended.
[[nodiscard]] std::vector<int16_t> heardBy(const TemporaryFolder& folder);
