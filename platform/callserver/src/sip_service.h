// Joins the SIP stack, its connections, the registrar and the store on the SIP thread.
#pragma once

#include "calls/calls.h"
#include "clock.h"
#include "registrar/refusal_log.h"
#include "registrar/registrar.h"
#include "sip/ip_list.h"
#include "sip/overload.h"
#include "sip/packet_gate.h"
#include "sip/sip_agent.h"
#include "sip/sip_stack.h"
#include "sip/source_guard.h"
#include "streams/stream_server.h"

#include "cachedb2/fac_mgr.h"

#include <cstdint>
#include <mutex>
#include <optional>

// Owner: the server application object. Never destroyed once run() was called.
class SipService final : public SipHandler {
public:
    // The registrar is the SIP thread's own from run() on.
    // The streams have a thread of their own; they live as long as this.
    SipService(Cdb_fac_mgr& store, Registrar& registrar, StreamServer& streams, CdrStore& records, const Clock& clock);

    // The body of the SIP thread.
    void run();

    // Ends the work of the SIP thread for good; false when it still works after this time. Any other thread.
    bool close(unsigned timeoutMs) { return _stack.park(timeoutMs); }

    // Any thread; done on the SIP thread, which says in the log what came of it.
    void printCallStatus();
    void releaseAllCalls();

    [[nodiscard]] bool admits(const SipSource& source, bool hasCredentials) override;
    [[nodiscard]] RegisterReply onRegister(const RegisterRequest& request) override;
    [[nodiscard]] bool hasCall(std::string_view callId, const SipSource& source) const override;
    [[nodiscard]] unsigned overloadBy(std::string_view dialed) override;
    [[nodiscard]] bool mayAnswerUnproven(const SipSource& source) override;
    [[nodiscard]] CallVerdict judge(const CallMessage& request) override;
    void onCallRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction) override;
    void onStraySuccess(const CallMessage& response) override { _calls.onStraySuccess(response); }
    void onUdpClosing() override { _calls.dropUdp(); }

private:
    void begin();
    // What a request's credentials say of its source. False: it is not to be answered.
    [[nodiscard]] bool noteCredentials(const SipSource& source, Credentials credentials);
    [[nodiscard]] IpVerdict verdictOf(const SipSource& source);
    // Any thread.
    void followIpList();
    void serveConfigured();
    [[nodiscard]] uint16_t udpPortToServe(const Cdb_sys_data& system) const;
    void onStoreChange(const Cdb_change& change);
    void step();

    Cdb_fac_mgr& _store;
    Registrar& _registrar;
    StreamServer& _streams;
    const Clock& _clock;
    RefusalLog _refusals;
    SnapshotBox<IpList> _ipLists;
    std::mutex _ipListMutex; // for the one below, and so that an older list never takes the place of a newer one
    std::optional<uint64_t> _ipListVersion; // of the records that it was made of
    SnapshotReader<IpList> _ipList{_ipLists};
    SourceGuard _guard;
    Overload _overload;
    SipStack _stack;
    SipAgent _agent;
    Calls _calls;
    PacketGate _gate;
    bool _hasStreams = false;
    int64_t _addressesAtMs = 0; // when the machine's addresses were looked at last
};
