// Instant messages between users (RFC 3428).
#pragma once

#include "calls/failure_choice.h"
#include "dialplan/call_request.h"
#include "dialplan/dial_answer.h"
#include "registrar/refusal_log.h"
#include "registrar/registrar.h"
#include "sip/transactions.h"

#include "cachedb2/fac_mgr.h"

#include <list>
#include <memory>
#include <string>
#include <vector>

// Sends a message on to all telephones of a user; the first that takes it decides. SIP thread.
class MessageRelay {
public:
    MessageRelay(CallTransport& transport, Registrar& registrar, RefusalLog& refusals, const Cdb_fac_mgr& store)
        : _transport(transport),
          _registrar(registrar),
          _refusals(refusals),
          _users(store.users()),
          _system(store.system())
    {}

    // A refusal by the dial plan has been logged already.
    void relay(const CallMessage& message, const CallSource& source, const DialAnswer& answer,
               std::unique_ptr<ServerTransaction> transaction);
    // What is under way comes to nothing.
    void drop();

private:
    struct Delivery {
        std::unique_ptr<ServerTransaction> transaction;
        std::vector<std::unique_ptr<ClientTransaction>> sent;
        size_t open = 0; // without a final answer
        FailureChoice failures;
    };

    // No status: it may go. No reason: it was told already.
    struct Refusal {
        int status = 0;
        std::string why;
    };
    // `target`: null when there is no such user.
    [[nodiscard]] Refusal refusalOf(const CallSource& source, const DialAnswer& answer, const Cdb_usr_info* target);
    void onAnswer(Delivery& delivery, const CallMessage& response);

    CallTransport& _transport;
    Registrar& _registrar;
    RefusalLog& _refusals;
    SnapshotReader<Snapshot<Cdb_usr_info>> _users;
    SnapshotReader<Cdb_sys_data> _system;
    std::list<Delivery> _deliveries;
};
