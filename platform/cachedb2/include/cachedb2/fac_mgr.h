// The facade of the configuration store.
#pragma once

#include "cachedb2/local_db.h"
#include "cachedb2/registrations.h"
#include "cachedb2/results.h"
#include "cachedb2/snapshot.h"
#include "cachedb2/sys_tbl.h"
#include "cachedb2/usr_info.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Tables that listeners hear of.
enum class Edb_table { LocalUsers, System };

// A stored change. key is empty when many records changed at once (a bulk is one change); it lives for the call only.
struct Cdb_change {
    Edb_table table;
    std::string_view key;
    bool isRemoval = false; // the record was deleted; one of the same key may have been added since
};

// Where a store lies. Empty: the data folder of this instance, and its own file for both read handles.
struct Cdb_options {
    std::string dataFolder;
    std::string cacheFile; // file behind GetCacheDB()
    std::string localFile; // file behind GetLocalDB()
};

// One per process, owned by the server application object. Typed operations may be called on any thread; they return
// kDbOk only when the change is on disk. The two read handles belong to the GUI thread.
class Cdb_fac_mgr {
public:
    Cdb_fac_mgr() : Cdb_fac_mgr(Cdb_options{}) {}
    explicit Cdb_fac_mgr(const Cdb_options& options);
    ~Cdb_fac_mgr();
    Cdb_fac_mgr(const Cdb_fac_mgr&) = delete;
    Cdb_fac_mgr& operator=(const Cdb_fac_mgr&) = delete;

    // False when the store could not be opened (a log line said why): reads are empty, writes fail, defaults hold.
    [[nodiscard]] bool isOpen() const;

    [[nodiscard]] Clocal_db* GetCacheDB();
    [[nodiscard]] Clocal_db* GetLocalDB();

    // Local users. Keys: 1 to 32 bytes of UTF-8 without control characters.
    unsigned DbGetUsrInfo(const char* user, Cdb_usr_info& record);
    unsigned DbSetLocalUserData(const Cdb_usr_info& record); // adds or replaces; run-time state is not written
    unsigned DbDelUsrInfo(const char* user);                 // and the user's registrations
    unsigned DbIsLocalUser(const char* user);
    unsigned DbGetUsrCnt();
    // Makes the users start, start + 1, ... (total of them, at most kMaxAddMany) in one transaction; names that exist
    // are skipped. Null or empty password: a random one of 12 letters and digits each; longer than 32 bytes: refused.
    static constexpr unsigned kMaxAddMany = 100000; // far above the console's 300; bounds the transaction
    unsigned DbAddUserMany(unsigned start, unsigned total, const char* password);

    // The system record, null when the store holds none. GUI thread; saved by its SaveDB().
    [[nodiscard]] Cdb_sys_tbl* DbGetSysTbl();
    unsigned DbSetSysData(const Cdb_sys_data& record);

    // Newest versions for the server's threads.
    [[nodiscard]] const SnapshotBox<Snapshot<Cdb_usr_info>>& users() const;
    [[nodiscard]] const SnapshotBox<Cdb_sys_data>& system() const;

    // Called on the writing thread after the next version is in place, while no lock is held: listeners post what
    // follows and return. Never withdrawn.
    void addListener(std::function<void(const Cdb_change&)> listener);

    // Registrations (run-time file). Each element replaces all that is stored of its user; one transaction, safe
    // against a killed process. On a failure `reason`, where given, says why; nothing is logged.
    unsigned DbWriteRegistrations(const std::vector<Cdb_user_bindings>& changes, std::string* reason = nullptr);
    [[nodiscard]] std::vector<Cdb_user_bindings> DbReadRegistrations();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};
