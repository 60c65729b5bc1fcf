// Where the remote database is.
#pragma once

#include <string>
#include <string_view>

// The address of the embedded engine.
constexpr std::string_view kEmbeddedDatabase = "local";

struct Cdb_remote_settings {
    std::string address; // host of a server, or kEmbeddedDatabase; empty: none
    unsigned port = 0;   // 0: the engine's own
    std::string user;
    std::string password;
    std::string database;

    friend bool operator==(const Cdb_remote_settings&, const Cdb_remote_settings&) = default;
};
