// All that a store holds, in a form that tests compare.
#pragma once

#include "cachedb2/fac_mgr.h"

#include <filesystem>
#include <map>
#include <string>

// By table and key, the bytes of each record.
using StoreContent = std::map<std::string, std::string>;

// What the typed operations give.
[[nodiscard]] StoreContent contentOf(Cdb_fac_mgr& store);

// What the configuration file holds. One element that says so when it cannot be read.
[[nodiscard]] StoreContent contentOf(const std::filesystem::path& configFile);

// What a process that starts now would find if the one that writes died: the files are copied into `folder`, and read
// there.
[[nodiscard]] StoreContent contentAfterDeath(const std::filesystem::path& configFile,
                                             const std::filesystem::path& folder);
