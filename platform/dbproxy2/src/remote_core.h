// The remote database under the settings that hold now.
#pragma once

#include "dbproxy2/remote_settings.h"
#include "remote_link.h"
#include "sql_run.h"

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

// Any thread.
class RemoteCore {
public:
    explicit RemoteCore(std::string folder) : _folder(std::move(folder)) {}
    ~RemoteCore();
    RemoteCore(const RemoteCore&) = delete;
    RemoteCore& operator=(const RemoteCore&) = delete;

    void apply(const Cdb_remote_settings& settings);
    [[nodiscard]] bool isActive();
    // Of the database that is connected; empty: none is.
    [[nodiscard]] std::string identity();

    // One statement. `what` names it in the log line of a refusal.
    SqlResult run(const std::string& what, std::string_view sql, std::span<const SqlValue> values, SqlRows* rows);
    // Several statements that count together or not at all; repeated when somebody else was in the way. `body` gives
    // the result of the statement that it ended with. In the database of this identity only. Lost: not known whether
    // they count.
    SqlResult transact(const std::string& what, const std::string& database,
                       const std::function<SqlResult(const SqlRun&)>& body);

private:
    [[nodiscard]] std::shared_ptr<RemoteLink> link();
    void report(const std::string& what, const SqlResult& result);

    const std::string _folder;
    std::mutex _mutex;
    std::optional<Cdb_remote_settings> _settings;
    std::shared_ptr<RemoteLink> _link;              // null: nowhere
    std::vector<std::shared_ptr<RemoteLink>> _left; // those of former settings that have not come to their end

    std::mutex _reportMutex;
    std::map<std::string, std::chrono::steady_clock::time_point> _reports; // reasons, and when they were logged
};
