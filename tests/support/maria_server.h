// A MariaDB server of a test's own: its files in a temporary folder, its port free a moment ago, no part of the
// machine's services.
#pragma once

#include "support/child_process.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class MariaServer {
public:
    // With the account that the documentation gives the program; start() follows. `options` are further options of the
    // server.
    explicit MariaServer(std::vector<std::string> options = {});
    ~MariaServer();
    MariaServer(const MariaServer&) = delete;
    MariaServer& operator=(const MariaServer&) = delete;

    // Makes the files that servers start on, with the system tables. The build does it once, since it takes a while.
    static void makeData(const std::string& folder);

    // Returns when connections are taken; throws when they are not in time.
    void start();
    void stop(); // an orderly end
    void kill();
    void suspend() const; // it hangs: connections are taken by the system, and nothing is answered
    void resume() const;

    [[nodiscard]] uint16_t port() const { return _port; }
    [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

    static constexpr const char* kUser = "parlovex";
    static constexpr const char* kPassword = "it's \"secret\" %s";
    static constexpr const char* kDatabase = "billing";

    // As the administrator: the first column of the last row of the last statement; throws on an error.
    std::string sql(const std::string& statements) const;

private:
    void writeAccounts() const;

    TemporaryFolder _folder;
    const std::vector<std::string> _options;
    const uint16_t _port;
    int _starts = 0;
    std::unique_ptr<ChildProcess> _process;
};
