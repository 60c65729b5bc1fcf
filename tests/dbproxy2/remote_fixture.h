// A remote database on either engine.
#pragma once

#include "dbproxy2/remote_db.h"
#include "support/maria_server.h"
#include "support/patience.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

enum class Engine { Embedded, MariaDb };

class RemoteFixture : public testing::Test {
protected:
    RemoteFixture();
    ~RemoteFixture() override;

    // A server for this test, running.
    MariaServer& startServer(std::vector<std::string> options = {});
    [[nodiscard]] MariaServer& server() { return *_server; }
    // How to reach it; `Embedded`: the file in this test's folder.
    [[nodiscard]] Cdb_remote_settings settings(Engine engine) const;
    // With a separator at its end.
    [[nodiscard]] std::string folder() const { return _folder.path() + "/"; }
    [[nodiscard]] std::string path(const std::string& name) const { return _folder.file(name); }

    // A database object; the former one ends.
    Cdb_remote& open(const Cdb_remote_settings& settings);
    void close() { _remote.reset(); }
    [[nodiscard]] Cdb_remote& remote() { return *_remote; }
    [[nodiscard]] bool waitForActive() const;
    [[nodiscard]] bool waitForInactive() const;

    // SQL on the database past the program; the first column of the last row.
    std::string sql(Engine engine, const std::string& statements) const;

    // Log lines since the last call.
    static std::vector<std::string> takeLog();
    // True once a line with this text has come; it and those before it are taken.
    static bool waitForLog(const std::string& text);

private:
    TemporaryFolder _folder;
    std::unique_ptr<MariaServer> _server;
    std::unique_ptr<Cdb_remote> _remote;
};

// A test of both engines, with the database open.
class OnEachEngine : public RemoteFixture, public testing::WithParamInterface<Engine> {
protected:
    void SetUp() override;
    std::string sql(const std::string& statements) const { return RemoteFixture::sql(GetParam(), statements); }
};

[[nodiscard]] std::string engineName(const testing::TestParamInfo<Engine>& info);
