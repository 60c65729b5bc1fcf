// What tests of pages on the remote database stand on: either engine, the embedded one unless a test asks for both.
#pragma once

#include "dbproxy2/remote_db.h"
#include "support/editor_page_fixture.h"
#include "support/maria_server.h"

#include <memory>
#include <optional>
#include <string>

enum class RemoteEngine { Embedded, MariaDb };

class RemotePageFixture : public EditorFixture {
protected:
    void SetUp() override; // returns when the database is connected

    [[nodiscard]] virtual RemoteEngine engine() const { return RemoteEngine::Embedded; }
    // Of this test's own; only where the engine is MariaDb.
    [[nodiscard]] MariaServer& server() { return *_server; }

    // False when it never came to that.
    [[nodiscard]] bool waitForRemote(bool isActive);
    // From here on there is no remote database, as when the settings name none.
    void leaveRemote();
    void comeBack(); // to the one of the start
    // Presses Refresh until the page shows this: a look is in vain on a machine that stands still for longer than an
    // operation may take.
    template <class Show, class Expected>
    void expectAfterRefresh(const Show& show, const Expected& expected, const char* file = __builtin_FILE(),
                            int line = __builtin_LINE())
    {
        const testing::ScopedTrace trace(file, line, "after Refresh");
        const auto isShown = [&] {
            press(Refresh);
            return show() == expected;
        };
        (void)waitUntil(isShown);
        EXPECT_EQ(show(), expected);
    }
    // SQL past the program, as of another program that uses the database.
    void sql(const std::string& statements);
    // From here on the database takes no new rows of this table, and lets none go.
    void refuseInserts(const std::string& table) { refuse("insert", table); }
    void refuseDeletes(const std::string& table) { refuse("delete", table); }

    template <class Record>
    void keep(const Record& record)
    {
        ASSERT_EQ(remote().set(record), kDbOk);
    }
    // The record of this key; none when there is no such record.
    template <class Record>
    [[nodiscard]] std::optional<Record> stored(Record key)
    {
        return remote().get(key) == kDbOk ? std::optional(key) : std::nullopt;
    }
    template <class Record>
    [[nodiscard]] unsigned count()
    {
        return remote().template count<Record>();
    }

private:
    [[nodiscard]] Cdb_remote& remote() { return *store().DbGetRemote(); }
    void refuse(const std::string& what, const std::string& table);
    void applySettings(const Cdb_remote_settings& settings);
    [[nodiscard]] Cdb_remote_settings ownSettings() const;

    std::unique_ptr<MariaServer> _server;
};

// The same page on each engine in turn.
template <class Fixture>
class OnEachRemote : public Fixture, public testing::WithParamInterface<RemoteEngine> {
protected:
    [[nodiscard]] RemoteEngine engine() const override { return this->GetParam(); }
};

[[nodiscard]] std::string remoteEngineName(const testing::TestParamInfo<RemoteEngine>& info);
inline const auto kEachRemote = testing::Values(RemoteEngine::Embedded, RemoteEngine::MariaDb);
