// Brings registrations to disk, and tells of them afterwards.
#pragma once

#include "registrar/registrar.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

// Collects changes for a moment, writes them as one batch and only then publishes the events and log lines, so that who
// reads the store after an event finds what the event told. Has a thread of its own: telephones never wait for the
// disk.
class RegistrationWriter {
public:
    // Writes a batch; 0 when it is on disk, else `reason` says why not.
    using WriteFunc = std::function<unsigned(const std::vector<Cdb_user_bindings>&, std::string& reason)>;

    explicit RegistrationWriter(WriteFunc write) : _write(std::move(write)) {}
    RegistrationWriter(const RegistrationWriter&) = delete;
    RegistrationWriter& operator=(const RegistrationWriter&) = delete;

    // Any thread; never waits for a write.
    void add(UserChange&& change);
    // The body of the thread. Does not return.
    void run();
    // Has everything written that was added before; waits at most so long. False: not all of it could be. Any thread.
    bool flush(unsigned timeoutMs);

private:
    // What is told of a change once it is stored.
    struct News {
        std::string user;
        std::string agent;
        std::string address;
        uint8_t state;
        bool isStateNew;
        bool isAgentNew;
        bool isAddressNew;
        std::vector<std::string> lines;
    };
    using States = std::unordered_map<std::string, Cdb_user_bindings>;

    static void addTo(States& states, Cdb_user_bindings&& later);
    void writeBatch(States&& states);
    static void publish(const News& news);

    WriteFunc _write;
    std::mutex _mutex;              // held for moves only, never during a write
    std::condition_variable _wake;  // there is work
    std::condition_variable _hurry; // the batch that is being collected shall be written at once
    std::condition_variable _done;
    States _states; // newest state of each user, so that a slow disk costs one record set a user
    std::vector<News> _news;
    bool _isFlushing = false;
    bool _isWriting = false;
    States _unwritten; // of batches that failed; the writer thread's own
    bool _isFailing = false;
};
