#include "sip/stack_calls.h"

#include "sip/call_parts.h"
#include "sip/local_addresses.h"
#include "sip/sip_stack.h"
#include "sip/uri_text.h"
#include "streams/flow_table.h"

#include "bcl2/uaddr.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <deque>
#include <optional>
#include <set>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/nta_tport.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/sip_tag.h>
#include <sofia-sip/su_time.h>
#include <sofia-sip/su_uniqueid.h>
#include <sofia-sip/tport.h>
#include <sofia-sip/tport_tag.h>
#include <utility>

namespace {

// What the kernel said of the way to a peer holds so long; with more peers than that it is asked anew.
constexpr int64_t kLocalAddressMs = 10'000;
constexpr size_t kMaxLocalAddresses = 4096;
// Bytes of a packet. Above a kilobyte the stack would open a connection (RFC 3261 section 18.1.1), but telephones that
// registered over UDP do not listen for one; the kernel parts large packets.
constexpr unsigned kMaxPacket = 65'507;
constexpr const char* kStackHost = "127.0.0.1";

int64_t nowMs()
{
    return static_cast<int64_t>(su_time_ms(su_now()));
}

std::string hostPort(const std::string& address, uint16_t port)
{
    Cbcl_uaddr text;
    text.setAddress(address.c_str(), port);
    return text.getURLStr();
}

bool isV6(const std::string& literal)
{
    return literal.find(':') != std::string::npos;
}

std::string randomToken()
{
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%08x%08x", su_random(), su_random());
    return text.data();
}

// The stack keeps the pointer as long as the transaction. There are as many as this machine has had addresses.
const char* identityOf(const std::string& address)
{
    static std::set<std::string>& all = *new std::set<std::string>; // SIP thread
    return all.insert(address).first->c_str();
}

void addBody(const SipBody& body, std::string& headers)
{
    if (body.isEmpty())
        return;
    if (!body.type.empty())
        headers += headerLine("Content-Type", body.type);
    headers += body.headers;
}

// Null without a body. Of the message's memory.
sip_payload_t* payloadOf(msg_t* message, const SipBody& body)
{
    return body.isEmpty()
               ? nullptr
               : sip_payload_create(msg_home(message), body.data.data(), static_cast<isize_t>(body.data.size()));
}

} // namespace

struct StackCalls::Way {
    nta_agent_t* agent = nullptr;  // null: there is none
    tport_t* connection = nullptr; // over streams
    std::string ident;             // of the socket of UDP
    std::string local;             // host and port of our end
    std::string via;               // over streams: the Via that names it
};

// One INVITE or other request that came in.
class StackServerTransaction final : public ServerTransaction {
public:
    StackServerTransaction(StackCalls& calls, nta_agent_t* agent, nta_incoming_t* incoming, SipSource source,
                           std::string protocol)
        : _calls(calls),
          _agent(agent),
          _incoming(incoming),
          _source(std::move(source)),
          _protocol(std::move(protocol)),
          _number(++calls._taken)
    {
        _calls._servers.insert(this);
        nta_incoming_bind(_incoming, onAckOrCancel, reinterpret_cast<nta_incoming_magic_t*>(this));
    }

    ~StackServerTransaction() override
    {
        _calls._servers.erase(this);
        if (_incoming == nullptr)
            return;
        for (nta_reliable_t* reliable : std::exchange(_reliable, {}))
            nta_reliable_destroy(reliable);
        nta_incoming_destroy(_incoming);
    }

    void setTag(const std::string& tag) override
    {
        if (_incoming != nullptr)
            (void)nta_incoming_tag(_incoming, tag.c_str());
    }

    void setListener(ServerTransactionListener* listener) override { _listener = listener; }

    void answer(const CallAnswer& answer) override
    {
        if (_incoming == nullptr || _isAnswered)
            return;
        _isAnswered = answer.status >= 200;
        _isSuccess = _isAnswered && answer.status < 300;
        // RFC 3262 section 3: not before what the caller may need of it was confirmed.
        if (_isSuccess && !_reliable.empty()) {
            _waiting.push_back({answer, false});
            return;
        }
        if (_isAnswered)
            _waiting.clear();
        // Nobody would confirm it for half a minute.
        if (_isSuccess && _calls.isCut(_source))
            _calls.loseLater(this);
        else
            give(answer);
    }

    [[nodiscard]] bool answerReliably(const CallAnswer& answer) override
    {
        if (_incoming == nullptr || _isAnswered)
            return false;
        if (_reliable.empty())
            return giveReliably(answer);
        _waiting.push_back({answer, true});
        return true;
    }

    [[nodiscard]] bool isAnswered() const override { return _isAnswered; }

    [[nodiscard]] const nta_agent_t* agent() const { return _agent; }
    [[nodiscard]] uint64_t number() const { return _number; }
    void lose()
    {
        if (_listener != nullptr)
            _listener->onUnconfirmed(*this);
    }
    void forget()
    {
        _incoming = nullptr;
        _reliable.clear();
        _waiting.clear();
    }

private:
    struct Waiting {
        CallAnswer answer;
        bool isReliable;
    };

    void give(const CallAnswer& answer)
    {
        msg_t* message = responseTo(answer);
        if (message == nullptr && answer.status >= 200)
            message = responseTo({500}); // one of its headers cannot be written
        if (message != nullptr)
            nta_incoming_mreply(_incoming, message);
    }

    bool giveReliably(const CallAnswer& answer)
    {
        msg_t* message = responseTo(answer);
        if (message == nullptr)
            return false;
        nta_reliable_t* reliable =
            nta_reliable_mreply(_incoming, onReliable, reinterpret_cast<nta_reliable_magic_t*>(this), message);
        if (reliable == nullptr)
            return false;
        _reliable.push_back(reliable);
        return true;
    }

    // The last reliable answer was confirmed.
    void giveNext()
    {
        while (!_waiting.empty() && _reliable.empty() && _incoming != nullptr) {
            const Waiting next = std::move(_waiting.front());
            _waiting.pop_front();
            if (!next.isReliable || !giveReliably(next.answer))
                give(next.answer);
        }
    }

    // Null without memory, or when a header cannot be written.
    msg_t* responseTo(const CallAnswer& answer)
    {
        std::string headers = answer.headers;
        if (answer.hasContact)
            headers += headerLine("Contact", _calls.contactText(answer.contactUser, _source));
        addBody(answer.body, headers);
        const std::string phrase(answer.phrase.empty() ? statusPhrase(answer.status) : answer.phrase);
        msg_t* message = nta_msg_create(_agent, 0);
        if (message == nullptr)
            return nullptr;
        // The stack copies headers, but not the phrase.
        const char* const kept = su_strdup(msg_home(message), phrase.empty() ? "Unknown" : phrase.c_str());
        if (nta_incoming_complete_response(
                _incoming, message, answer.status, kept, TAG_IF(!headers.empty(), SIPTAG_HEADER_STR(headers.c_str())),
                TAG_IF(!answer.body.isEmpty(), SIPTAG_PAYLOAD(payloadOf(message, answer.body))), TAG_END()) < 0) {
            msg_destroy(message);
            return nullptr;
        }
        if (_source.transport != kTransportUdp)
            mendVia(message, sip_object(message)->sip_via);
        return message;
    }

    // The stack has written down its own local connection, and a transport that it knows.
    void mendVia(msg_t* message, sip_via_t* via) const
    {
        if (via == nullptr)
            return;
        su_home_t* home = msg_home(message);
        if (!_protocol.empty())
            via->v_protocol = su_strdup(home, _protocol.c_str());
        const std::string received = "received=" + _source.address;
        const std::string port = "rport=" + std::to_string(_source.port);
        msg_header_replace_param(home, via->v_common, su_strdup(home, received.c_str()));
        msg_header_replace_param(home, via->v_common, su_strdup(home, port.c_str()));
        msg_fragment_clear(via->v_common);
    }

    static int onAckOrCancel(nta_incoming_magic_t* magic, nta_incoming_t* incoming, const sip_t* sip)
    {
        auto& self = *reinterpret_cast<StackServerTransaction*>(magic);
        if (self._listener == nullptr)
            return 0;
        if (sip == nullptr) {
            // A success that waited for its turn was not given.
            if (!self._waiting.empty())
                self._isAnswered = self._isSuccess = false;
            self._waiting.clear();
            self._listener->onUnconfirmed(self);
            return 0;
        }
        msg_t* message = nta_incoming_getrequest_ackcancel(incoming);
        const CallMessage request = callRequest(message, sip, self._source);
        msg_destroy(message);
        if (request.method == SipMethod::Ack) {
            // That of a failure says nothing.
            if (self._isSuccess && self._waiting.empty())
                self._listener->onAck(self, request);
        } else if (request.method == SipMethod::Cancel) {
            // A success that nobody has seen yet can still be taken back.
            if (!self._waiting.empty())
                self._isAnswered = self._isSuccess = false;
            self._waiting.clear();
            self._listener->onCancel(self, request);
        }
        return 0;
    }

    static int onReliable(nta_reliable_magic_t* magic, nta_reliable_t* reliable, nta_incoming_t* prack,
                          const sip_t* sip)
    {
        auto& self = *reinterpret_cast<StackServerTransaction*>(magic);
        std::erase(self._reliable, reliable);
        nta_reliable_destroy(reliable);
        if (prack == nullptr)
            return 0;
        ServerTransactionListener* const listener = self._listener;
        auto transaction =
            std::make_unique<StackServerTransaction>(self._calls, self._agent, prack, self._source, self._protocol);
        if (listener == nullptr || sip == nullptr) {
            transaction->answer({200});
            self.giveNext();
            return 0;
        }
        msg_t* message = nta_incoming_getrequest(prack);
        const CallMessage request = callRequest(message, sip, self._source);
        msg_destroy(message);
        StackCalls& calls = self._calls;
        listener->onPrack(self, request, std::move(transaction));
        // It may have ended the call.
        if (calls._servers.count(&self) != 0)
            self.giveNext();
        return 0;
    }

    StackCalls& _calls;
    nta_agent_t* _agent;
    nta_incoming_t* _incoming; // null: its agent is gone
    SipSource _source;
    ServerTransactionListener* _listener = nullptr;
    std::string _protocol; // of its Via, where the stack was shown another one; else empty
    // Not yet confirmed: one at a time. The stack has a queue of its own, but it aborts the process when it cannot
    // send.
    std::vector<nta_reliable_t*> _reliable;
    std::deque<Waiting> _waiting;
    uint64_t _number;
    bool _isAnswered = false;
    bool _isSuccess = false;
};

// One request that was sent.
class StackClientTransaction final : public ClientTransaction {
public:
    StackClientTransaction(StackCalls& calls, uint64_t number, SipSource destination, ResponseHandler onResponse)
        : _calls(calls), _number(number), _destination(std::move(destination)), _onResponse(std::move(onResponse))
    {
        _calls._clients.insert(this);
    }

    ~StackClientTransaction() override
    {
        _calls._clients.erase(this);
        if (_outgoing == nullptr)
            return;
        // A success that comes later is confirmed and ended by the stack itself.
        if (_isInvite && !_isFinal && _hasProvisional && !_isCancelled)
            sendCancel();
        nta_outgoing_destroy(_outgoing);
    }

    void begin(nta_agent_t* agent, nta_outgoing_t* outgoing, bool isInvite)
    {
        _agent = agent;
        _outgoing = outgoing;
        _isInvite = isInvite;
    }

    // Of an INVITE over a stream: what its CANCEL will be made of. As a proxy the stack takes one that was cancelled
    // there for done, and hears of none of its answers.
    void keepForCancel(const CallRequestOut& invite, const std::string& via)
    {
        _own = std::make_unique<OwnCancel>(OwnCancel{invite, via});
        _own->request.method = "CANCEL";
        _own->request.body = {};
        _own->request.hasContact = false;
    }

    void cancel(const std::string& headers) override
    {
        if (_outgoing == nullptr || !_isInvite || _isFinal || std::exchange(_isCancelled, true))
            return;
        _cancelHeaders = headers;
        if (_hasProvisional)
            sendCancel();
    }

    static int onAnswer(nta_outgoing_magic_t* magic, nta_outgoing_t* outgoing, const sip_t* sip)
    {
        auto& self = *reinterpret_cast<StackClientTransaction*>(magic);
        const int status = sip == nullptr ? nta_outgoing_status(outgoing) : sip->sip_status->st_status;
        const bool isLate = self._isFinal;
        self._isFinal = self._isFinal || status >= 200;
        if (!std::exchange(self._hasProvisional, true) && self._isCancelled && !self._isFinal)
            self.sendCancel();
        if (status == 100)
            return 0;
        const bool isOwn = sip == nullptr || nta_sip_is_internal(sip) != 0;
        msg_t* message = isOwn ? nullptr : nta_outgoing_getresponse(outgoing);
        const CallMessage response =
            callResponse(message, isOwn ? nullptr : sip, status, isOwn ? SipSource() : self._destination);
        if (message != nullptr)
            msg_destroy(message);
        if (isLate) {
            self._calls._onStray(response);
            return 0;
        }
        // It may destroy this object.
        const ResponseHandler handler = self._onResponse;
        handler(response);
        return 0;
    }

    // The branch of its Via; empty: it was never sent.
    [[nodiscard]] std::string branch() const
    {
        const char* branch = _outgoing == nullptr ? nullptr : nta_outgoing_branch(_outgoing);
        return branch == nullptr ? std::string() : std::string(branch);
    }

    [[nodiscard]] const nta_agent_t* agent() const { return _agent; }
    void forget() { _outgoing = nullptr; }
    [[nodiscard]] bool isOpen() const { return !_isFinal; }
    void fail()
    {
        CallMessage response;
        response.status = 503;
        const ResponseHandler handler = _onResponse;
        handler(response);
    }

    [[nodiscard]] uint64_t number() const { return _number; }

private:
    // RFC 3261 section 9.1: not before the first provisional answer. The stack would let it wait, too, but takes an
    // answer to a CANCEL that it has not sent for a fault of its own, and aborts the process.
    void sendCancel()
    {
        if (_own != nullptr) {
            _own->request.headers = _cancelHeaders;
            _calls.sendCancel(_own->request, _own->via);
            return;
        }
        (void)nta_outgoing_tcancel(_outgoing, nullptr, nullptr,
                                   TAG_IF(!_cancelHeaders.empty(), SIPTAG_HEADER_STR(_cancelHeaders.c_str())),
                                   TAG_END());
    }

    struct OwnCancel {
        CallRequestOut request;
        std::string via;
    };

    StackCalls& _calls;
    uint64_t _number;
    SipSource _destination;
    std::unique_ptr<OwnCancel> _own;
    ResponseHandler _onResponse;
    nta_agent_t* _agent = nullptr;
    nta_outgoing_t* _outgoing = nullptr;
    std::string _cancelHeaders;
    bool _isInvite = false;
    bool _isFinal = false;
    bool _hasProvisional = false;
    bool _isCancelled = false;
};

StackCalls::StackCalls(SipStack& stack, std::function<UdpSockets()> udp, FlowTable& flows)
    : _stack(stack), _udp(std::move(udp)), _flows(flows)
{}

std::unique_ptr<ServerTransaction> StackCalls::accept(nta_agent_t* agent, msg_t* message, sip_t* sip,
                                                      const SipSource& source)
{
    // The stack knows of no TLS: where its transport is not the one that it received by, it aborts the process once an
    // answer cannot be sent.
    std::string protocol;
    if (sip_via_t* via = sip->sip_via;
        source.transport != kTransportUdp && via != nullptr && std::strcmp(via->v_protocol, sip_transport_tcp) != 0) {
        protocol = via->v_protocol;
        via->v_protocol = sip_transport_tcp;
    }
    nta_incoming_t* incoming = nta_incoming_create(agent, nullptr, message, sip, TAG_END());
    if (incoming == nullptr)
        return nullptr;
    return std::make_unique<StackServerTransaction>(*this, agent, incoming, source, std::move(protocol));
}

void StackCalls::forget(const nta_agent_t* agent)
{
    // Those that their owners still hold hear that nothing comes any more.
    for (StackServerTransaction* server : _servers)
        if (server->agent() == agent) {
            server->forget();
            loseLater(server);
        }
    for (StackClientTransaction* client : _clients)
        if (client->agent() == agent && client->isOpen()) {
            client->forget();
            failLater(client);
        }
}

// The kernel knows by which address it would send there.
std::string StackCalls::localAddressFor(const std::string& peer, const std::vector<std::string>& bound)
{
    if (bound.size() == 1)
        return bound.front();
    const int64_t now = nowMs();
    if (const auto it = _locals.find(peer); it != _locals.end() && it->second.untilMs > now)
        return it->second.address;
    std::string address = localAddressTowards(peer);
    if (std::find(bound.begin(), bound.end(), address) == bound.end()) {
        const auto it =
            std::find_if(bound.begin(), bound.end(), [&](const std::string& own) { return isV6(own) == isV6(peer); });
        address = it == bound.end() ? std::string() : *it;
    }
    if (_locals.size() >= kMaxLocalAddresses)
        _locals.clear();
    _locals.insert_or_assign(peer, LocalAddress{address, now + kLocalAddressMs});
    return address;
}

StackCalls::Way StackCalls::wayTo(const SipSource& peer)
{
    Way way;
    if (peer.transport == kTransportUdp) {
        const UdpSockets udp = _udp();
        if (udp.agent == nullptr || udp.addresses == nullptr || udp.addresses->empty())
            return way;
        way.ident = localAddressFor(peer.address, *udp.addresses);
        if (way.ident.empty())
            return way;
        way.agent = udp.agent;
        way.local = hostPort(way.ident, udp.port);
        return way;
    }
    const FlowTable::Way flow = _flows.wayTo(peer);
    if (flow.stackPort == 0 || _streams == nullptr)
        return way;
    const std::string port = std::to_string(flow.stackPort);
    tp_name_t name{};
    name.tpn_proto = "tcp";
    name.tpn_canon = name.tpn_host = kStackHost;
    name.tpn_port = port.c_str();
    tport_t* connection = tport_by_name(tport_primaries(nta_agent_tports(_streams)), &name);
    if (connection == nullptr || tport_is_secondary(connection) == 0)
        return way;
    way.agent = _streams;
    way.connection = connection;
    way.local = hostPort(flow.local.address, flow.local.port);
    way.via = "SIP/2.0/TCP " + way.local + ";branch=z9hG4bK" + randomToken() + ";rport";
    return way;
}

std::string StackCalls::localHost(const SipSource& peer)
{
    return wayTo(peer).local;
}

std::string StackCalls::contactText(const std::string& user, const SipSource& peer)
{
    const char* transport = peer.transport == kTransportUdp   ? ""
                            : peer.transport == kTransportTls ? ";transport=tls"
                                                              : ";transport=tcp";
    return "<" + sipUri(user, localHost(peer)) + transport + ">";
}

msg_t* StackCalls::makeRequest(const CallRequestOut& request, const Way& way)
{
    std::string headers;
    headers.reserve(512 + request.headers.size());
    if (!way.via.empty())
        headers += headerLine("Via", way.via);
    headers += headerLine("From", request.from);
    headers += headerLine("To", request.to);
    headers += headerLine("Call-ID", request.callId);
    headers += headerLine("CSeq", std::to_string(request.cseq) + " " + request.method);
    headers += headerLine("Max-Forwards", std::to_string(request.maxForwards));
    for (const std::string& route : request.routes)
        headers += headerLine("Route", route);
    if (request.hasContact)
        headers += headerLine("Contact", contactText(request.contactUser, request.destination));
    headers += request.headers;
    addBody(request.body, headers);
    const std::string line = request.method + " " + request.uri + " SIP/2.0";
    // Of the stack's own class: the agent's is for what strangers send.
    msg_t* message = msg_create(sip_default_mclass(), 0);
    if (message == nullptr)
        return nullptr;
    su_home_preload(msg_home(message), 1, kMessagePreload);
    if (sip_add_tl(message, sip_object(message), SIPTAG_REQUEST_STR(line.c_str()), SIPTAG_HEADER_STR(headers.c_str()),
                   TAG_IF(!request.body.isEmpty(), SIPTAG_PAYLOAD(payloadOf(message, request.body))), TAG_END()) < 0 ||
        sip_object(message)->sip_request == nullptr || sip_object(message)->sip_cseq == nullptr ||
        sip_object(message)->sip_from == nullptr || sip_object(message)->sip_to == nullptr ||
        sip_object(message)->sip_call_id == nullptr) {
        msg_destroy(message);
        return nullptr;
    }
    return message;
}

namespace {

struct Target {
    std::string url;
    explicit Target(const SipSource& destination)
        : url("sip:" + hostPort(destination.address, destination.port) + ";transport=udp")
    {}
    [[nodiscard]] const url_string_t* get() const { return reinterpret_cast<const url_string_t*>(url.c_str()); }
};

// As a user agent the stack would confirm and end the second success of an INVITE itself: where its Contact says, by
// whatever names stand there, and over none of the connections. As a proxy it leaves all of them to us.
class AsProxy {
public:
    explicit AsProxy(nta_agent_t* agent) : _agent(agent)
    {
        (void)nta_agent_set_params(_agent, NTATAG_UA(0), TAG_END());
    }
    ~AsProxy() { (void)nta_agent_set_params(_agent, NTATAG_UA(1), TAG_END()); }
    AsProxy(const AsProxy&) = delete;
    AsProxy& operator=(const AsProxy&) = delete;

private:
    nta_agent_t* _agent;
};

} // namespace

std::unique_ptr<ClientTransaction> StackCalls::send(const CallRequestOut& request, ResponseHandler onResponse)
{
    auto transaction =
        std::make_unique<StackClientTransaction>(*this, ++_sent, request.destination, std::move(onResponse));
    const Way way = wayTo(request.destination);
    msg_t* message = way.agent == nullptr ? nullptr : makeRequest(request, way);
    nta_outgoing_t* outgoing = nullptr;
    auto* const magic = reinterpret_cast<nta_outgoing_magic_t*>(transaction.get());
    std::optional<AsProxy> asProxy;
    if (message != nullptr && request.method == "INVITE")
        asProxy.emplace(way.agent);
    if (message != nullptr && way.connection != nullptr)
        outgoing =
            nta_outgoing_mcreate(way.agent, StackClientTransaction::onAnswer, magic, nullptr, message,
                                 NTATAG_TPORT(way.connection), NTATAG_USER_VIA(1), NTATAG_PASS_100(1), TAG_END());
    else if (message != nullptr)
        outgoing = nta_outgoing_mcreate(way.agent, StackClientTransaction::onAnswer, magic,
                                        Target(request.destination).get(), message, TPTAG_IDENT(identityOf(way.ident)),
                                        TPTAG_MTU(kMaxPacket), NTATAG_PASS_100(1), TAG_END());
    if (outgoing == nullptr) {
        if (message != nullptr)
            msg_destroy(message);
        failLater(transaction.get());
    } else {
        transaction->begin(way.agent, outgoing, asProxy.has_value());
        if (asProxy && way.connection != nullptr)
            transaction->keepForCancel(request, way.via);
    }
    return transaction;
}

// Whoever sends hears of nothing before he has what he sent with.
void StackCalls::failLater(StackClientTransaction* transaction)
{
    _stack.post([this, transaction, number = transaction->number()] {
        if (_clients.count(transaction) != 0 && transaction->number() == number)
            transaction->fail();
    });
}

bool StackCalls::isCut(const SipSource& peer) const
{
    return peer.transport != kTransportUdp && _flows.wayTo(peer).stackPort == 0;
}

void StackCalls::loseLater(StackServerTransaction* transaction)
{
    _stack.post([this, transaction, number = transaction->number()] {
        if (_servers.count(transaction) != 0 && transaction->number() == number)
            transaction->lose();
    });
}

void StackCalls::sendCancel(const CallRequestOut& cancel, const std::string& via)
{
    Way way = wayTo(cancel.destination);
    if (way.connection == nullptr)
        return;
    way.via = via;
    msg_t* message = makeRequest(cancel, way);
    if (message == nullptr)
        return;
    nta_outgoing_t* outgoing = nta_outgoing_mcreate(way.agent, nullptr, nullptr, nullptr, message,
                                                    NTATAG_TPORT(way.connection), NTATAG_USER_VIA(1), TAG_END());
    if (outgoing == nullptr)
        msg_destroy(message);
    else
        nta_outgoing_destroy(outgoing);
}

void StackCalls::sendAck(const CallRequestOut& ack, const ClientTransaction& invite)
{
    sendAckOf(static_cast<const StackClientTransaction&>(invite).branch(), ack);
}

void StackCalls::sendAck(const CallRequestOut& ack)
{
    sendAckOf("z9hG4bK" + randomToken(), ack);
}

void StackCalls::sendAckOf(const std::string& branch, const CallRequestOut& ack)
{
    const Way way = wayTo(ack.destination);
    msg_t* message = way.agent == nullptr || branch.empty() ? nullptr : makeRequest(ack, way);
    if (message == nullptr)
        return;
    nta_outgoing_t* outgoing = nullptr;
    if (way.connection != nullptr)
        outgoing = nta_outgoing_mcreate(way.agent, nullptr, nullptr, nullptr, message, NTATAG_TPORT(way.connection),
                                        NTATAG_USER_VIA(1), NTATAG_ACK_BRANCH(branch.c_str()), TAG_END());
    else
        outgoing = nta_outgoing_mcreate(way.agent, nullptr, nullptr, Target(ack.destination).get(), message,
                                        TPTAG_IDENT(identityOf(way.ident)), TPTAG_MTU(kMaxPacket),
                                        NTATAG_ACK_BRANCH(branch.c_str()), TAG_END());
    if (outgoing == nullptr)
        msg_destroy(message);
    else
        nta_outgoing_destroy(outgoing);
}
