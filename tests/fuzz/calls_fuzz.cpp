// Calls without the stack: the input chooses what telephones say and when, in and out of turn. Whatever that is, a call
// ends when its telephones fall silent, each dialog is ended as it should be, and nothing stays of it.
#include "callserver/fake_call_transport.h"
#include "callserver/fake_clock.h"
#include "fuzz/call_ledger.h"
#include "fuzz/calls_under_fuzz.h"
#include "fuzz/fuzz_checks.h"
#include "fuzz/input_bytes.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr unsigned kMaxSteps = 80;
constexpr int64_t kMsPerSecond = 1000;
constexpr int kTransactionSeconds = 32; // RFC 3261 section 17, 64*T1: how long the stack waits for answers and ACKs
// Far above what one silent call can last: the limit of a pending offer, then the question whether somebody is there.
constexpr int kEndSeconds = 600;
constexpr int kLongStep = 7; // s; where much time passes

constexpr std::array kAudio = {"v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\nm=audio 4000 RTP/AVP 8\r\n",
                               "v=0\r\no=- 1 2 IN IP4 192.0.2.1\r\nm=audio 4000 RTP/AVP 8\r\na=sendonly\r\n",
                               "v=0\r\nm=audio 4000 RTP/AVP 8\r\nm=video 4002 RTP/AVP 96\r\n", "m=video"};
constexpr const char* kSeveral = "--x\r\nContent-Type: application/sdp\r\n\r\n"
                                 "v=0\r\no=- 1 9 IN IP4 192.0.2.1\r\nm=audio 4000 RTP/AVP 8\r\n\r\n"
                                 "--x\r\nContent-Type: text/plain\r\n\r\nhello\r\n--x--\r\n";

struct Method {
    SipMethod method;
    const char* name;
};
constexpr std::array<Method, 10> kWithinCalls = {{{SipMethod::Invite, "INVITE"},
                                                  {SipMethod::Bye, "BYE"},
                                                  {SipMethod::Update, "UPDATE"},
                                                  {SipMethod::Info, "INFO"},
                                                  {SipMethod::Message, "MESSAGE"},
                                                  {SipMethod::Options, "OPTIONS"},
                                                  {SipMethod::Prack, "PRACK"},
                                                  {SipMethod::Notify, "NOTIFY"},
                                                  {SipMethod::Refer, "REFER"},
                                                  {SipMethod::Subscribe, "SUBSCRIBE"}}};

class Office {
public:
    explicit Office(InputBytes input)
        : _input(input),
          _phones(makePhones()),
          _world(_transport, _clock, _phones, _input.isYes()),
          _ledger(_transport, _clock, addressesOf(_phones))
    {}

    void play()
    {
        for (unsigned i = 0; i < kMaxSteps && _input.areLeft(); ++i) {
            step();
            _ledger.look();
        }
    }

    // Nobody says anything any more.
    void end()
    {
        for (int i = 0; i < kEndSeconds && !isQuiet(); i += kLongStep)
            passMs(kLongStep * kMsPerSecond);
        _world.calls().step(); // ended calls are destroyed then
        _world.checkNothingLeft();
        _ledger.checkEnd();
    }

private:
    static constexpr const char* kStranger = "203.0.113.9";
    static constexpr const char* kElsewhere = "203.0.113.10"; // of those who move

    static std::vector<FuzzPhone> makePhones()
    {
        return {{"2001", {"192.0.2.1", 5060, kTransportUdp}},  {"2002", {"192.0.2.2", 5060, kTransportUdp}},
                {"2003", {"192.0.2.3", 5060, kTransportUdp}},  {"2003", {"192.0.2.13", 5060, kTransportTcp}},
                {"2004", {"192.0.2.4", 5060, kTransportTcp}},  {"2004", {"192.0.2.14", 5060, kTransportUdp}},
                {"2004", {"192.0.2.24", 5060, kTransportTls}}, {"9999", {kStranger, 5060, kTransportUdp}}};
    }

    static std::set<std::string> addressesOf(const std::vector<FuzzPhone>& phones)
    {
        std::set<std::string> all{kStranger, kElsewhere};
        for (const FuzzPhone& phone : phones)
            all.insert(phone.source.address);
        return all;
    }

    [[nodiscard]] bool isQuiet()
    {
        const Calls::Load load = _world.calls().load();
        return load.calls + load.callIds + load.due == 0 &&
               std::none_of(_ledger.sent.begin(), _ledger.sent.end(),
                            [](const Sent& sent) { return sent.request->isHeard; });
    }

    template <class List>
    auto* choose(List& list)
    {
        return list.empty() ? nullptr
                            : &list[_input.upTo(static_cast<unsigned>(std::min<size_t>(list.size(), 64) - 1))];
    }

    void step()
    {
        switch (_input.upTo(15)) {
        case 0:
        case 1:
            return call(SipMethod::Invite, "INVITE");
        case 2:
            return call(SipMethod::Message, "MESSAGE");
        case 3:
        case 4:
            return answerProvisionally();
        case 5:
        case 6:
            return answerWithSuccess();
        case 7:
            return answerWithFailure();
        case 8:
            return confirm();
        case 9:
            return cancel();
        case 10:
            return confirmReliable();
        case 11:
        case 12:
            return askWithin();
        case 13:
            return pass();
        case 14:
            return loseAnswer();
        default:
            return administer();
        }
    }

    SipBody chooseBody()
    {
        const unsigned kind = _input.upTo(7);
        if (kind < kAudio.size())
            return {"application/sdp", {}, kAudio.at(kind)};
        if (kind == 6)
            return {"multipart/mixed;boundary=x", {}, kSeveral};
        return kind == 7 ? SipBody{"application/dtmf-relay", {}, "Signal=1"} : SipBody();
    }

    SessionTimer chooseTimer()
    {
        constexpr std::array<uint32_t, 6> kTimes = {0, 60, 90, 91, 1800, 4'000'000'000};
        const uint32_t interval = kTimes.at(_input.upTo(5));
        return {interval, kTimes.at(_input.upTo(5)), static_cast<SessionTimer::Refresher>(_input.upTo(2))};
    }

    void chooseFeatures(CallMessage& message)
    {
        const unsigned features = _input.upTo(63);
        message.isReliableSupported = (features & 1) != 0;
        message.isTimerSupported = (features & 2) != 0;
        if ((features & 4) != 0)
            message.timer = chooseTimer();
        if ((features & 8) != 0)
            message.allow = "INVITE, ACK, BYE";
        if ((features & 16) != 0)
            message.routes = {"<sip:proxy.test;lr>", "<sip:strict.test>"};
        if ((features & 32) != 0)
            message.contact = "sip:moved@198.51.100.99:7070";
        message.body = chooseBody();
    }

    void deliver(const CallMessage& request)
    {
        const CallVerdict verdict = _world.calls().judge(request);
        std::unique_ptr<ServerTransaction> transaction;
        _ledger.heard.push_back({FakeCallTransport::hear(request, transaction)});
        if (verdict.isServed)
            _world.calls().onRequest(request, std::move(transaction));
        else
            transaction->answer({verdict.status, verdict.phrase, verdict.headers});
    }

    void call(SipMethod method, const char* name)
    {
        const FuzzPhone& phone = *choose(_phones);
        CallMessage request;
        request.method = method;
        request.methodName = name;
        request.source = phone.source;
        request.requestUser = choose(_phones)->user;
        request.requestUri = "sip:" + request.requestUser + "@198.51.100.1";
        request.requestHost = "198.51.100.1";
        request.from = {"sip:" + phone.user + "@198.51.100.1", phone.user, "198.51.100.1", {}, {}};
        request.from.tag = "caller-" + std::to_string(_ledger.heard.size());
        request.callId = "call-" + std::to_string(_ledger.heard.size());
        request.to = {request.requestUri, request.requestUser, "198.51.100.1", {}, {}};
        request.cseq = 1;
        request.contact = phone.contact();
        const unsigned kind = _input.upTo(7);
        request.isAnonymous = kind == 7;
        if (kind == 6)
            request.replaces = chooseReplaced();
        chooseFeatures(request);
        deliver(request);
    }

    // False: it cannot be answered.
    bool answer(Sent& sent, int status, bool isBare = false)
    {
        if (!sent.request->isHeard || sent.request->isFinal)
            return false;
        const CallRequestOut& request = sent.request->request;
        CallMessage response;
        response.methodName = request.method;
        response.status = status;
        response.source = request.destination;
        response.callId = request.callId;
        response.cseq = request.cseq;
        response.from.tag = tagOf(request.from);
        response.to.tag = sent.isInitial() ? "of-" + request.callId : tagOf(request.to);
        response.contact = "sip:answered@" + request.destination.address + ":5060";
        response.contactUser = _redirection;
        if (!isBare) {
            const unsigned odd = _input.upTo(15);
            if (odd == 1)
                response.to.tag += "-other";
            else if (odd == 2)
                response.to.tag.clear();
            else if (odd == 3)
                response.contact.clear();
            else if (odd > 10)
                chooseFeatures(response);
            if (status < 200)
                response.rseq = odd == 4 ? 0xffffffff : odd < 10 ? 0 : ++_rseq;
        }
        sent.hasProvisional = true;
        if (status >= 200) {
            sent.final = status;
            sent.isTold = true;
            if (status == 481)
                _ledger.endings[request.callId].isDenied = true;
        }
        FakeCallTransport::answer(sent.request, response);
        return true;
    }

    void answerProvisionally()
    {
        constexpr std::array kStatuses = {180, 183, 181, 182, 199};
        Sent* sent = choose(_ledger.sent);
        const int status = kStatuses.at(_input.upTo(kStatuses.size() - 1));
        if (sent != nullptr && sent->isInvite())
            answer(*sent, status);
    }

    void answerWithSuccess()
    {
        if (Sent* sent = choose(_ledger.sent); sent != nullptr)
            answer(*sent, _input.upTo(15) == 15 ? 202 : 200);
    }

    void answerWithFailure()
    {
        constexpr std::array kStatuses = {486, 302, 401, 404, 408, 420, 422, 423, 480,
                                          481, 487, 488, 491, 500, 503, 600, 603, 699};
        Sent* sent = choose(_ledger.sent);
        const int status = kStatuses.at(_input.upTo(kStatuses.size() - 1));
        if (sent == nullptr)
            return;
        _redirection = status == 302 ? choose(_phones)->user : std::string();
        answer(*sent, status);
        _redirection.clear();
    }

    // What the stack says for itself.
    void answerOwn(Sent& sent, int status)
    {
        if (!sent.request->isHeard || sent.request->isFinal)
            return;
        sent.final = status;
        sent.isTold = true;
        CallMessage response;
        response.status = status;
        FakeCallTransport::answer(sent.request, response);
    }

    void loseAnswer()
    {
        Sent* sent = choose(_ledger.sent);
        const int status = _input.isYes() ? 408 : 503;
        if (sent != nullptr && !(status == 408 && sent->isInvite() && sent->hasProvisional))
            answerOwn(*sent, status);
    }

    static CallMessage followUp(const Heard& invite, SipMethod method, const char* name)
    {
        CallMessage request = invite.request->request;
        request.method = method;
        request.methodName = name;
        request.body = {};
        return request;
    }

    void confirm()
    {
        Heard* invite = choose(_ledger.heard);
        CallMessage ack;
        ack.body = chooseBody();
        if (invite == nullptr || !invite->awaitsAck())
            return;
        const SipBody body = ack.body;
        ack = followUp(*invite, SipMethod::Ack, "ACK");
        ack.body = body;
        invite->isOver = true;
        FakeCallTransport::ack(invite->request, ack);
    }

    void cancel()
    {
        Heard* invite = choose(_ledger.heard);
        if (invite == nullptr || !invite->isInvite())
            return;
        HeardRequest& request = *invite->request;
        // A success that waits for a PRACK was not sent yet.
        if (request.isDecided && isSuccess(request.status()) && invite->awaitsPrack() &&
            request.transaction != nullptr) {
            request.isDecided = false;
            request.finals = 0;
            request.answers.pop_back();
        }
        invite->isOwn = true;
        FakeCallTransport::cancel(invite->request, followUp(*invite, SipMethod::Cancel, "CANCEL"));
    }

    void confirmReliable()
    {
        Heard* invite = choose(_ledger.heard);
        const SipBody body = chooseBody();
        if (invite == nullptr || !invite->awaitsPrack() || invite->request->transaction == nullptr)
            return;
        CallMessage prack = followUp(*invite, SipMethod::Prack, "PRACK");
        prack.to.tag = invite->request->tag;
        prack.body = body;
        ++invite->confirmed;
        const HeardPtr heard = FakeCallTransport::prack(invite->request, prack);
        _ledger.heard.push_back({heard});
    }

    // What its telephone says of a dialog.
    std::optional<ReplacedDialog> chooseReplaced()
    {
        CallMessage request;
        if (!chooseDialog(request))
            return std::nullopt;
        return ReplacedDialog{request.callId, request.to.tag, request.from.tag, _input.upTo(7) == 7};
    }

    void chooseTransfer(CallMessage& request)
    {
        const unsigned kind = _input.upTo(15);
        request.event = EventName{kind == 15 ? "other" : "refer", {}};
        if (kind == 14)
            request.expires = 0;
        if (request.method != SipMethod::Refer || kind == 13)
            return;
        request.isReferSilent = kind == 12;
        request.referTo.emplace();
        request.referTo->user = choose(_phones)->user;
        if (kind >= 6 && kind <= 10)
            request.referTo->replaces = chooseReplaced();
    }

    // A telephone's end of a dialog: those of callers, then those of the called ones.
    bool chooseDialog(CallMessage& request)
    {
        std::vector<const Heard*> made;
        for (const Heard& heard : _ledger.heard)
            if (heard.isInvite() && heard.isInitial() && !heard.request->tag.empty())
                made.push_back(&heard);
        std::vector<const Sent*> got;
        for (const Sent& sent : _ledger.sent)
            if (sent.isInvite() && sent.isInitial())
                got.push_back(&sent);
        if (made.empty())
            return false;
        const size_t which = _input.upTo(static_cast<unsigned>(made.size() + got.size() - 1) & 0xff);
        if (which < made.size()) {
            const HeardRequest& invite = *made[which]->request;
            request.source = invite.request.source;
            request.callId = invite.request.callId;
            request.from = invite.request.from;
            request.to = invite.request.to;
            request.to.tag = invite.tag;
            request.cseq = 1;
        } else {
            const CallRequestOut& invite = got[which - made.size()]->request->request;
            request.source = invite.destination;
            request.callId = invite.callId;
            request.from = {"sip:called@192.0.2.2", "called", "192.0.2.2", {}, "of-" + invite.callId};
            request.to = {"sip:server@198.51.100.1", "server", "198.51.100.1", {}, tagOf(invite.from)};
        }
        request.contact = "sip:here@" + request.source.address + ":5060";
        return true;
    }

    void mutate(CallMessage& request)
    {
        switch (_input.upTo(15)) {
        case 10:
            request.from.tag += "x";
            break;
        case 11:
            request.to.tag += "x";
            break;
        case 12:
            --request.cseq;
            break;
        case 13:
            request.cseq += 1U << 29;
            break;
        case 14:
            request.source = {kElsewhere, 6060, kTransportUdp};
            break;
        case 15:
            request.callId += "x";
            break;
        default:
            break;
        }
    }

    void askWithin()
    {
        CallMessage request;
        if (!chooseDialog(request))
            return;
        const Method& method = kWithinCalls.at(_input.upTo(kWithinCalls.size() - 1));
        request.method = method.method;
        request.methodName = method.name;
        uint32_t& cseq = _cseqs[request.callId];
        request.cseq = cseq = std::max(cseq, request.cseq) + 1;
        if (request.method == SipMethod::Refer || request.method == SipMethod::Subscribe)
            chooseTransfer(request);
        chooseFeatures(request);
        mutate(request);
        deliver(request);
        if (request.method == SipMethod::Bye && _ledger.heard.back().request->status() == 200)
            _ledger.endings[request.callId].isByeHeard = true;
    }

    void pass()
    {
        constexpr std::array<int, 8> kSeconds = {1, 5, 10, 31, 61, 90, 300, 900};
        const int seconds = kSeconds.at(_input.upTo(kSeconds.size() - 1));
        const int step = seconds > kEndSeconds / 10 ? kLongStep : 1;
        for (int i = 0; i < seconds; i += step)
            passMs(step * kMsPerSecond);
    }

    void administer()
    {
        switch (_input.upTo(3)) {
        case 0:
            (void)_world.calls().releaseAll();
            break;
        case 1:
            dropUdp();
            break;
        default:
            passMs(int64_t{10} * _input.upTo(255));
        }
    }

    // As the stack does it when its sockets go.
    void dropUdp()
    {
        _world.calls().dropUdp();
        _ledger.look();
        for (Heard& heard : _ledger.heard)
            heard.isOwn = heard.isOwn || heard.request->request.method == SipMethod::Message;
        for (size_t i = 0; i < _ledger.sent.size(); ++i)
            if (_ledger.sent[i].request->request.destination.transport == kTransportUdp) {
                _ledger.endings[_ledger.sent[i].request->request.callId].isLost = true;
                answerOwn(_ledger.sent[i], 503);
                _ledger.look();
            }
        for (size_t i = 0; i < _ledger.heard.size(); ++i)
            if (_ledger.heard[i].request->request.source.transport == kTransportUdp) {
                _ledger.endings[_ledger.heard[i].request->request.callId].isLost = true;
                loseConfirmation(i);
            }
    }

    void loseConfirmation(size_t index)
    {
        _ledger.heard[index].isOver = _ledger.heard[index].isOwn = true;
        _ledger.heard[index].confirmed = _ledger.heard[index].request->reliable.size();
        FakeCallTransport::leaveUnconfirmed(_ledger.heard[index].request);
        _ledger.look();
    }

    void passMs(int64_t ms)
    {
        _clock.passMs(ms);
        _world.calls().step();
        _ledger.look();
        const int64_t before = _clock.steadyMs() - kTransactionSeconds * kMsPerSecond;
        for (size_t i = 0; i < _ledger.sent.size(); ++i)
            if (_ledger.sent[i].atMs <= before && !(_ledger.sent[i].isInvite() && _ledger.sent[i].hasProvisional)) {
                answerOwn(_ledger.sent[i], 408);
                _ledger.look();
            }
        for (size_t i = 0; i < _ledger.heard.size(); ++i)
            if (_ledger.heard[i].atMs <= before && (_ledger.heard[i].awaitsAck() || _ledger.heard[i].awaitsPrack()))
                loseConfirmation(i);
    }

    InputBytes _input;
    FakeClock _clock;
    FakeCallTransport _transport;
    std::vector<FuzzPhone> _phones;
    CallsUnderFuzz _world;
    CallLedger _ledger;
    std::map<std::string, uint32_t> _cseqs; // of telephones, by Call-ID
    uint32_t _rseq = 0;
    std::string _redirection; // of the answer that is given
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Office office(InputBytes(data, size));
    office.play();
    office.end();
    return 0;
}
