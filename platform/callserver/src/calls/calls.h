// All calls in progress: finds the one that a request belongs to, begins new ones, ends them.
#pragma once

#include "calls/call.h"
#include "calls/call_admission.h"
#include "calls/call_counts.h"
#include "calls/call_log.h"
#include "calls/message_relay.h"
#include "dialplan/dial_plan.h"
#include "dialplan/missing_conditions.h"
#include "sip/packet_gate.h"

#include "cachedb2/fac_mgr.h"

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// SIP thread; never destroyed.
class Calls final : public CallIndex, private CallHost {
public:
    Calls(const Cdb_fac_mgr& store, Registrar& registrar, RefusalLog& refusals, CallTransport& transport,
          CdrStore& records, const Clock& clock, CallAdmission::CredentialsSink sink);

    [[nodiscard]] CallVerdict judge(const CallMessage& request);
    // A number that help is called by (gVarCcfEmergencyNumbers).
    [[nodiscard]] bool isEmergency(std::string_view dialed) { return _plan.now().isEmergencyNumber(dialed); }
    // After judge() has served it.
    void onRequest(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction);

    // A telephone answered an INVITE that another one has answered, or that nobody waits for: it is confirmed and hung
    // up.
    void onStraySuccess(const CallMessage& response);

    // For how long what belongs to an ended call is heard: the longest life of a transaction (RFC 3261, timers H and
    // J).
    static constexpr int64_t kLingerMs = 35'000;
    // More telephones behind one contact are none.
    static constexpr size_t kMaxStrays = 8;

    // Does what is due; cheap when nothing is.
    void step();
    // Ends all calls; gives their number.
    size_t releaseAll();
    // The sockets of UDP are about to be closed: ends the calls over them.
    void dropUdp();

    // Text of the calls in progress, a line for each of their records that goes on, with a head; empty: there is none.
    [[nodiscard]] std::vector<std::string> statusTable() const;
    [[nodiscard]] size_t inProgress() const;
    [[nodiscard]] size_t size() const { return _calls.size(); }
    // What is kept of calls and their legs. Nothing of it stays when they are over.
    struct Load {
        size_t calls;
        size_t legs;
        size_t callIds;
        size_t due;
    };
    [[nodiscard]] Load load() const { return {_calls.size(), _legs.size(), _callIds.size(), _due.size()}; }
    [[nodiscard]] const CallCounts& counts() const { return _users; }

    [[nodiscard]] bool has(std::string_view callId, const SourceKey& source) const override;

private:
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    struct Ended {
        int64_t untilMs;
        std::string callId;
        std::string localTag;
    };
    struct LegRef {
        Call* call;
        int leg;
    };

    [[nodiscard]] CallVerdict judgeWithin(const CallMessage& request) const;
    // The answer to it may be confirmed, whatever it is.
    void lingerFor(const CallMessage& invite);
    void dropCallId(const std::string& callId);
    // Begins to trace the call when its numbers are traced.
    static void traceFrom(const CallMessage& request, const std::string& caller, const std::string& called);
    static void traceSteps(const std::string& callId, int number, const DialAnswer& answer);
    [[nodiscard]] const std::string& callerOf(const CallMessage& request) const;
    void beginCall(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction);
    [[nodiscard]] bool wasOurs(const ReplacedDialog& dialog) const;
    void replaceLeg(const CallMessage& request, std::unique_ptr<ServerTransaction> transaction);
    // `what` is told as refused if it is.
    [[nodiscard]] DialAnswer analyze(const CallRequest& request, const CallCounts& counts, const SipSource& source,
                                     const char* what = "Call");

    CallTransport& transport() override { return _transport; }
    [[nodiscard]] const Clock& clock() const override { return _clock; }
    const Cdb_sys_data& system() override { return _system.now(); }
    Snapshot<Cdb_usr_info>::RecordPtr findUser(const std::string& name) override { return _userRows.now().find(name); }
    const std::vector<Binding>* contactsOf(const std::string& user) override { return _registrar.contactsOf(user); }
    UserCalls& users() override { return _users; }
    CallLog& log() override { return _log; }
    DialAnswer analyzeFor(const std::string& user, const std::string& number, const Call& call,
                          const CallCounts& counts) override;
    Call& add(std::unique_ptr<Call> call) override;
    Call* findLeg(const ReplacedDialog& dialog, int& leg) override;
    void addLeg(const Dialog& dialog, Call& call, int leg) override;
    void moveLeg(const Dialog& dialog, Call& call, int leg) override;
    void removeLeg(const Dialog& dialog) override;
    void wake(Call& call, int64_t atMs) override;
    void finished(Call& call) override;
    void refused(const std::string& caller, const SipSource& source, const std::string& reason) override;
    void traceStep(const Call& call, const std::string& text) override;

    Registrar& _registrar;
    RefusalLog& _refusals;
    CallTransport& _transport;
    const Clock& _clock;
    SnapshotReader<Snapshot<Cdb_usr_info>> _userRows;
    SnapshotReader<Cdb_sys_data> _system;
    DialPlan _plan;
    MissingConditions _missingConditions;
    CallAdmission _admission;
    UserCalls _noCalls; // what messages are counted against: limits are for calls
    UserCalls _users;
    CallLog _log;
    MessageRelay _messages;
    CallSource _admitted;                                                 // of the request that was judged last
    std::map<int, std::unique_ptr<Call>> _calls;                          // by number: in the order in which they began
    std::vector<std::unique_ptr<Call>> _finished;                         // to be destroyed where nobody is within them
    std::unordered_map<std::string, LegRef, Hash, std::equal_to<>> _legs; // by our tag
    struct Held {
        unsigned legs = 0;               // by how many
        SourceKey source;                // of the other end
        std::vector<std::string> hungUp; // tags of those that answered too late
    };
    std::unordered_map<std::string, Held, Hash, std::equal_to<>> _callIds;
    // Those of ended legs, and until when: what was answered is still repeated and confirmed.
    std::deque<Ended> _lingering;
    std::set<std::pair<int64_t, int>> _due;
};
