#include "sip/stack_sockets.h"

#include "sip/quoted_nuls.h"
#include "sip/source_key.h"
#include "trace/message_trace.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <netdb.h>
#include <sofia-sip/su.h>
#include <sofia-sip/su_addrinfo.h>
#include <string>
#include <sys/ioctl.h>
#include <utility>
#include <vector>

// The functions below stand in for those of the same names in the stack's library, which calls them through the dynamic
// linker: the program's definitions come first as long as they are exported (see CMakeLists.txt).
namespace {

constexpr size_t kMaxPacket = 65536; // bytes; more than UDP can carry
// Dropped packets in a row after which timers and other sockets get their turn.
constexpr int kMaxDropsInARow = 64;
constexpr int kMaxSends = 2; // of one packet

void trace(MessageTrace::Way way, const sockaddr& peer, std::string_view packet)
{
    if (messageTrace().isOn())
        messageTrace().note(way, sourceOfAddress(peer), packet);
}

enum class SocketKind : uint8_t { Unknown, Datagram, Other };

// Of the SIP thread. The stack asks for the size of a packet, makes room for it, and only then takes it: the packet is
// read at the first step already, so that one call of the kernel serves for both and nothing is made for a dropped one.
struct StackSockets {
    PacketFilter* filter = nullptr;
    std::vector<SocketKind> kinds; // by descriptor
    struct Bound {
        int fd;
        SipSource address;
    };
    std::vector<Bound> bound; // of packets
    uint64_t received = 0;

    // The packet that was read and not yet taken.
    int waitingFd = -1;
    size_t waitingSize = 0;
    sockaddr_storage waitingSource{};
    socklen_t waitingSourceSize = 0;
    timespec arrivedAt{}; // by the time of day; zero: the kernel does not say
    alignas(16) std::array<char, kMaxPacket> waiting{};

    // The one that was taken last lies in the same place.
    int handledFd = -1;
    size_t handledSize = 0; // 0: what came last came over a connection

    bool isDatagram(int fd)
    {
        const auto index = static_cast<size_t>(fd);
        if (index >= kinds.size())
            kinds.resize(index + 1, SocketKind::Unknown);
        if (kinds[index] == SocketKind::Unknown) {
            int type = 0;
            socklen_t size = sizeof type;
            const bool isKnown = getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
            kinds[index] = isKnown && type == SOCK_DGRAM ? SocketKind::Datagram : SocketKind::Other;
            const int isWanted = 1;
            if (kinds[index] == SocketKind::Datagram) {
                (void)setsockopt(fd, SOL_SOCKET, SO_TIMESTAMPNS, &isWanted, sizeof isWanted);
                bound.push_back({fd, localEnd(fd)});
            }
        }
        return kinds[index] == SocketKind::Datagram;
    }

    // Into `waiting` and what stands around it.
    ssize_t receive(int fd)
    {
        iovec part = {waiting.data(), waiting.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> notes{};
        msghdr header{};
        header.msg_name = &waitingSource;
        header.msg_namelen = sizeof waitingSource;
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = notes.data();
        header.msg_controllen = notes.size();
        const ssize_t size = recvmsg(fd, &header, MSG_DONTWAIT);
        waitingSourceSize = header.msg_namelen;
        arrivedAt = {};
        const cmsghdr* note = size < 0 ? nullptr : CMSG_FIRSTHDR(&header);
        if (note != nullptr && note->cmsg_level == SOL_SOCKET && note->cmsg_type == SCM_TIMESTAMPNS)
            std::memcpy(&arrivedAt, CMSG_DATA(note), sizeof arrivedAt);
        return size;
    }

    // The size of the next packet that is admitted; -1 with errno when none is there.
    ssize_t readPacket(int fd)
    {
        for (int i = 0; i < kMaxDropsInARow; ++i) {
            auto* source = reinterpret_cast<sockaddr*>(&waitingSource);
            const ssize_t size = receive(fd);
            if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return -1;
            // An error is what an earlier answer met; it is told once.
            if (size < 0)
                continue;
            ++received;
            handledSize = 0;
            const std::string_view packet(waiting.data(), static_cast<size_t>(size));
            if (packet.empty())
                continue;
            const bool isAdmitted = filter == nullptr || filter->admits(*source, packet);
            trace(isAdmitted ? MessageTrace::Way::Received : MessageTrace::Way::Dropped, *source, packet);
            if (!isAdmitted)
                continue;
            blankQuotedNuls(waiting.data(), packet.size());
            waitingFd = fd;
            waitingSize = packet.size();
            return size;
        }
        errno = EAGAIN;
        return -1;
    }

    ssize_t takePacket(const su_iovec_t* parts, size_t count, su_sockaddr_t* source, socklen_t* sourceSize)
    {
        size_t taken = 0;
        for (size_t i = 0; i < count && taken < waitingSize; ++i) {
            const size_t length = std::min<size_t>(parts[i].siv_len, waitingSize - taken);
            std::copy_n(waiting.data() + taken, length, static_cast<char*>(static_cast<void*>(parts[i].siv_base)));
            taken += length;
        }
        if (source != nullptr && sourceSize != nullptr) {
            const socklen_t size = std::min<socklen_t>(waitingSourceSize, sizeof *source);
            std::copy_n(reinterpret_cast<const char*>(&waitingSource), size, reinterpret_cast<char*>(source));
            *sourceSize = size;
        }
        handledFd = std::exchange(waitingFd, -1);
        handledSize = waitingSize;
        return static_cast<ssize_t>(taken);
    }
};

std::string joined(const su_iovec_t* parts, size_t count)
{
    std::string text;
    for (size_t i = 0; i < count; ++i)
        text.append(static_cast<const char*>(static_cast<const void*>(parts[i].siv_base)), parts[i].siv_len);
    return text;
}

bool isAnswer(const su_iovec_t* parts, size_t count)
{
    constexpr std::string_view kAnswer = "SIP/2.0 ";
    if (count == 0 || parts[0].siv_len < kAnswer.size())
        return false;
    return std::string_view(static_cast<const char*>(static_cast<const void*>(parts[0].siv_base)), kAnswer.size()) ==
           kAnswer;
}

size_t sizeOf(const su_iovec_t* parts, size_t count)
{
    size_t size = 0;
    for (size_t i = 0; i < count; ++i)
        size += parts[i].siv_len;
    return size;
}

void sendFrom(int fd, const sockaddr& to, socklen_t size, std::string_view packet)
{
    trace(MessageTrace::Way::Sent, to, packet);
    // An error that an earlier packet met (its receiver is gone) is told to the next one; that has done no wrong.
    for (int i = 0; i < kMaxSends; ++i)
        if (sendto(fd, packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT, &to, size) >= 0 || errno == EAGAIN)
            return;
}

StackSockets& sockets()
{
    static StackSockets& instance = *new StackSockets; // never destroyed: its thread runs until the process is gone
    return instance;
}

} // namespace

void setPacketFilter(PacketFilter* filter)
{
    sockets().filter = filter;
}

void forgetStackSockets()
{
    sockets().kinds.clear();
    sockets().bound.clear();
    sockets().waitingFd = -1;
}

uint64_t receivedByStack()
{
    return sockets().received;
}

bool isReceivingStream()
{
    return sockets().handledSize == 0;
}

std::string_view handledPacket()
{
    const StackSockets& all = sockets();
    return {all.waiting.data(), all.handledSize};
}

std::optional<int64_t> packetWaitMs()
{
    const StackSockets& all = sockets();
    if (all.handledSize == 0)
        return std::nullopt;
    if (all.arrivedAt.tv_sec == 0)
        return 0;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // The clock may have been set meanwhile.
    return std::max<int64_t>(0, int64_t{now.tv_sec - all.arrivedAt.tv_sec} * 1000 +
                                    (now.tv_nsec - all.arrivedAt.tv_nsec) / 1'000'000);
}

void answerPacket(std::string_view packet)
{
    const StackSockets& all = sockets();
    sendFrom(all.handledFd, *reinterpret_cast<const sockaddr*>(&all.waitingSource), all.waitingSourceSize, packet);
}

bool sendPacket(const SipSource& from, const SipSource& to, std::string_view packet)
{
    const std::vector<StackSockets::Bound>& bound = sockets().bound;
    const auto it = std::find_if(bound.begin(), bound.end(), [&](const StackSockets::Bound& one) {
        return one.address.port == from.port && one.address.address == from.address;
    });
    su_addrinfo_t hints{};
    hints.ai_flags = AI_NUMERICHOST;
    hints.ai_socktype = SOCK_DGRAM;
    su_addrinfo_t* info = nullptr;
    if (it == bound.end() || su_getaddrinfo(to.address.c_str(), std::to_string(to.port).c_str(), &hints, &info) != 0)
        return false;
    sendFrom(it->fd, *info->ai_addr, info->ai_addrlen, packet);
    su_freeaddrinfo(info);
    return true;
}

extern "C" __attribute__((visibility("default"))) issize_t su_getmsgsize(su_socket_t s)
{
    StackSockets& all = sockets();
    if (all.isDatagram(s))
        return all.waitingFd == s ? static_cast<issize_t>(all.waitingSize) : all.readPacket(s);
    int size = 0;
    return ioctl(s, FIONREAD, &size) < 0 ? -1 : size;
}

extern "C" __attribute__((visibility("default"))) issize_t su_vrecv(su_socket_t s, su_iovec_t iov[], isize_t iovlen,
                                                                    int flags, su_sockaddr_t* su, socklen_t* sulen)
{
    StackSockets& all = sockets();
    if (all.waitingFd == s)
        return all.takePacket(iov, iovlen, su, sulen);
    msghdr header{};
    header.msg_name = su;
    header.msg_namelen = su != nullptr && sulen != nullptr ? *sulen : 0;
    header.msg_iov = reinterpret_cast<iovec*>(iov);
    header.msg_iovlen = iovlen;
    const ssize_t size = recvmsg(s, &header, flags);
    if (su != nullptr && sulen != nullptr)
        *sulen = header.msg_namelen;
    ++all.received;
    all.handledSize = 0;
    return size;
}

extern "C" __attribute__((visibility("default"))) issize_t
su_vsend(su_socket_t s, su_iovec_t const iov[], isize_t iovlen, int flags, su_sockaddr_t const* su, socklen_t sulen)
{
    msghdr header{};
    header.msg_name = const_cast<su_sockaddr_t*>(su); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    header.msg_namelen = sulen;
    header.msg_iov = const_cast<iovec*>( // NOLINT(cppcoreguidelines-pro-type-const-cast)
        reinterpret_cast<const iovec*>(iov));
    header.msg_iovlen = iovlen;
    // Connections of the stack lead to our own; what goes over those is traced there.
    if (su != nullptr && messageTrace().isOn())
        trace(MessageTrace::Way::Sent, su->su_sa, joined(iov, iovlen));
    ssize_t sent = sendmsg(s, &header, flags);
    // As in answerPacket().
    if (sent < 0 && su != nullptr && errno != EAGAIN)
        sent = sendmsg(s, &header, flags);
    // An answer that the kernel refuses is as good as lost: whoever misses it asks again. The stack would take it for a
    // fault of its own, and abort the process when the request is confirmed nevertheless.
    if (sent < 0 && su != nullptr && isAnswer(iov, iovlen))
        sent = static_cast<ssize_t>(sizeOf(iov, iovlen));
    return sent;
}

extern "C" __attribute__((visibility("default"))) int su_soerror(su_socket_t s)
{
    // Asked before each packet is sent; su_vsend copes with what it would tell.
    if (sockets().isDatagram(s))
        return 0;
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(s, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}
