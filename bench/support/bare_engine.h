// SQLite by itself, for what the store does with it.
#pragma once

#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

// Throws when the engine refuses something.
class BareEngine {
public:
    // A new file with the users' table of `store`, durable as that is (WAL, synchronous=FULL).
    static BareEngine likeUsersOf(const std::string& store, const std::string& file);
    // The files of a store as a reader has them: the run-time tables attached.
    static BareEngine reading(const std::string& config, const std::string& runtime);

    BareEngine(BareEngine&&) = default;
    BareEngine& operator=(BareEngine&&) = default;

    // Adds or replaces the user in a transaction of its own; the other columns are those of the store's first user.
    void replaceUser(const std::string& name, const std::string& description);
    // The users first, first + 1, ... in one transaction.
    void replaceUsers(unsigned first, unsigned count);
    // Prepares, reads all columns of all rows, and gives their number.
    [[nodiscard]] unsigned readRows(const std::string& sql);
    // All columns of one user with a statement that is kept; gives the bytes read.
    [[nodiscard]] size_t readUser(const std::string& name);

private:
    struct Closing {
        void operator()(sqlite3* handle) const;
        void operator()(sqlite3_stmt* statement) const;
    };
    using Connection = std::unique_ptr<sqlite3, Closing>;
    using Statement = std::unique_ptr<sqlite3_stmt, Closing>;

    explicit BareEngine(const std::string& file);
    void run(const std::string& sql);
    Statement prepare(const std::string& sql);
    // The number of rows; `bytes` grows by what was read.
    static unsigned readAll(sqlite3_stmt* statement, size_t& bytes);

    Connection _connection;
    Statement _replace;
    Statement _readUser;
};
