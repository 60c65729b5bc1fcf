// A telephone: baresip without sound, picture and console.
#pragma once

#include "support/child_process.h"

#include <cstdint>
#include <memory>
#include <string>

class TemporaryFolder;

// Registers the user with the password "secret" for 600 s with the server at that port of 127.0.0.1 ("udp", "tcp",
// "tls"), and unregisters when it gets SIGTERM. Its files lie in the folder.
std::unique_ptr<ChildProcess> startBaresip(const TemporaryFolder& folder, const std::string& user, uint16_t serverPort,
                                           const std::string& transport = "udp");
