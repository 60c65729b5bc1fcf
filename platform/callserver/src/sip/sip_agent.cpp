#include "sip/sip_agent.h"

#include "server_log.h"
#include "sip/numeric_hosts.h"
#include "sip/sip_answers.h"
#include "sip/sip_stack.h"
#include "sip/source_key.h"
#include "sip/stack_calls.h"
#include "sip/stack_sockets.h"
#include "sip/via_source.h"
#include "streams/flow_table.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <netdb.h>
#include <optional>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/nta_tport.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/tport.h>
#include <sofia-sip/tport_tag.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr unsigned kMaxMessageSize = 65536;  // bytes; above, a header of many lines would hold the parser for minutes
constexpr unsigned kSocketBuffer = 4u << 20; // bytes; a second of REGISTER at the highest rate
// Bytes. Messages over connections come one by one and bounded, but the stack counts all that it reads at once.
constexpr unsigned kMaxStreamRead = 1u << 20;
constexpr const char* kStackAddress = "127.0.0.1";
// Sockets of addresses that the machine has lost stay (they often come back); with more of them all are opened anew.
constexpr size_t kMaxLostAddresses = 16;
constexpr int kAnswerToSource = 2;             // also when the client did not ask for it with rport (RFC 3581)
constexpr unsigned kMaxProceeding = 1'000'000; // the stack's own limit is far below what the server can hold

// Or within a call, whose dialog nobody else knows of.
bool isWithCredentials(const sip_t* sip, const SipSource& source, const SipHandler& handler)
{
    if (sip == nullptr || sip->sip_request == nullptr)
        return false;
    switch (sip->sip_request->rq_method) {
    case sip_method_register:
        return sip->sip_authorization != nullptr;
    case sip_method_invite:
    case sip_method_message:
        if (sip->sip_authorization != nullptr || sip->sip_proxy_authorization != nullptr)
            return true;
        break;
    default:
        break;
    }
    return sip->sip_call_id != nullptr && handler.hasCall(sip->sip_call_id->i_id, source);
}

std::string addressText(const std::string& address, uint16_t port)
{
    Cbcl_uaddr text;
    text.setAddress(address.c_str(), port);
    return text.getURLStr();
}

// "a, b and c"
std::string joined(const std::vector<std::string>& texts)
{
    std::string result;
    for (size_t i = 0; i < texts.size(); ++i)
        result += (i == 0 ? "" : i + 1 == texts.size() ? " and " : ", ") + texts[i];
    return result;
}

// Why the address cannot be bound; empty when it can. The stack does not tell, and so it is not asked in vain.
std::string bindError(const std::string& address, uint16_t port)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* info = nullptr;
    if (BclIsIPFormat(address.c_str()) == 0 ||
        resolveLiteral(address.c_str(), std::to_string(port).c_str(), &hints, &info) != 0)
        return "not an IP address";
    int error = 0;
    const int fd = socket(info->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, info->ai_addr, info->ai_addrlen) != 0)
        error = errno;
    if (fd >= 0)
        close(fd);
    freeaddrinfo(info);
    return error == 0 ? std::string() : strerror(error);
}

bool contains(const std::vector<std::string>& list, const std::string& text)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

using Failures = std::map<std::string, std::string>; // address and reason

// Only then may it be ourselves who are in the way.
bool isInUse(const Failures& failures)
{
    return std::any_of(failures.begin(), failures.end(),
                       [](const auto& failure) { return failure.second == strerror(EADDRINUSE); });
}

// Where packets are received on.
std::string listed(const std::vector<std::string>& addresses, uint16_t port)
{
    std::vector<std::string> texts;
    texts.reserve(addresses.size());
    for (const std::string& address : addresses)
        texts.push_back(addressText(address, port));
    return joined(texts);
}

void reportReady(const std::vector<std::string>& addresses, uint16_t port)
{
    if (!addresses.empty())
        ServerLog("SIP over UDP is ready on %s.", listed(addresses, port).c_str());
}

// One line for each reason. `former`: what is served on instead; empty: nothing.
void reportFailures(const Failures& failures, uint16_t port, bool isAll, const std::string& former = {})
{
    const std::string instead = former.empty() ? "" : "; it stays on " + former;
    std::map<std::string, std::vector<std::string>> byReason;
    for (const auto& [address, reason] : failures)
        byReason[reason].push_back(address);
    for (const auto& [reason, failed] : byReason)
        if (isAll && failed.size() == failures.size())
            ServerLog("SIP over UDP cannot use port %u: %s%s.", unsigned{port}, reason.c_str(), instead.c_str());
        else
            ServerLog("SIP over UDP cannot use port %u of %s: %s%s.", unsigned{port}, joined(failed).c_str(),
                      reason.c_str(), instead.c_str());
}

} // namespace

// What is served: one agent of the stack with a socket for each address.
struct Service {
    std::string address; // as asked for; blank: all of the machine
    uint16_t port = 0;
    nta_agent_t* agent = nullptr;
    std::vector<std::string> bound;
    Failures failed;

    [[nodiscard]] bool isForAll() const { return BclTrimmed(address).empty(); }
    [[nodiscard]] std::vector<std::string> wanted(const SipAgent::AddressSource& addresses) const
    {
        return isForAll() ? addresses() : std::vector<std::string>{std::string(BclTrimmed(address))};
    }

    // Binds what is not bound yet, and gives what could be.
    std::vector<std::string> bind(const std::vector<std::string>& addresses)
    {
        std::vector<std::string> added;
        failed.clear();
        for (const std::string& literal : addresses) {
            if (contains(bound, literal))
                continue;
            std::string reason = bindOne(literal);
            if (reason.empty()) {
                bound.push_back(literal);
                added.push_back(literal);
            } else {
                failed.emplace(literal, std::move(reason));
            }
        }
        return added;
    }

    void open(SipStack& stack, nta_message_f* callback, nta_agent_magic_t* magic,
              const std::vector<std::string>& addresses)
    {
        // Without an own address: sockets are added below, each with its own result.
        auto* const noSocketYet = reinterpret_cast<url_string_t*>(-1); // NOLINT(performance-no-int-to-ptr)
        // A user agent: it repeats the success of an INVITE until that is confirmed.
        agent = nta_agent_create(stack.root(), noSocketYet, callback, magic, NTATAG_MCLASS(sourceBoundMessages()),
                                 NTATAG_BAD_REQ_MASK(sip_mask_request), NTATAG_SERVER_RPORT(kAnswerToSource),
                                 NTATAG_MAXSIZE(kMaxMessageSize), NTATAG_MAX_PROCEEDING(kMaxProceeding), NTATAG_UA(1),
                                 NTATAG_MERGE_482(1), NTATAG_PRELOAD(kMessagePreload), TAG_END());
        bind(addresses);
    }

    void close()
    {
        if (agent != nullptr)
            nta_agent_destroy(std::exchange(agent, nullptr));
        bound.clear();
        forgetStackSockets();
    }

private:
    // Empty when it is bound, else why not.
    std::string bindOne(const std::string& literal)
    {
        std::string reason = bindError(literal, port);
        if (!reason.empty())
            return reason;
        const bool isV6 = literal.find(':') != std::string::npos;
        const std::string url =
            "sip:" + (isV6 ? "[" + literal + "]" : literal) + ":" + std::to_string(port) + ";transport=udp";
        if (agent != nullptr &&
            nta_agent_add_tport(agent, reinterpret_cast<const url_string_t*>(url.c_str()), TPTAG_IDENT(literal.c_str()),
                                TPTAG_UDP_RMEM(kSocketBuffer), TPTAG_UDP_WMEM(kSocketBuffer), TAG_END()) == 0) {
            forgetStackSockets();
            return {};
        }
        return "the SIP stack refuses it";
    }
};

struct SipAgent::Impl {
    SipStack& stack;
    SipHandler& handler;
    AddressSource addresses;
    FlowTable& flows;
    Service current;
    nta_agent_t* streams = nullptr; // one for all connections, whatever happens to the sockets of UDP
    StackCalls calls{stack, [this] { return UdpSockets{current.agent, current.port, &current.bound}; }, flows};

    static int onPacketMessage(nta_agent_magic_t* magic, nta_agent_t* agent, msg_t* message, sip_t* sip)
    {
        Impl& self = *reinterpret_cast<Impl*>(magic);
        const SipSource source = sourceOfAddress(msg_addr(message)->su_sa);
        answerMessage(agent, message, sip, source, self.handler, self.calls);
        return 0;
    }

    static int onStreamMessage(nta_agent_magic_t* magic, nta_agent_t* agent, msg_t* message, sip_t* sip)
    {
        Impl& self = *reinterpret_cast<Impl*>(magic);
        const sockaddr& address = msg_addr(message)->su_sa;
        const bool isOurs = sourceKey(address) == sourceKey(std::string_view(kStackAddress));
        // Otherwise another program of this machine found the stack's own door.
        const std::optional<SipSource> source =
            isOurs ? self.flows.peerOf(ntohs(msg_addr(message)->su_port)) : std::nullopt;
        if (!source || !self.handler.admits(*source, isWithCredentials(sip, *source, self.handler))) {
            msg_destroy(message);
            return 0;
        }
        answerMessage(agent, message, sip, *source, self.handler, self.calls);
        return 0;
    }

    void open(Service& service)
    {
        service.open(stack, onPacketMessage, reinterpret_cast<nta_agent_magic_t*>(this), service.wanted(addresses));
    }

    // Of a service that calls went over.
    void close(Service& service)
    {
        if (service.agent == nullptr)
            return;
        handler.onUdpClosing();
        calls.forget(service.agent);
        service.close();
    }

    // Tries what is missing of the current service, and says what became of it; of what failed as it did before only
    // when asked to repeat it.
    void bindMissing(const std::vector<std::string>& wanted, bool isRepeating)
    {
        const Failures before = current.failed;
        reportReady(current.bind(wanted), current.port);
        Failures told = current.failed;
        if (!isRepeating)
            std::erase_if(told, [&](const auto& failure) { return before.count(failure.first) != 0; });
        reportFailures(told, current.port, current.isForAll() && current.bound.empty());
    }
};

SipAgent::SipAgent(SipStack& stack, SipHandler& handler, AddressSource addresses, FlowTable& flows)
    : _impl(new Impl{stack, handler, std::move(addresses), flows, {}})
{
    _impl->calls.setStrayListener([&handler](const CallMessage& response) { handler.onStraySuccess(response); });
}

SipAgent::~SipAgent() = default;

void SipAgent::serveUdp(const std::string& address, uint16_t port)
{
    Service& current = _impl->current;
    if (current.agent != nullptr && current.address == address && current.port == port) {
        _impl->bindMissing(current.wanted(_impl->addresses), true);
        return;
    }
    Service next;
    next.address = address;
    next.port = port;
    _impl->open(next);
    const bool hasFormer = !current.bound.empty();
    if (isInUse(next.failed) && hasFormer && current.port == port) {
        _impl->close(current);
        next.bind(next.wanted(_impl->addresses));
        if (next.bound.empty())
            _impl->open(current);
    }
    const bool isKept = next.bound.empty() && hasFormer;
    reportFailures(next.failed, port, next.isForAll() && next.bound.empty(),
                   isKept ? listed(current.bound, current.port) : std::string());
    if (next.bound.empty()) {
        if (next.failed.empty())
            ServerLog("SIP over UDP waits for the machine to have a network address.");
        if (hasFormer || !next.isForAll()) {
            next.close();
            return;
        }
    } else {
        reportReady(next.bound, port);
    }
    _impl->close(current);
    current = std::move(next);
}

uint16_t SipAgent::servedUdpPort() const
{
    const Service& current = _impl->current;
    return current.bound.empty() ? uint16_t{0} : current.port;
}

uint16_t SipAgent::openStreams()
{
    _impl->streams = nta_agent_create(
        _impl->stack.root(), reinterpret_cast<const url_string_t*>("sip:127.0.0.1:0;transport=tcp"),
        Impl::onStreamMessage, reinterpret_cast<nta_agent_magic_t*>(_impl.get()), NTATAG_MCLASS(sourceBoundMessages()),
        NTATAG_BAD_REQ_MASK(sip_mask_request), NTATAG_SERVER_RPORT(kAnswerToSource), NTATAG_MAXSIZE(kMaxStreamRead),
        NTATAG_MAX_PROCEEDING(kMaxProceeding), NTATAG_UA(1), NTATAG_MERGE_482(1), NTATAG_PRELOAD(kMessagePreload),
        TPTAG_QUEUESIZE(SOMAXCONN), TAG_END());
    _impl->calls.setStreams(_impl->streams);
    closeStackStreams();
    forgetStackSockets();
    const tport_t* primary = _impl->streams == nullptr ? nullptr : tport_primaries(nta_agent_tports(_impl->streams));
    const su_addrinfo_t* address = primary == nullptr ? nullptr : tport_get_address(primary);
    if (address == nullptr)
        return 0;
    return ntohs(reinterpret_cast<const su_sockaddr_t*>(address->ai_addr)->su_port);
}

CallTransport& SipAgent::calls()
{
    return _impl->calls;
}

void SipAgent::send(const OutgoingRequest& request, OutgoingResult done)
{
    sendOverConnection(_impl->streams, _impl->flows, request, std::move(done));
}

void SipAgent::followAddresses()
{
    Service& current = _impl->current;
    if (current.agent == nullptr || !current.isForAll())
        return;
    const std::vector<std::string> present = _impl->addresses();
    const auto lost = std::count_if(current.bound.begin(), current.bound.end(),
                                    [&](const std::string& address) { return !contains(present, address); });
    if (static_cast<size_t>(lost) > kMaxLostAddresses) {
        _impl->close(current);
        _impl->open(current);
        reportReady(current.bound, current.port);
        reportFailures(current.failed, current.port, current.bound.empty());
        return;
    }
    _impl->bindMissing(present, false);
}
