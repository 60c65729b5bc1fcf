// A call of two legs: the server is the called side of one dialog and the caller of another one, and passes on what
// each side says to the other (RFC 3261 section 6, back-to-back user agent).
#pragma once

#include "calls/call_counts.h"
#include "calls/call_log.h"
#include "calls/dialog.h"
#include "calls/failure_choice.h"
#include "calls/reachable.h"
#include "calls/referral.h"
#include "calls/session_timer.h"
#include "clock.h"
#include "dialplan/dial_answer.h"
#include "registrar/bindings.h"
#include "sip/transactions.h"

#include "cachedb2/sys_tbl.h"
#include "cachedb2/usr_info.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Call;

// A description that a side is to have again.
struct PendingPut {
    unsigned left = 0; // so often it is tried
    int64_t atMs = 0;  // 0: it is under way, or there is none
};

// One dialog of a call.
struct CallLeg {
    Dialog dialog;
    LegTimer timer;
    std::string user;   // local user at that end; empty: none
    std::string number; // as others are shown who is there
    std::string display;
    std::string allow;    // as the other side said
    KnownBinding binding; // of its telephone
    SipBody sent;         // the session description that it got last
    // Origin of those that it gets, once they come from somebody else than at first; empty: theirs.
    std::string origin;
    PendingPut puts;
    int64_t heardAtMs = 0;
    uint32_t inviteCseq = 0;                  // of our last INVITE
    std::unique_ptr<ClientTransaction> probe; // of the supervision, or a refresh of the session
    // Of the calls that have called it, where those were others: their records, who pays for them, and how long they
    // may last. They stay with it.
    std::vector<CallRecord> records;
    std::vector<std::string> payers;
    int64_t untilMs = 0;    // 0: as long as they like; also of the call that it made itself
    unsigned referrals = 0; // REFERs that it sent
    bool isTimerSupported = false;
    bool isAnonymous = false; // others are not shown who is there
    bool isLost = false;      // the last probe could not even be sent
    bool isGone = false;      // it hung up while the call goes on, or belongs to another call now
};

// What calls need around them. SIP thread.
class CallHost {
public:
    CallHost() = default;
    virtual ~CallHost() = default;
    CallHost(const CallHost&) = delete;
    CallHost& operator=(const CallHost&) = delete;

    [[nodiscard]] virtual CallTransport& transport() = 0;
    [[nodiscard]] virtual const Clock& clock() const = 0;
    [[nodiscard]] virtual const Cdb_sys_data& system() = 0;
    [[nodiscard]] virtual Snapshot<Cdb_usr_info>::RecordPtr findUser(const std::string& name) = 0;
    [[nodiscard]] virtual const std::vector<Binding>* contactsOf(const std::string& user) = 0;
    [[nodiscard]] virtual UserCalls& users() = 0;
    [[nodiscard]] virtual CallLog& log() = 0;
    // What the dial plan says of a number that the user's telephone has the call sent to: as if he had dialed it
    // himself. `counts`: what his limits are held against.
    [[nodiscard]] virtual DialAnswer analyzeFor(const std::string& user, const std::string& number, const Call& call,
                                                const CallCounts& counts) = 0;
    // A call that the server makes; begin() is next.
    virtual Call& add(std::unique_ptr<Call> call) = 0;
    // What such a dialog of a call in progress belongs to; null: there is none.
    virtual Call* findLeg(const ReplacedDialog& dialog, int& leg) = 0;
    // Requests with this tag in To belong to that leg of the call from now on, and no more.
    virtual void addLeg(const Dialog& dialog, Call& call, int leg) = 0;
    virtual void moveLeg(const Dialog& dialog, Call& call, int leg) = 0;
    virtual void removeLeg(const Dialog& dialog) = 0;
    // step() is to be called then.
    virtual void wake(Call& call, int64_t atMs) = 0;
    // Nothing is left to do; the call is destroyed later.
    virtual void finished(Call& call) = 0;
    // A line of the server log on a call that is refused for the server's own sake; repetitions are left out for a
    // while.
    virtual void refused(const std::string& caller, const SipSource& source, const std::string& reason) = 0;
    // One more step, behind those of the dial plan, for whoever traces the call.
    virtual void traceStep(const Call& call, const std::string& text) = 0;
};

class Call final : public ServerTransactionListener {
public:
    static constexpr int kCaller = -1; // number of the caller's leg; the others are counted from 0

    static constexpr int64_t kRingMs = 30'000;        // where a user has no time of his own
    static constexpr int64_t kSilenceMs = 60'000;     // after which a side is asked whether it is still there
    static constexpr int64_t kGoodbyeMs = 40'000;     // for the answers to what was sent at the end
    static constexpr int64_t kOfferMs = 60'000;       // for the answer to an offer within the call
    static constexpr int64_t kRefreshPauseMs = 5'000; // before a refresh that collided is tried again
    static constexpr int64_t kPutPauseMs = 2'000;     // before a description that collided is put back again
    static constexpr unsigned kMaxPuts = 10;          // so often
    static constexpr unsigned kMaxEchoes = 2;         // answers that change both sides' sessions in turn
    static constexpr unsigned kMaxForwards = 5;       // telephones that send a call on, one after another
    static constexpr size_t kMaxRelays = 16;          // texts that wait for their answers

    // `source`: the local user who calls; empty: none.
    Call(CallHost& host, int number, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction,
         const CallSource& source, DialAnswer answer);
    // A call that the server makes for a transfer, in the name of the side that `origin` is to lose.
    Call(CallHost& host, int number, Call& origin, const CallMessage& invite, const CallSource& source,
         DialAnswer answer);
    ~Call() override;

    // Tries the targets. Once.
    void begin();
    // A request within the dialog of a leg.
    void onRequest(int leg, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction);
    // An INVITE that wants the place of a leg (RFC 3891).
    void onReplace(int leg, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction);
    // Something is due.
    void step();
    // Ends it from the server's side; the status is for a caller who waits for an answer.
    void release(int status, std::string_view reason);
    // Its sockets are about to be closed: what has not ended by then never will.
    void drop();

    [[nodiscard]] int number() const { return _number; }
    [[nodiscard]] bool isEnded() const { return _isEnded; }
    [[nodiscard]] bool usesUdp() const;
    [[nodiscard]] const CallRecord& record() const { return _record; }
    // Its own one, and those that its sides have brought from other calls.
    [[nodiscard]] std::vector<const CallRecord*> records() const;
    [[nodiscard]] const SipSource& callerSource() const { return _invite.source; }
    [[nodiscard]] const CallLeg* legAt(int leg) const;
    // With that side, or with one of the telephones that ring there; null: there is none.
    [[nodiscard]] const Dialog* dialogWith(int leg, const std::string& remoteTag) const;
    int64_t dueMs = 0; // kept by the host

    void onAck(ServerTransaction& invite, const CallMessage& ack) override;
    void onCancel(ServerTransaction& invite, const CallMessage& cancel) override;
    void onPrack(ServerTransaction& invite, const CallMessage& prack,
                 std::unique_ptr<ServerTransaction> transaction) override;
    void onUnconfirmed(ServerTransaction& invite) override;

private:
    // With one of the telephones behind a contact, which may be a proxy (RFC 3261 section 12.1.2).
    struct EarlyDialog {
        Dialog dialog;
        uint32_t seenRseq = 0; // of its last reliable answer
    };
    struct ReliableAnswer {
        uint32_t rseq = 0;
        std::string tag; // of the dialog
    };
    // More reliable answers are not taken while the caller confirms none; they come again.
    static constexpr size_t kMaxUnconfirmed = 8;
    // More telephones behind one contact are not heard.
    static constexpr size_t kMaxEarly = 8;
    // A telephone that was invited.
    struct Branch {
        CallLeg leg;
        std::unique_ptr<ClientTransaction> invite;
        uint32_t seenRseq = 0;            // of the last reliable answer
        std::deque<ReliableAnswer> rseqs; // those that the caller has not confirmed yet
        std::vector<EarlyDialog> early;   // those of its dialogs that did not speak last
        uint32_t minTimer = 0;            // what it insisted on for the session timer
        bool isFinal = false;             // it has answered for good
        bool isConfirmable = false;       // its success waits for the caller's ACK
        // It has come by itself for a call that rings: its INVITE, until it has confirmed that it was heard.
        std::unique_ptr<ServerTransaction> arrival;
        bool isArrived = false;
        std::string goodbye; // headers of the BYE that waits for that
    };
    // An offer within the call that has not been answered yet. There is one at a time (RFC 3261 section 14).
    struct Exchange {
        int from = kCaller;
        int to = kCaller;
        std::optional<int> place; // the leg whose place `from` takes when it succeeds
        CallMessage request;
        std::unique_ptr<ServerTransaction> server;
        std::unique_ptr<ClientTransaction> client;
        int64_t untilMs = 0;   // when nobody waits for its answer any more; 0: it has come
        uint64_t number = 0;   // of the request
        bool isFinal = false;  // it was answered for good, or is given up
        bool isRaised = false; // it was made again with the session timer that the other side insists on
        bool isInvite = false;
        bool isTaking = false;    // `from` has come for the place of another telephone
        bool isLateOffer = false; // the answer comes with the ACK
        bool isCancelled = false;
        SipBody before; // what the other side got last before it
        // The other side has made the offer that was asked for.
        [[nodiscard]] bool isGiven() const { return isLateOffer && !isCancelled && server->isAnswered(); }
    };
    // An INVITE within the call whose answer nobody waits for any more. It is still to be confirmed.
    struct Parting {
        uint64_t number = 0;
        CallRequestOut ack;
        std::unique_ptr<ClientTransaction> client;
    };
    // Any other request that is passed on.
    struct Relay {
        std::unique_ptr<ServerTransaction> server;
        std::unique_ptr<ClientTransaction> client;
        uint64_t number = 0;
        int from = kCaller;
        int to = kCaller;
        std::optional<SipBody> before; // of an offer: what the other side got last before it
        bool isSession = false;        // a description in it is part of the call's session
    };

    CallLeg& leg(int number) { return number == kCaller ? _caller : _branches[static_cast<size_t>(number)]->leg; }
    UserShare& shareOf(int number) { return number == kCaller ? _callerShare : _calledShare; }
    // The leg that hears what that one says; nothing: nobody is there yet.
    [[nodiscard]] std::optional<int> otherSide(int number) const;

    void tryTargets();
    // Why the user does not ring. No status: he does.
    struct Refusal {
        int status = 0;
        const char* why = "";
    };
    [[nodiscard]] Refusal refusalOf(const Cdb_usr_info& user) const;
    void refuse(const DialTarget& target, const Refusal& refusal);
    [[nodiscard]] std::vector<Telephone> telephonesFor(const Cdb_usr_info& user);
    [[nodiscard]] std::string passedHeaders(int from, const CallMessage& request) const;
    void invite(size_t branch);
    // A request with the next CSeq, to where the side is now.
    [[nodiscard]] CallRequestOut requestTo(CallLeg& side, std::string_view method);
    [[nodiscard]] bool hasWayTo(const SipSource& peer);
    void findBinding(CallLeg& side, const std::string& contact);
    void followBinding(CallLeg& side);
    void noteSource(CallLeg& side, const SipSource& source);
    [[nodiscard]] ResponseHandler answersOf(size_t branch);
    void addBranch(const Telephone& contact, const DialTarget& target);
    void setNumbers(const DialTarget& target);

    // The leg's dialog is the one with this tag from now on. False: there are too many.
    [[nodiscard]] bool listenTo(size_t branch, const std::string& tag);
    void onBranchAnswer(size_t branch, const CallMessage& response);
    void onProgress(size_t branch, const CallMessage& response);
    void onSuccess(size_t branch, const CallMessage& response);
    void onFailure(size_t branch, const CallMessage& response);
    void answerCaller(const CallMessage& response);
    void confirm(Branch& branch, const SipBody& body);
    void confirmLateOffer(const SipBody& answer);
    void hangUp(Branch& branch, const CallMessage& response);

    void fail(const CallAnswer& answer);
    // Ends every leg but one; the record says `status`. `headers`: whole lines for the other sides.
    void end(int status, std::string_view headers, std::optional<int> exceptLeg = std::nullopt);
    void sendBye(CallLeg& leg, std::string_view headers);
    void sendOwedBye();
    void giveUpExchange();
    void giveUpBranches();
    void giveUpArrivals(bool isUdpOnly);
    void cancelBranches(size_t except, const std::string& headers);
    [[nodiscard]] bool followRedirection();
    void dismissBranches();
    void onDismissedAnswer(Branch& branch, const CallMessage& response);
    static void showAs(DialAnswer& answer, const CallLeg& shown);
    void beginRecord(const std::string& dialed);
    void finishIfDone();

    void onBye(int leg, const CallMessage& bye, ServerTransaction& transaction);
    void leave(size_t branch);
    void onOffer(int leg, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction);
    void onOfferAnswer(const CallMessage& response);
    void takeBack(int leg);
    void passOffer(Exchange&& exchange, std::unique_ptr<ServerTransaction> transaction);
    // Its answer is not wanted any more; a success is taken back. `headers`: whole lines for who was asked.
    void cancelExchange(const std::string& headers);
    void closeExchange();
    void sendOffer();
    void part(uint64_t request, const CallLeg& side, std::unique_ptr<ClientTransaction> client);
    void partFromExchange();
    void dropProbe(int leg);
    // The answer is for a request that nobody waits for any more.
    [[nodiscard]] bool isParted(uint64_t request, const CallMessage& response);
    // What the leg waits for, or others of it, comes to nothing: somebody else is there from now on, or nobody.
    void forget(int leg);
    void endRecords(CallLeg& leg, int status);
    // Whose calls have called the called side, and who pays for all of it. A user counts once.
    [[nodiscard]] std::vector<std::string> callersOfWinner() const;
    void countPayers();
    [[nodiscard]] uint32_t longest() const;
    // When those whose rights it uses have it end; 0: never.
    [[nodiscard]] int64_t talkUntilMs() const;
    void startDuration(int64_t now);
    void takeCallAlong(CallLeg& side);
    void movePlace(int from, int place);

    // A telephone that wants a call that rings at another one.
    [[nodiscard]] bool mayBePickedUp(int place) const;
    void pickUp(int place, const CallMessage& invite, std::unique_ptr<ServerTransaction> transaction);
    [[nodiscard]] Branch& addArrival(int place, const CallMessage& invite, ServerTransaction& transaction);
    [[nodiscard]] Branch* arrivalOf(const ServerTransaction& invite) const;
    [[nodiscard]] bool hasArrival() const;
    void onArrivalConfirmed(Branch& branch, bool isConfirmed);
    void inviteArrived(size_t branch);
    void onArrivedAnswer(size_t branch, const CallMessage& response);
    // `isGone`: it has hung up itself.
    void dismissArrived(Branch& branch, std::string_view headers, bool isGone);
    void leaveArrived(size_t branch, bool isGone);
    void acceptRefresh(int leg, const CallMessage& request, ServerTransaction& transaction);
    void refreshAnswered(int leg, bool isInvite, const CallMessage& response);
    void pass(int leg, const CallMessage& request, std::unique_ptr<ServerTransaction> transaction,
              bool isOffer = false);
    void onRelayAnswer(uint64_t number, const CallMessage& response);
    [[nodiscard]] bool isOfferPending() const { return _exchange || _refreshed || relayedOffer(); }
    // Who has made an offer by a PRACK that is not answered yet.
    [[nodiscard]] std::optional<int> relayedOffer() const;
    // Why an offer of that side may not go on now; 0: it may.
    [[nodiscard]] int refusalOfOffer(int from, bool isInvite) const;
    // The side whose offer waits for its answer; nothing: there is none.
    [[nodiscard]] std::optional<int> openOffer() const;
    void noteEarlyOffer(const CallMessage& response);

    // Transfers: of a side that asks for one, and what becomes of it.
    void onRefer(int leg, const CallMessage& request, ServerTransaction& transaction);
    void onSubscribe(int leg, const CallMessage& request, ServerTransaction& transaction);
    [[nodiscard]] CallAnswer referRefusal(int leg, const CallMessage& request) const;
    void dialReferred(const std::string& number);
    void joinReferred(const ReplacedDialog& wanted);
    void goOnReferring();
    void retryReferring();
    void offerOther(const SipBody& body);
    void onOtherAnswer(int other, unsigned serial, bool isLate, const SipBody& before, const CallMessage& response);
    void giveOwedAnswer(const SipBody& body);
    void completeJoin(const SipBody& answer);
    void failReferral(int status);
    void finishReferral();
    void abandonReferral();
    void leaveReferring(int leg);
    void notify(const CallAnswer& state);
    // What becomes of the call to the new side.
    void attemptRings(const CallMessage& response);
    void attemptAnswered(const SipBody& offer);
    void attemptEnded(int status);
    // For a transfer of another call.
    void offerPlace(const SipBody& body);
    void onPlaceAnswer(int with, bool isWanted, const SipBody& before, const CallMessage& response);
    void placeEnded(int status);
    // It has a caller who may leave it to be joined once it is answered.
    [[nodiscard]] bool mayBeAwaited(int place) const;
    [[nodiscard]] bool isJoinable() const { return _winner >= 0 && _isAcked; }
    // Its caller has left it to the one who is to be joined.
    void leaveToJoiner();
    void confirmProgress(size_t branch, uint32_t rseq);
    void completeFor(const SipBody& answer);
    [[nodiscard]] bool isSettled() const;
    // A side of this call is part of that one from now on, in the place of that leg.
    void handOver(int leg, Call& to, int place);
    // The place is for another telephone.
    void vacate(int place, std::string_view headers);

    // An offer of the server's own to a side; nothing: it is to make one. Its final answer is for `onFinal`; a success
    // is to be acknowledged, and there is no other offer before that.
    void offer(int leg, const SipBody& body, const CallLeg& shown, std::function<void(const CallMessage&)> onFinal);
    [[nodiscard]] CallRequestOut ownInvite(CallLeg& side, const CallLeg& shown, const SipBody& body);
    void acknowledge(int leg, const SipBody& body);
    // The side gets again what it had before an offer that came to nothing.
    void restore(int leg, const SipBody& before);
    void put(int leg);
    void passChange(int leg, const SipBody& said);
    void noteOwnInvite(int leg);
    [[nodiscard]] std::string hostFor(const SipSource& peer);
    [[nodiscard]] std::string identityLine(const CallLeg& shown, const SipSource& peer);

    [[nodiscard]] bool isSupervised(int leg) const;
    void supervise(int leg, int64_t now);
    void refresh(int leg);
    void sendRefresh(int leg, bool isInvite);
    void probe(int leg);
    void reschedule();

    [[nodiscard]] SipBody bodyFor(CallLeg& leg, const SipBody& body);
    [[nodiscard]] bool hasTimers() const;
    // Also once no new ones are wanted: who has one keeps to it.
    [[nodiscard]] bool keepsTime(const CallLeg& side) const { return hasTimers() || side.timer.isOn(); }
    // What a side may ask for while it talks to the other one.
    [[nodiscard]] std::string allowFor(const CallLeg& side, const CallLeg& other) const;
    [[nodiscard]] std::string featuresFor(const CallLeg& side, const CallLeg& other) const;
    [[nodiscard]] bool mayWrite(const CallLeg& side) const;
    [[nodiscard]] const CallLeg& partnerOf(int leg);
    // What the other side's answer is for this one.
    [[nodiscard]] CallAnswer passedAnswer(const CallMessage& response, int from, int to);

    CallHost& _host;
    const int _number;
    int _callId; // of its records: a call that is made for a transfer is part of the first one
    const CallMessage _invite;
    const CallSource _source;
    DialAnswer _answer;
    const bool _isAnonymous;                         // the caller, by his own wish or the server's rules
    size_t _target = 0;                              // of the answer's targets, which is tried
    std::unique_ptr<ServerTransaction> _transaction; // of the caller's INVITE; null once nothing can come of it
    CallLeg _caller;
    std::vector<std::unique_ptr<Branch>> _branches;
    // Telephones that rang until the call was sent on elsewhere, and have not answered their CANCEL yet.
    std::vector<std::unique_ptr<Branch>> _dismissed;
    int _winner = -1; // the branch that answered
    FailureChoice _failures;
    std::optional<Exchange> _exchange;
    std::optional<int> _initialOffer; // the side whose offer of the initial INVITE waits for its answer
    std::optional<Referral> _referral;
    unsigned _referrals = 0;
    Call* _origin = nullptr;  // the call that this one is made for, until it has a caller of its own
    Call* _joiner = nullptr;  // the call whose transfer ends in this one
    std::string _redirection; // number that a telephone has sent the call to
    unsigned _forwards = 0;
    unsigned _echoes = 0; // changed answers that were passed on since the last refresh
    std::unique_ptr<ClientTransaction> _lastNotify;
    std::vector<std::unique_ptr<Relay>> _relays;
    std::vector<Parting> _partings;
    uint64_t _requests = 0; // that were sent within the call
    CallRecord _record;
    UserShare _callerShare{UserPart::Calling};
    UserShare _calledShare{UserPart::Pending};
    std::vector<std::string> _forwarders; // users whose telephones have sent it on
    std::vector<UserShare> _payers;       // whose rights the call uses, beside those of the caller while he is in it
    bool _isVideoAllowed = true;
    bool _isEnded = false;
    bool _isAcked = false; // the caller has confirmed the success
    bool _isFinished = false;
    bool _isHandedOver = false;     // what is left is the good-bye to who asked for the transfer
    bool _wasReliable = false;      // the caller got a session that holds, before any answer
    bool _hasFormerSession = false; // he has heard a telephone that has sent the call on
    size_t _formerReliable = 0;     // answers of such ones that he has not confirmed yet
    // A BYE that may be sent once the success is confirmed (RFC 3261 section 15).
    struct OwedBye {
        int leg = kCaller;
        std::string headers;
    };
    std::optional<OwedBye> _owedBye;
    std::optional<int> _refreshed; // the side to which a re-INVITE of our own is under way
    uint64_t _refreshNumber = 0;   // of the request, until it is answered for good
    int64_t _refreshUntilMs = 0;
    int64_t _ringUntilMs = 0;
    uint32_t _longest = 0;        // s, by the rights of those who have had it sent on; 0: none
    uint32_t _callersLongest = 0; // s, by those of the caller, once it was sent on
    int64_t _talkUntilMs = 0;     // as far as its called side goes
    int64_t _goodbyeAtMs = 0;
};
