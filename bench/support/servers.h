// The registrars that are measured, each as a process of its own on 127.0.0.1.
#pragma once

#include "support/child_process.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Ends with the object.
class MeasuredServer {
public:
    virtual ~MeasuredServer();
    MeasuredServer(const MeasuredServer&) = delete;
    MeasuredServer& operator=(const MeasuredServer&) = delete;

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] uint16_t port() const { return _port; }
    [[nodiscard]] pid_t pid() const { return _process->pid(); }
    // All that it wrote.
    [[nodiscard]] std::string output() const { return _process->output(); }
    void sendSignal(int signal) const { _process->sendSignal(signal); }
    // Ends it and gives all that it wrote.
    std::string end();
    void kill();

protected:
    explicit MeasuredServer(std::string name);
    // Returns when it answers; throws when it does not.
    void start(const std::vector<std::string>& command, const std::vector<std::string>& environment);

    const TemporaryFolder _folder; // for all that it writes

private:
    const std::string _name;
    const uint16_t _port;
    std::unique_ptr<ChildProcess> _process;
};

enum class ServedCalls : uint8_t { OfRegistered, Authenticated };

// Our server without console, with the users of the office and everything on: stored registrations, published events.
class ParlovexServer final : public MeasuredServer {
public:
    explicit ParlovexServer(unsigned users);
    // The same with a dial plan, and calls whose records are stored.
    ParlovexServer(unsigned users, ServedCalls calls);
    // Ends it by force and starts it anew with what it has stored. Gives the time from its start to its first answer.
    double restartMs();
    // Bytes that it has asked for and not given back.
    [[nodiscard]] double heapBytes();
    // How many users have a registration that is stored. Ends it.
    [[nodiscard]] size_t countBindings();

private:
    void startServer();
};

// Kamailio with one worker process, locations in memory.
class KamailioServer final : public MeasuredServer {
public:
    explicit KamailioServer(ServedCalls calls = ServedCalls::OfRegistered);
};
