// Who may begin a call or send a message.
#pragma once

#include "cachedb2/snapshot.h"
#include "cachedb2/sys_tbl.h"
#include "cachedb2/usr_info.h"
#include "dialplan/call_request.h"
#include "registrar/refusal_log.h"
#include "registrar/registrar.h"
#include "sip/call_message.h"
#include "sip/sip_agent.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>

// Finds the source of a request: a user by his address or his credentials, or an unknown one where those are let in.
// SIP thread.
class CallAdmission {
public:
    // What the credentials of a request say of its source; false: it is not to be answered.
    using CredentialsSink = std::function<bool(const SipSource& source, Credentials credentials)>;

    CallAdmission(const SnapshotBox<Snapshot<Cdb_usr_info>>& users, const SnapshotBox<Cdb_sys_data>& system,
                  Registrar& registrar, RefusalLog& refusals, CredentialsSink sink)
        : _userBox(users),
          _users(users),
          _system(system),
          _registrar(registrar),
          _refusals(refusals),
          _sink(std::move(sink))
    {}

    // Served: `source` is who sent it.
    [[nodiscard]] CallVerdict admit(const CallMessage& request, CallSource& source);

private:
    [[nodiscard]] CallVerdict authenticate(const CallMessage& request, CallSource& source);
    [[nodiscard]] const std::string* userOfAddress(const SipSource& source);
    [[nodiscard]] bool isRegisteredFrom(const std::string& user, const SipSource& source);

    const SnapshotBox<Snapshot<Cdb_usr_info>>& _userBox;
    SnapshotReader<Snapshot<Cdb_usr_info>> _users;
    SnapshotReader<Cdb_sys_data> _system;
    Registrar& _registrar;
    RefusalLog& _refusals;
    CredentialsSink _sink;
    void followAddresses();

    // Users with IP authentication by address and port, of that version of the table. Port 0 is any.
    std::unordered_map<std::string, std::map<uint16_t, std::string>> _byAddress;
    uint64_t _addressesOf = 0;
};
