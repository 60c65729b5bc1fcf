// A MariaDB server, or another one that speaks its protocol.
#pragma once

#include "engine.h"

struct MariaAddress {
    std::string host;
    unsigned port = 0; // 0: the protocol's own
    std::string user;
    std::string password;
    std::string database;
    std::string caFile; // where it exists: TLS is demanded and the server's certificate checked against it
};

[[nodiscard]] std::unique_ptr<SqlEngine> makeMariaEngine(MariaAddress address);
