#include "streams/stream_server.h"

#include "server_log.h"
#include "sip/source_key.h"
#include "streams/listener.h"
#include "streams/stream_connection.h"
#include "streams/tls_context.h"

#include "bcl2/uaddr.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <set>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>

namespace {

constexpr int64_t kSweepMs = 1000;      // how late a limit of time may be noticed
constexpr int kPauseMs = 100;           // until strangers that send too much are read again
constexpr int64_t kLogPauseMs = 60'000; // of one line about limits
constexpr int kMaxAccepts = 32;         // in a row
constexpr size_t kMaxEvents = 64;
constexpr size_t kMaxShutOut = 8192;      // sources; of more than that one is let in again
constexpr int64_t kRetryMs = 5000;        // until a port that was taken is tried again
constexpr rlim_t kOtherDescriptors = 256; // of the rest of the program
constexpr rlim_t kDescriptorsEach = 3;    // the telephone's, ours to the stack, the stack's

// A telephone that lost its power says nothing; the kernel asks, and gives up after two minutes.
constexpr int kKeepIdleSeconds = 60;
constexpr int kKeepIntervalSeconds = 15;
constexpr int kKeepCount = 4;
constexpr int kUserTimeoutMs = 30'000; // for what it does not acknowledge

// What an event of epoll is about: the lowest bits of its data.
enum EventOf : uint64_t { kPeer, kStack, kListener, kControl };
constexpr unsigned kEventBits = 2;

void setOption(int fd, int level, int name, int value)
{
    setsockopt(fd, level, name, &value, sizeof value);
}

void tune(int fd)
{
    setOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, kKeepIdleSeconds);
    setOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, kKeepIntervalSeconds);
    setOption(fd, IPPROTO_TCP, TCP_KEEPCNT, kKeepCount);
    setOption(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeoutMs);
}

std::string listeningText(const std::string& address, uint16_t port)
{
    if (address.empty())
        return "port " + std::to_string(port);
    Cbcl_uaddr text;
    text.setAddress(address.c_str(), port);
    return text.getURLStr();
}

} // namespace

struct StreamServer::Impl {
    struct Entry {
        std::unique_ptr<StreamConnection> connection;
        SourceKey key{};
        uint32_t peerMask = 0; // what epoll waits for; 0: it does not
        uint32_t stackMask = 0;
    };
    struct Kind {
        const char* name;
        uint8_t transport;
        Listener listener;
    };

    Impl(const Clock& usedClock, std::string usedFolder, const StreamLimits& usedLimits)
        : clock(usedClock), folder(std::move(usedFolder)), limits(usedLimits)
    {
        rlimit descriptors{};
        if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0 || descriptors.rlim_cur == RLIM_INFINITY)
            return;
        const rlim_t usable = descriptors.rlim_cur > kOtherDescriptors ? descriptors.rlim_cur - kOtherDescriptors : 0;
        limits.connections = std::min<size_t>(limits.connections, usable / kDescriptorsEach);
    }

    void post(std::function<void()> work)
    {
        const uint64_t one = 1;
        {
            const std::lock_guard guard(mutex);
            posted.push_back(std::move(work));
        }
        [[maybe_unused]] const ssize_t ignored = ::write(control, &one, sizeof one);
    }

    void doPosted()
    {
        uint64_t count = 0;
        [[maybe_unused]] const ssize_t ignored = ::read(control, &count, sizeof count);
        std::vector<std::function<void()>> work;
        {
            const std::lock_guard guard(mutex);
            work.swap(posted);
        }
        for (const auto& item : work)
            item();
    }

    // Makes epoll wait for these bits; 0: for nothing, not even for an end that would be told again and again.
    void watch(int fd, uint64_t data, uint32_t& before, uint32_t mask) const
    {
        if (mask == before)
            return;
        epoll_event event{};
        event.events = mask;
        event.data.u64 = data;
        epoll_ctl(epoll, mask == 0 ? EPOLL_CTL_DEL : before == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &event);
        before = mask;
    }

    void watchListeners(bool isWanted)
    {
        isAccepting = isWanted;
        for (size_t i = 0; i < kinds.size(); ++i)
            for (const int fd : kinds[i].listener.fds()) {
                uint32_t before = isWanted ? 0 : uint32_t{EPOLLIN};
                watch(fd, i << kEventBits | kListener, before, isWanted ? uint32_t{EPOLLIN} : 0U);
            }
    }

    void accept(Kind& kind, int64_t now)
    {
        for (int i = 0; i < kMaxAccepts; ++i)
            for (const int listening : kind.listener.fds()) {
                sockaddr_storage address{};
                socklen_t size = sizeof address;
                auto* generic = reinterpret_cast<sockaddr*>(&address);
                const int fd = accept4(listening, generic, &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (fd >= 0)
                    add(kind, fd, *generic, now);
                else if ((errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) && !endOldest(now))
                    watchListeners(false); // until the next sweep
            }
    }

    void add(const Kind& kind, int fd, const sockaddr& address, int64_t now)
    {
        const SourceKey key = sourceKey(address);
        const IpVerdict verdict = ipList->of(ipAddress(address));
        const bool isTrusted = verdict == IpVerdict::Allow;
        const bool isShut = verdict == IpVerdict::Deny || (!isTrusted && isShutOut(key, now));
        if (isShut || stackPort == 0 || !makeRoom(key, isTrusted, now)) {
            close(fd);
            return;
        }
        tune(fd);
        SipSource peer = sourceOfAddress(address);
        SipSource local = localEnd(fd);
        peer.transport = local.transport = kind.transport;
        const uint64_t id = ++lastId;
        Entry& entry = entries[id];
        entry.key = key;
        entry.connection =
            std::make_unique<StreamConnection>(fd, kind.transport == kTransportTls ? tls.get() : nullptr,
                                               std::move(peer), std::move(local), stackPort, flows, limits, now);
        setTrusted(id, entry, isTrusted);
        move(id, now);
    }

    [[nodiscard]] bool isShutOut(const SourceKey& key, int64_t now) const
    {
        const auto shut = shutOut.find(key);
        return shut != shutOut.end() && shut->second > now;
    }

    void setTrusted(uint64_t id, const Entry& entry, bool isTrusted)
    {
        entry.connection->setTrusted(isTrusted);
        if (entry.connection->isKnown()) {
            forgetStranger(id, entry.key);
        } else {
            strangers.insert(id);
            strangersOf[entry.key].insert(id);
        }
    }

    void setIpList(std::shared_ptr<const IpList> list)
    {
        ipList = std::move(list);
        std::vector<uint64_t> denied;
        for (const auto& [id, entry] : entries) {
            const IpVerdict verdict = ipList->of(ipAddress(entry.connection->source().address));
            if (verdict == IpVerdict::Deny)
                denied.push_back(id);
            else
                setTrusted(id, entry, verdict == IpVerdict::Allow);
        }
        for (const uint64_t id : denied)
            end(id);
    }

    // False: there are too many connections, and all are known.
    bool makeRoom(const SourceKey& key, bool isTrusted, int64_t now)
    {
        if (!isTrusted)
            makeRoomForStranger(key, now);
        return entries.size() < limits.connections || endOldest(now);
    }

    void makeRoomForStranger(const SourceKey& key, int64_t now)
    {
        forgetKnownOldest(key);
        const auto ofSource = strangersOf.find(key);
        if (ofSource != strangersOf.end() && ofSource->second.size() >= limits.strangersOfSource)
            endStranger(*ofSource->second.begin(), now);
        if (strangers.size() >= limits.strangers)
            endStranger(*strangers.begin(), now);
    }

    // The oldest are those that have to go first: of them it must be right who is a stranger.
    void forgetKnownOldest(const SourceKey& key)
    {
        const auto isKnown = [this](uint64_t id) { return entries.at(id).connection->isKnown(); };
        for (auto of = strangersOf.find(key); of != strangersOf.end() && isKnown(*of->second.begin());
             of = strangersOf.find(key))
            forgetStranger(*of->second.begin(), key);
        while (!strangers.empty() && isKnown(*strangers.begin()))
            forgetStranger(*strangers.begin(), SourceKey(entries.at(*strangers.begin()).key));
    }

    void endStranger(uint64_t id, int64_t now)
    {
        if (lastLimitLogMs == 0 || now - lastLimitLogMs >= kLogPauseMs) {
            lastLimitLogMs = now;
            ServerLog("There are too many connections over TCP or TLS on which nobody has registered: the oldest of "
                      "them are closed.");
        }
        end(id);
    }

    // False: there is no stranger.
    bool endOldest(int64_t now)
    {
        if (strangers.empty())
            return false;
        endStranger(*strangers.begin(), now);
        return true;
    }

    void forgetStranger(uint64_t id, const SourceKey& key)
    {
        strangers.erase(id);
        const auto it = strangersOf.find(key);
        if (it == strangersOf.end())
            return;
        it->second.erase(id);
        if (it->second.empty())
            strangersOf.erase(it);
    }

    void end(uint64_t id)
    {
        const auto it = entries.find(id);
        if (it == entries.end())
            return;
        forgetStranger(id, SourceKey(it->second.key));
        paused.erase(id);
        entries.erase(it); // closes its descriptors, which epoll forgets with them
    }

    void move(uint64_t id, int64_t now)
    {
        const auto it = entries.find(id);
        if (it == entries.end())
            return;
        Entry& entry = it->second;
        StreamConnection& connection = *entry.connection;
        if (!connection.move(now)) {
            end(id);
            return;
        }
        watch(connection.peerFd(), id << kEventBits | kPeer, entry.peerMask, connection.peerEvents());
        if (connection.stackFd() >= 0)
            watch(connection.stackFd(), id << kEventBits | kStack, entry.stackMask, connection.stackEvents());
        if (connection.isPaused())
            paused.insert(id);
        else
            paused.erase(id);
    }

    void onEvent(const epoll_event& event, int64_t now)
    {
        const uint64_t id = event.data.u64 >> kEventBits;
        switch (event.data.u64 & ((1U << kEventBits) - 1)) {
        case kControl:
            doPosted();
            break;
        case kListener:
            accept(kinds[id], now);
            break;
        default:
            if ((event.events & EPOLLERR) != 0)
                end(id);
            else
                move(id, now);
        }
    }

    void movePaused(int64_t now)
    {
        if (paused.empty() || now - pausedMovedAtMs < kPauseMs)
            return;
        pausedMovedAtMs = now;
        for (const uint64_t id : std::set<uint64_t>(paused))
            move(id, now);
    }

    // A port that was taken may be free by now; nothing is said while it is not.
    void retry(int64_t now)
    {
        if (!hasFailed || now - triedAtMs < kRetryMs)
            return;
        watchListeners(false);
        open(true);
        watchListeners(true);
        triedAtMs = now;
    }

    void sweep(int64_t now)
    {
        sweptAtMs = now;
        std::vector<uint64_t> late;
        for (const auto& [id, entry] : entries)
            if (!entry.connection->isInTime(now))
                late.push_back(id);
        for (const uint64_t id : late)
            end(id);
        std::vector<uint64_t> known;
        for (const uint64_t id : strangers)
            if (entries.at(id).connection->isKnown())
                known.push_back(id);
        for (const uint64_t id : known)
            forgetStranger(id, entries.at(id).key);
        std::erase_if(shutOut, [now](const auto& item) { return item.second <= now; });
        if (!isAccepting)
            watchListeners(true);
    }

    [[nodiscard]] int waitMs() const
    {
        if (!paused.empty())
            return kPauseMs;
        if (!entries.empty() || !isAccepting)
            return static_cast<int>(kSweepMs);
        return hasFailed ? static_cast<int>(kRetryMs) : -1;
    }

    void run()
    {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = kControl;
        epoll_ctl(epoll, EPOLL_CTL_ADD, control, &event);
        for (;;) {
            std::array<epoll_event, kMaxEvents> events{};
            const int count = epoll_wait(epoll, events.data(), kMaxEvents, waitMs());
            const int64_t now = clock.steadyMs();
            for (int i = 0; i < count; ++i)
                onEvent(events[static_cast<size_t>(i)], now);
            movePaused(now);
            retry(now);
            if (now - sweptAtMs >= kSweepMs)
                sweep(now);
        }
    }

    void apply(const StreamSettings& wanted)
    {
        watchListeners(false);
        settings = wanted;
        hasTlsFailed = settings.tlsPort != 0 && !openTls(settings.names);
        open(false);
        watchListeners(true);
        triedAtMs = clock.steadyMs();
    }

    void open(bool isQuiet)
    {
        Listener& tcp = kinds[0].listener;
        Listener& tlsListener = kinds[1].listener;
        // What is to be the other one's is in the way.
        if (settings.tlsPort != settings.tcpPort) {
            if (tcp.isOpen() && tcp.port() == settings.tlsPort)
                tcp.close();
            if (tlsListener.isOpen() && tlsListener.port() == settings.tcpPort)
                tlsListener.close();
        }
        hasFailed = !applyKind(kinds[0], settings.address, settings.tcpPort, isQuiet);
        if (!hasTlsFailed && !applyKind(kinds[1], settings.address, settings.tlsPort, isQuiet))
            hasFailed = true;
    }

    // Also when TLS is served already: the administrator may have put another certificate there.
    bool openTls(const std::vector<std::string>& names)
    {
        TlsIdentity identity = openTlsIdentity(folder, names);
        for (const std::string& note : identity.notes)
            ServerLog("%s", note.c_str());
        if (identity.context != nullptr)
            tls = std::move(identity.context);
        else
            ServerLog("SIP over TLS %s: %s.", tls == nullptr ? "is not available" : "keeps its former certificate",
                      identity.error.c_str());
        return tls != nullptr;
    }

    // False: it could not be had.
    static bool applyKind(Kind& kind, const std::string& address, uint16_t port, bool isQuiet)
    {
        Listener& current = kind.listener;
        if (port == 0) {
            if (current.isOpen())
                ServerLog("SIP over %s is switched off.", kind.name);
            current.close();
            return true;
        }
        if (current.isOpen() && current.address() == address && current.port() == port)
            return true;
        Listener next;
        std::string error = next.open(address, port);
        const bool mayBeOurs = error.find(strerror(EADDRINUSE)) != std::string::npos;
        if (mayBeOurs && current.isOpen() && current.port() == port) {
            const std::string former = current.address();
            current.close();
            error = next.open(address, port);
            if (!error.empty() && !current.open(former, port).empty())
                ServerLog("SIP over %s has lost %s.", kind.name, listeningText(former, port).c_str());
        }
        if (error.empty()) {
            current = std::move(next);
            ServerLog("SIP over %s is ready on %s.", kind.name, listeningText(address, port).c_str());
            return true;
        }
        if (isQuiet)
            return false;
        const std::string instead =
            current.isOpen() ? "; it stays on " + listeningText(current.address(), current.port()) : "";
        ServerLog("SIP over %s cannot use %s: %s%s.", kind.name, listeningText(address, port).c_str(), error.c_str(),
                  instead.c_str());
        return false;
    }

    const Clock& clock;
    const std::string folder;
    StreamLimits limits;
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    const int control = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    std::mutex mutex; // for `posted`
    std::vector<std::function<void()>> posted;
    FlowTable flows;

    // Of the thread.
    std::array<Kind, 2> kinds = {{{"TCP", kTransportTcp, {}}, {"TLS", kTransportTls, {}}}};
    TlsContext tls;
    uint16_t stackPort = 0;
    bool isAccepting = false;
    uint64_t lastId = 0;
    std::unordered_map<uint64_t, Entry> entries;
    std::set<uint64_t> strangers; // in the order in which they came
    std::unordered_map<SourceKey, std::set<uint64_t>, SourceKeyHash> strangersOf;
    std::set<uint64_t> paused;
    std::unordered_map<SourceKey, int64_t, SourceKeyHash> shutOut; // until when
    std::shared_ptr<const IpList> ipList = std::make_shared<const IpList>();
    int64_t sweptAtMs = 0;
    int64_t pausedMovedAtMs = 0;
    int64_t triedAtMs = 0; // when a port could not be had last
    bool hasFailed = false;
    bool hasTlsFailed = false;
    StreamSettings settings;
    int64_t lastLimitLogMs = 0;
};

StreamServer::StreamServer(const Clock& clock, std::string folder, const StreamLimits& limits)
    : _impl(std::make_unique<Impl>(clock, std::move(folder), limits))
{}

StreamServer::~StreamServer() = default;

void StreamServer::run()
{
    _impl->run();
}

void StreamServer::setStackPort(uint16_t port)
{
    _impl->post([impl = _impl.get(), port] { impl->stackPort = port; });
}

void StreamServer::serve(StreamSettings settings)
{
    _impl->post([impl = _impl.get(), settings = std::move(settings)] { impl->apply(settings); });
}

void StreamServer::shutOut(const std::string& address, int64_t untilMs)
{
    _impl->post([impl = _impl.get(), key = sourceKey(address), untilMs] {
        if (impl->shutOut.size() >= kMaxShutOut)
            impl->shutOut.erase(impl->shutOut.begin());
        impl->shutOut[key] = untilMs;
        std::vector<uint64_t> ids;
        for (const auto& [id, entry] : impl->entries)
            if (entry.key == key && !entry.connection->isTrusted())
                ids.push_back(id);
        for (const uint64_t id : ids)
            impl->end(id);
    });
}

void StreamServer::setIpList(std::shared_ptr<const IpList> list)
{
    _impl->post([impl = _impl.get(), list = std::move(list)] { impl->setIpList(list); });
}

FlowTable& StreamServer::flows()
{
    return _impl->flows;
}
