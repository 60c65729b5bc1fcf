// The remote database: where the tables of DISA, prepaid and calling cards lie.
#pragma once

#include "dbproxy2/calling_card.h"
#include "dbproxy2/disa.h"
#include "dbproxy2/prepaid.h"
#include "dbproxy2/remote_settings.h"
#include "dbproxy2/results.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

class RemoteCore;
class RemoteTable;

template <class Record>
const RemoteTable& remoteTableOf();
template <>
const RemoteTable& remoteTableOf<Ctbl_disa_account>();
template <>
const RemoteTable& remoteTableOf<Ctbl_disa_caller_id>();
template <>
const RemoteTable& remoteTableOf<Ctbl_prepaid_rate>();
template <>
const RemoteTable& remoteTableOf<Ctbl_sub_balance>();
template <>
const RemoteTable& remoteTableOf<Ctbl_caller_prepaid>();
template <>
const RemoteTable& remoteTableOf<Ctbl_callingcard_fee_matrix>();
template <>
const RemoteTable& remoteTableOf<Ctbl_callingcard_balance>();

// Whose balance.
enum class Ebalance_kind : uint8_t { Subscriber = 1, CallingCard = 2 };
struct Cdb_balance_key {
    Ebalance_kind kind = Ebalance_kind::Subscriber;
    std::string name; // of the user, or the card
};

// One per facade. A thread of its own connects, watches the connection and comes back after a loss; every operation may
// be called on any thread and ends within two seconds, at once while there is no connection. 0 is success. Keys are
// checked as those of the store.
class Cdb_remote {
public:
    // The embedded engine keeps "billing.db" in `dataFolder` (a path that ends with a separator). A server's
    // certificate is checked when "remote-ca.pem" lies there.
    explicit Cdb_remote(std::string dataFolder);
    // Ends the connection; waits a few seconds at most for a name service or a disk that does not answer.
    ~Cdb_remote();
    Cdb_remote(const Cdb_remote&) = delete;
    Cdb_remote& operator=(const Cdb_remote&) = delete;

    // Takes effect at once and waits for nothing. The same settings again change nothing.
    void apply(const Cdb_remote_settings& settings);

    // The embedded engine is waited for while it is opened for the first time.
    [[nodiscard]] bool isActive() const;

    // get fills a record whose key is set; add refuses a key that exists, set adds or replaces, del fails when there is
    // none.
    template <class Record>
    [[nodiscard]] unsigned get(Record& record)
    {
        return get(remoteTableOf<Record>(), &record);
    }
    template <class Record>
    [[nodiscard]] unsigned add(const Record& record)
    {
        Record stored = record;
        return write(remoteTableOf<Record>(), &stored, true);
    }
    template <class Record>
    [[nodiscard]] unsigned set(const Record& record)
    {
        Record stored = record;
        return write(remoteTableOf<Record>(), &stored, false);
    }
    // As set, but a record that exists keeps this field as it is by now, and `record` takes it over.
    template <class Record, class Value>
    [[nodiscard]] unsigned setKeeping(Record& record, Value Record::*field)
    {
        Record stored = record;
        return rewrite(remoteTableOf<Record>(), &stored, &record, [&] { record.*field = stored.*field; });
    }
    template <class Record>
    [[nodiscard]] unsigned del(const Record& key)
    {
        return del(remoteTableOf<Record>(), &key);
    }
    template <class Record>
    [[nodiscard]] unsigned has(const Record& key)
    {
        return has(remoteTableOf<Record>(), &key);
    }
    template <class Record>
    [[nodiscard]] unsigned count()
    {
        return count(remoteTableOf<Record>());
    }

    // Takes `cents` (0 or more) from a balance that covers them: one statement. When the connection is lost meanwhile
    // it fails although it may have been done; what must be exact goes through Cdb_bookings.
    [[nodiscard]] unsigned debit(const Cdb_balance_key& account, int64_t cents);

    // Hears the text of every statement that a result set is asked to run, on the thread that asks. Set before others
    // use it.
    using Watch = std::function<void(std::string_view sql)>;
    void watchStatements(Watch watch) { _watch = std::move(watch); }

private:
    friend class Cdb_proxy;
    friend class Cdb_bookings;

    [[nodiscard]] unsigned get(const RemoteTable& table, void* record);
    [[nodiscard]] unsigned write(const RemoteTable& table, void* record, bool isNew);
    // In one transaction: fills `stored`, calls `merge`, writes `record`. One that is not there is just written.
    [[nodiscard]] unsigned rewrite(const RemoteTable& table, void* stored, void* record,
                                   const std::function<void()>& merge);
    [[nodiscard]] unsigned del(const RemoteTable& table, const void* key);
    [[nodiscard]] unsigned has(const RemoteTable& table, const void* key);
    [[nodiscard]] unsigned count(const RemoteTable& table);

    std::unique_ptr<RemoteCore> _core;
    Watch _watch; // empty: nobody listens
};
