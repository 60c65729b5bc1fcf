// A store in a temporary folder, and the log lines that it wrote.
#pragma once

#include "cachedb2/fac_mgr.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class StoreFixture : public testing::Test {
protected:
    StoreFixture();

    // Opens the store anew, as the next start of the program would.
    Cdb_fac_mgr& open(const Cdb_options& options = {});
    void close() { _store.reset(); }
    Cdb_fac_mgr& store() { return *_store; }

    [[nodiscard]] std::filesystem::path path(const std::string& name) const { return _folder.file(name); }
    [[nodiscard]] const std::string& homeFolder() const { return _folder.path(); }
    [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

    // Log lines since the last call.
    static std::vector<std::string> takeLog();
    // How many files of the folder have names that begin like this.
    [[nodiscard]] int countFiles(const std::string& beginning) const;

    static void writeFile(const std::filesystem::path& file, const std::string& content);
    static std::string readFile(const std::filesystem::path& file);
    // Runs SQL on a file with the engine itself; the last value of the last row.
    static std::string sql(const std::filesystem::path& file, const std::string& statements);

    static Cdb_usr_info user(const std::string& name);

private:
    TemporaryFolder _folder;
    std::unique_ptr<Cdb_fac_mgr> _store;
};
