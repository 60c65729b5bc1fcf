// The files of a store: how they are opened, and what happens to one that cannot be used.
#pragma once

#include "dbsqlite/backups.h"
#include "dbsqlite/connection.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

// Opens the configuration file for writing, with the newest schema. `load` reads what the server needs from it and
// gives false when a read failed. A damaged, foreign or newer file is kept aside under another name and a fresh store
// is started; a file that merely cannot be reached stays where it is. An older file is migrated after a backup of it
// was made, and stays as it is when none can be made. Null: no store; a log line has said why.
[[nodiscard]] std::unique_ptr<DbConnection> openConfigFile(const std::string& path,
                                                           const std::function<bool(DbConnection&)>& load);

// How the configuration file is backed up.
[[nodiscard]] BackupPlan configBackups(const std::string& path);

// Opens the run-time file for writing; one that cannot be used is made anew, with a log line. Null: there is none.
[[nodiscard]] std::unique_ptr<DbConnection> openRuntimeFile(const std::string& path);

// Opens the file of finished calls for writing, with the newest schema; `lastId` is the largest key in it. A damaged,
// foreign or newer file is kept aside, with a log line, and a fresh one started. Null: `reason` says why there is none.
[[nodiscard]] std::unique_ptr<DbConnection> openCallDetailsFile(const std::string& path, int64_t& lastId,
                                                                std::string& reason);

// Keeps that file aside as `reason` says, once nobody has it open any more; a log line says so. False: it cannot be
// renamed, and `reason` says why.
[[nodiscard]] bool keepCallDetailsAside(const std::string& path, const char* word, std::string& reason);

// A connection that only reads `path`. Null when the file is not there.
[[nodiscard]] std::unique_ptr<DbConnection> openReader(const std::string& path);

// The same, and it finds the run-time tables too; they are empty when the file of them cannot be used.
[[nodiscard]] std::unique_ptr<DbConnection> openPageReader(const std::string& path, const std::string& runtimePath);

// Renames a file and what the engine keeps beside it to "<path>.<word>-<date>-<time>". Returns the new name, empty when
// it could not be renamed.
[[nodiscard]] std::string keepAside(const std::string& path, const char* word);
