#include "sip/sip_agent.h"

#include "server_log.h"
#include "sip/local_addresses.h"
#include "sip/sip_answers.h"
#include "sip/sip_stack.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <netdb.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/nta_tport.h>
#include <sofia-sip/tport_tag.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr unsigned kMaxMessageSize = 65536;  // bytes; above, a header of many lines would hold the parser for minutes
constexpr unsigned kSocketBuffer = 4u << 20; // bytes; a second of REGISTER at the highest rate
// Sockets of addresses that the machine has lost stay (they often come back); with more of them all are opened anew.
constexpr size_t kMaxLostAddresses = 16;
constexpr unsigned kMaxProceeding = 1'000'000; // the stack's own limit is far below what the server can hold

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

void reportReady(const std::vector<std::string>& addresses, uint16_t port)
{
    std::vector<std::string> texts;
    texts.reserve(addresses.size());
    for (const std::string& address : addresses)
        texts.push_back(addressText(address, port));
    ServerLog("SIP over UDP is ready on %s.", joined(texts).c_str());
}

// Why the stack could not bind, which it does not tell: the same is tried once more.
std::string bindError(const std::string& address, uint16_t port)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* info = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &info) != 0)
        return "not an IP address";
    int error = 0;
    const int fd = socket(info->ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, info->ai_addr, info->ai_addrlen) != 0)
        error = errno;
    if (fd >= 0)
        close(fd);
    freeaddrinfo(info);
    return error == 0 ? "the SIP stack refuses it" : strerror(error);
}

bool contains(const std::vector<std::string>& list, const std::string& text)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

// One line for each reason.
void reportFailures(const std::vector<std::string>& addresses, uint16_t port, bool isAll)
{
    std::map<std::string, std::vector<std::string>> byReason;
    for (const std::string& address : addresses)
        byReason[bindError(address, port)].push_back(address);
    for (const auto& [reason, failed] : byReason)
        if (isAll && failed.size() == addresses.size())
            ServerLog("SIP over UDP cannot use port %u: %s.", unsigned{port}, reason.c_str());
        else
            ServerLog("SIP over UDP cannot use port %u of %s: %s.", unsigned{port}, joined(failed).c_str(),
                      reason.c_str());
}

} // namespace

// What is served: one agent of the stack with a socket for each address.
struct Service {
    std::string address; // as asked for; blank: all of the machine
    uint16_t port = 0;
    nta_agent_t* agent = nullptr;
    std::vector<std::string> bound;
    std::vector<std::string> failed;

    [[nodiscard]] bool isForAll() const { return BclTrimmed(address).empty(); }
    [[nodiscard]] std::vector<std::string> wanted() const
    {
        return isForAll() ? localAddresses() : std::vector<std::string>{std::string(BclTrimmed(address))};
    }

    // Binds what is not bound yet.
    void bind(const std::vector<std::string>& addresses)
    {
        failed.clear();
        for (const std::string& literal : addresses)
            if (!contains(bound, literal))
                (bindOne(literal) ? bound : failed).push_back(literal);
    }

    void open(SipStack& stack, SipHandler& handler)
    {
        const auto callback = [](nta_agent_magic_t* magic, nta_agent_t* self, msg_t* message, sip_t* sip) {
            answerMessage(self, message, sip, *reinterpret_cast<SipHandler*>(magic));
            return 0;
        };
        // Without an own address: sockets are added below, each with its own result.
        auto* const noSocketYet = reinterpret_cast<url_string_t*>(-1); // NOLINT(performance-no-int-to-ptr)
        agent = nta_agent_create(stack.root(), noSocketYet, callback, reinterpret_cast<nta_agent_magic_t*>(&handler),
                                 NTATAG_MAXSIZE(kMaxMessageSize), NTATAG_MAX_PROCEEDING(kMaxProceeding), TAG_END());
        bind(wanted());
    }

    void close()
    {
        if (agent != nullptr)
            nta_agent_destroy(std::exchange(agent, nullptr));
        bound.clear();
    }

private:
    bool bindOne(const std::string& literal)
    {
        if (agent == nullptr || BclIsIPFormat(literal.c_str()) == 0)
            return false;
        const bool isV6 = literal.find(':') != std::string::npos;
        const std::string url =
            "sip:" + (isV6 ? "[" + literal + "]" : literal) + ":" + std::to_string(port) + ";transport=udp";
        return nta_agent_add_tport(agent, reinterpret_cast<const url_string_t*>(url.c_str()),
                                   TPTAG_UDP_RMEM(kSocketBuffer), TPTAG_UDP_WMEM(kSocketBuffer), TAG_END()) == 0;
    }
};

struct SipAgent::Impl {
    SipStack& stack;
    SipHandler& handler;
    Service current;
};

SipAgent::SipAgent(SipStack& stack, SipHandler& handler) : _impl(new Impl{stack, handler, {}}) {}

SipAgent::~SipAgent() = default;

void SipAgent::serveUdp(const std::string& address, uint16_t port)
{
    Service& current = _impl->current;
    if (!current.bound.empty() && current.address == address && current.port == port)
        return;
    Service next;
    next.address = address;
    next.port = port;
    next.open(_impl->stack, _impl->handler);
    const bool hasFormer = !current.bound.empty();
    if (!next.failed.empty() && hasFormer && current.port == port) {
        // Our own sockets may be in the way.
        current.close();
        next.bind(next.wanted());
        if (next.bound.empty())
            current.open(_impl->stack, _impl->handler);
    }
    if (!next.failed.empty())
        reportFailures(next.failed, port, next.isForAll());
    if (next.bound.empty()) {
        if (next.failed.empty())
            ServerLog("SIP over UDP waits for the machine to have a network address.");
        if (hasFormer || !next.isForAll()) {
            next.close();
            if (hasFormer)
                reportReady(current.bound, current.port);
            return;
        }
    } else {
        reportReady(next.bound, port);
    }
    current.close();
    current = std::move(next);
}

void SipAgent::followAddresses()
{
    Service& current = _impl->current;
    if (current.agent == nullptr || !current.isForAll())
        return;
    const std::vector<std::string> present = localAddresses();
    std::vector<std::string> fresh;
    for (const std::string& address : present)
        if (!contains(current.bound, address) && !contains(current.failed, address))
            fresh.push_back(address);
    if (fresh.empty())
        return;
    const auto lost = std::count_if(current.bound.begin(), current.bound.end(),
                                    [&](const std::string& address) { return !contains(present, address); });
    if (static_cast<size_t>(lost) > kMaxLostAddresses) {
        current.close();
        current.open(_impl->stack, _impl->handler);
        reportReady(current.bound, current.port);
        return;
    }
    current.bind(present);
    std::vector<std::string> added;
    for (const std::string& address : fresh)
        if (contains(current.bound, address))
            added.push_back(address);
    if (!added.empty())
        reportReady(added, current.port);
}
