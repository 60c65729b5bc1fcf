// The registrar of RFC 3261 section 10: requests in, answers and changes out, without sockets, files and waiting.
#pragma once

#include "cachedb2/registrations.h"
#include "cachedb2/snapshot.h"
#include "cachedb2/sys_tbl.h"
#include "cachedb2/usr_info.h"
#include "clock.h"
#include "registrar/bindings.h"
#include "registrar/register_auth.h"
#include "sip/sip_messages.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// What became different for a user: all of his bindings as they are to be stored, and what is to be told afterwards.
struct UserChange {
    Cdb_user_bindings stored;
    bool isStateNew = false;
    bool isAgentNew = false;
    bool isAddressNew = false;
    std::vector<std::string> lines; // for the log
};

// Owner of all bindings. One thread (the SIP thread once that runs).
class Registrar {
public:
    // RFC 3261 section 10.2 leaves the default to the registrar: an hour bounds how long a telephone that was unplugged
    // looks reachable.
    static constexpr uint32_t kDefaultExpires = 3600;
    static constexpr uint32_t kMaxExpires = 3600;
    // Shorter ones would be keep-alives: two registrations a second for every hundred telephones.
    static constexpr uint32_t kMinExpires = 60;

    using Sink = std::function<void(UserChange&&)>;

    // The sink is called within the calls below. Not for refreshes that change nothing, while what was told last does
    // for a restart.
    Registrar(const SnapshotBox<Snapshot<Cdb_usr_info>>& users, const SnapshotBox<Cdb_sys_data>& system,
              const Clock& clock, Sink sink);

    // Takes over what was stored when the server ended. Once, first.
    void load(const std::vector<Cdb_user_bindings>& stored);
    [[nodiscard]] RegisterReply handle(const RegisterRequest& request);
    // Whether a request of a call carries the credentials of its user. What the outcome points to lives until the next
    // call of this.
    [[nodiscard]] AuthOutcome authenticate(const CredentialedRequest& request);
    // Where a user can be reached now; null: nowhere. Valid until the next call of this.
    [[nodiscard]] const std::vector<Binding>* contactsOf(const std::string& user);
    // What a user's calls make of his state; kUsrOffline: he has none, and his registration tells. In the order of the
    // calls of this the states are told to the sink.
    void setCallStage(const std::string& user, Eusr_stage stage);
    // Removes what has expired; cheap when nothing has.
    void expire();
    // Users with a telephone that can be reached now.
    [[nodiscard]] size_t registeredUsers() const;
    // A stored user was added, changed or deleted; an empty name: any of them. A removal drops the user's bindings also
    // when a user of the same name has been added since.
    void userChanged(const std::string& user, bool isRemoval = false);

private:
    // A contact of a request that is to be set.
    struct WantedContact {
        const RegisterContact& contact;
        uint32_t expires;
        ContactUri uri; // made where the text alone finds no binding
    };

    RegisterReply answerTo(const RegisterRequest& request, AuthOutcome& outcome);
    RegisterReply handleAuthenticated(const RegisterRequest& request, const Cdb_usr_info& user);
    RegisterReply listContacts(const std::string& user) const;
    RegisterReply removeAll(const RegisterRequest& request);
    RegisterReply setContacts(const RegisterRequest& request);
    void setContacts(UserBindings& bindings, const RegisterRequest& request, std::vector<WantedContact>& wanted);
    static Binding* findContact(UserBindings* bindings, WantedContact& wanted);
    // Returns whether the user's bindings are to be told to the sink.
    bool setContact(UserBindings& bindings, const RegisterRequest& request, WantedContact& wanted,
                    const std::string& agent, UserChange& change);
    enum class Extent : uint8_t { All, RowOnly }; // of what is to be stored of a user
    void commit(const std::string& user, UserChange&& change);
    void commit(const std::string& user, UserChange&& change, ShownUser&& shown, Extent extent);
    // Of a user whose row stays.
    void showStage(const std::string& user, UserBindings& bindings);
    [[nodiscard]] ShownUser shownNow(const std::string& user, const UserBindings& bindings);
    [[nodiscard]] static Cdb_user_bindings storableRow(const std::string& user, const ShownUser& shown);
    void addContacts(Cdb_user_bindings& stored, const UserBindings& bindings) const;
    // A stored contact as a binding; nothing when it has expired.
    [[nodiscard]] std::optional<Binding> stillValid(const Cdb_sip_contact& contact) const;
    void checkAllUsers();
    void tellPort(const std::string& user, const Cdb_usr_info* record);

    SnapshotReader<Snapshot<Cdb_usr_info>> _users;
    SnapshotReader<Cdb_sys_data> _system;
    const Clock& _clock;
    Sink _sink;
    RegisterAuth _auth;
    BindingTable _table;
    std::unordered_map<std::string, uint32_t> _toldPorts; // of users with IP authentication, that are none
    uint64_t _order = 0;
};
