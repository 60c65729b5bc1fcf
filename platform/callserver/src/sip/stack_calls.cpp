#include "sip/stack_calls.h"

#include "sip/call_parts.h"
#include "sip/hex_text.h"
#include "sip/local_addresses.h"
#include "sip/request_text.h"
#include "sip/sip_stack.h"
#include "sip/stack_client.h"
#include "sip/stack_server.h"
#include "sip/stack_sockets.h"
#include "sip/stack_text.h"
#include "sip/uri_text.h"
#include "streams/flow_table.h"

#include <algorithm>
#include <cstring>
#include <deque>
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
#include <string_view>
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

bool isV6(const std::string& literal)
{
    return literal.find(':') != std::string::npos;
}

std::string hostPort(const std::string& address, uint16_t port)
{
    std::string text = isV6(address) ? "[" + address + "]" : address;
    return text.append(":").append(std::to_string(port));
}

std::string randomToken()
{
    return hexText(uint64_t{su_random()} << 32 | su_random());
}

// Of a From or To as we write them: the tag comes last.
std::string_view tagOf(std::string_view party)
{
    constexpr std::string_view kTag = ";tag=";
    const size_t at = party.rfind(kTag);
    return at == std::string_view::npos ? std::string_view() : party.substr(at + kTag.size());
}

// The stack keeps the pointer as long as the transaction. There are as many as this machine has had addresses.
const char* identityOf(const std::string& address)
{
    static std::set<std::string>& all = *new std::set<std::string>; // SIP thread
    return all.insert(address).first->c_str();
}

} // namespace

struct StackCalls::Way {
    nta_agent_t* agent = nullptr;  // null: there is none
    tport_t* connection = nullptr; // over streams
    std::string ident;             // of the socket of UDP
    uint16_t port = 0;             // likewise
    std::string local;             // host and port of our end
    std::string via;               // over streams: the Via that names it
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
    const bool isReliableRequired = sip->sip_require != nullptr && sip_has_feature(sip->sip_require, "100rel") != 0;
    return std::make_unique<StackServerTransaction>(
        *this, StackServerTransaction::Taken{agent, incoming, source, std::move(protocol), isReliableRequired});
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
        if (client->agent() == agent) {
            client->forget();
            if (client->isOpen())
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
        way.port = udp.port;
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
    std::string lines;
    lines.reserve(512 + request.headers.size());
    if (request.hasContact)
        lines += headerLine("Contact", contactText(request.contactUser, request.destination));
    lines += request.headers;
    addBodyLines(request.body, lines);
    // Of the stack's own class: the agent's is for what strangers send.
    msg_t* message = msg_create(sip_default_mclass(), 0);
    if (message == nullptr)
        return nullptr;
    su_home_preload(msg_home(message), 1, kMessagePreload);
    const bool areRoutesAdded =
        std::all_of(request.routes.begin(), request.routes.end(), [message](const std::string& route) {
            return addHeader(message, sip_route_class, "Route", route);
        });
    if (!areRoutesAdded ||
        !addHeader(message, sip_request_class, "", request.method + " " + request.uri + " SIP/2.0") ||
        (!way.via.empty() && !addHeader(message, sip_via_class, "Via", way.via)) ||
        !addHeader(message, sip_max_forwards_class, "Max-Forwards", std::to_string(request.maxForwards)) ||
        !addHeader(message, sip_from_class, "From", request.from) ||
        !addHeader(message, sip_to_class, "To", request.to) ||
        !addHeader(message, sip_call_id_class, "Call-ID", request.callId) ||
        !addHeader(message, sip_cseq_class, "CSeq", std::to_string(request.cseq) + " " + request.method) ||
        !addLines(message, lines) || !addBody(message, request.body)) {
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

} // namespace

std::unique_ptr<ClientTransaction> StackCalls::send(const CallRequestOut& request, ResponseHandler onResponse)
{
    auto transaction =
        std::make_unique<StackClientTransaction>(*this, ++_sent, request.destination, std::move(onResponse));
    const Way way = wayTo(request.destination);
    msg_t* message = way.agent == nullptr ? nullptr : makeRequest(request, way);
    nta_outgoing_t* outgoing = nullptr;
    auto* const magic = reinterpret_cast<nta_outgoing_magic_t*>(transaction.get());
    const bool isInvite = request.method == "INVITE";
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
        transaction->begin(way.agent, outgoing, isInvite);
        if (isInvite && way.connection != nullptr)
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

void StackCalls::sendAck(const CallRequestOut& ack, ClientTransaction& invite)
{
    auto& client = static_cast<StackClientTransaction&>(invite);
    if (sendAckPacket(ack, true))
        client.finish();
    else
        sendAckOf(client.branch(), ack);
}

void StackCalls::sendAck(const CallRequestOut& ack)
{
    if (!sendAckPacket(ack, false))
        sendAckOf("z9hG4bK" + randomToken(), ack);
}

bool StackCalls::sendAckPacket(const CallRequestOut& ack, bool isKept)
{
    if (ack.destination.transport != kTransportUdp)
        return false;
    const Way way = wayTo(ack.destination);
    if (way.agent == nullptr)
        return false;
    // An ACK of a success is a transaction of its own (RFC 3261 section 13.2.2.4).
    const std::string via = "SIP/2.0/UDP " + way.local + ";branch=z9hG4bK" + randomToken() + ";rport";
    SentAcks::Ack sent;
    sent.from.address = way.ident;
    sent.from.port = way.port;
    sent.to = ack.destination;
    sent.text = requestText(ack, via, {});
    if (sent.text.empty() || !sendPacket(sent.from, sent.to, sent.text))
        return false;
    if (isKept)
        _acks.keep({tagOf(ack.from), tagOf(ack.to), ack.cseq}, std::move(sent), nowMs());
    return true;
}

bool StackCalls::repeatAck(const sip_t* success)
{
    const char* const localTag = success->sip_from->a_tag;
    const char* const remoteTag = success->sip_to->a_tag;
    if (localTag == nullptr)
        return false;
    // Telephones of RFC 2543 have none.
    const SentAcks::Ack* ack =
        _acks.find({localTag, remoteTag == nullptr ? "" : remoteTag, success->sip_cseq->cs_seq}, nowMs());
    return ack != nullptr && sendPacket(ack->from, ack->to, ack->text);
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

// As a user agent the stack would confirm and end the second success of an INVITE itself: where its Contact says, by
// whatever names stand there, and over none of the connections. Not taken, it goes to the callback for strays.
extern "C" __attribute__((visibility("default"))) int nta_msg_ackbye(nta_agent_t*, msg_t*)
{
    return -1;
}
