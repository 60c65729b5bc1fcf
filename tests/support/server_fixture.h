// A real server in the test's process, on a free port of 127.0.0.1, with a store of its own.
#pragma once

#include "support/event_log.h"
#include "support/temporary_folder.h"

#include "cachedb2/fac_mgr.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

class Capp;

class ServerFixture : public testing::Test {
protected:
    ServerFixture();
    ~ServerFixture() override;

    // Fills the store before the server is started (or while it runs in a child process that has ended).
    static void fillStore(const std::function<void(Cdb_fac_mgr&)>& fill);
    // Over UDP alone.
    static void setListening(Cdb_fac_mgr& store, const std::string& address, uint16_t port);
    // Adds the users first, first + 1, ... with the password "secret".
    static void addUsers(Cdb_fac_mgr& store, unsigned first, unsigned count);
    static void addUser(Cdb_fac_mgr& store, const std::string& name, const std::string& password,
                        const std::function<void(Cdb_usr_info&)>& change = {});

    // Starts the server on 127.0.0.1 (or `address`) and waits until it is ready there.
    void start(const std::string& address = "127.0.0.1");
    // Starts it and waits for nothing.
    void startOnly();
    [[nodiscard]] Capp& server();
    [[nodiscard]] Cdb_fac_mgr& store();
    // The first value of the first row.
    std::string sql(const std::string& statement);

    TemporaryFolder home; // the data folder
    TemporaryFolder scratch;
    EventLog& events = EventLog::subscribed();
    uint16_t port = 0;    // on which the server listens
    uint16_t tcpPort = 0; // set before start(); 0: off
    uint16_t tlsPort = 0;
};
