// Schema versions of the files of the store.
#pragma once

#include "dbsqlite/connection.h"

#include <functional>
#include <span>

// Marks a file as ours (SQLite's application_id): the letters "PLVX".
constexpr int kApplicationId = 0x504c5658;
constexpr int kConfigVersion = 3;
constexpr int kRuntimeVersion = 2;

// The file of finished calls has a mark of its own, the letters "PLVC": it must not be taken for a store.
constexpr int kCallDetailsApplicationId = 0x504c5643;
constexpr int kCallDetailsVersion = 1;

// One step from version `to` - 1 to `to`, with the names of its time written out: it must not follow later changes of
// the descriptions.
struct Migration {
    int to;
    const char* sql;
};

// The steps of the two files, ascending. The first versions have none.
[[nodiscard]] std::span<const Migration> configMigrations();
[[nodiscard]] std::span<const Migration> runtimeMigrations();

enum class SchemaState {
    Ready,
    Newer,
    Foreign,
    Kept,  // the file is older, and was not to be migrated
    Failed // DbConnection::fault says how
};

// Brings an open configuration file to `wanted`: an empty file gets the newest schema, an older one is migrated step by
// step, each in a transaction of its own, after `mayMigrate` has said so.
[[nodiscard]] SchemaState prepareConfig(DbConnection& db, std::span<const Migration> steps, int wanted,
                                        const std::function<bool()>& mayMigrate);

// Brings the run-time file to its newest version: false when it is of a newer one or broken, and is to be made anew.
[[nodiscard]] bool prepareRuntime(DbConnection& db);

// The file of finished calls: an empty one gets its table.
[[nodiscard]] SchemaState prepareCallDetails(DbConnection& db);
