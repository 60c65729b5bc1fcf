#include "streams/stream_connection.h"

#include "sip/quoted_nuls.h"
#include "sip/reply_text.h"
#include "trace/message_trace.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <functional>
#include <netinet/in.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t kStackBuffer = 65'536; // bytes that wait for the stack; then the telephone waits
constexpr int kMaxReads = 8;            // in a row, so that one connection does not hold the others up
constexpr double kMsPerSecond = 1000;
constexpr std::string_view kResponse = "SIP/2.0 ";
constexpr std::string_view kStackVia = "\nVia: SIP/2.0/TCP ";
constexpr std::string_view kTlsVia = "\nVia: SIP/2.0/TLS ";

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// The port that the kernel chose; 0 without one.
uint16_t localPort(int fd)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    return getsockname(fd, generic, &size) == 0 ? ntohs(address.sin_port) : uint16_t{0};
}

// Empty when it is no request, or has no Via.
std::string refusalOf(const std::string& header, const SipSource& source)
{
    if (header.empty() || header.compare(0, kResponse.size(), kResponse) == 0)
        return {};
    const std::string tag = std::to_string(std::hash<std::string>()(header));
    return replyText(header, source, {400, "Bad Request", {}, tag});
}

} // namespace

StreamConnection::StreamConnection(int fd, ssl_ctx_st* tls, SipSource peer, SipSource local, uint16_t stackPort,
                                   FlowTable& flows, const StreamLimits& limits, int64_t now)
    : _peer(fd, tls),
      _source(std::move(peer)),
      _local(std::move(local)),
      _stackListens(stackPort),
      _flows(flows),
      _limits(limits),
      _openedAtMs(now),
      _usedAtMs(now),
      _messageBeganAtMs(now),
      _allowance(limits.strangerRate),
      _allowanceAtMs(now)
{}

StreamConnection::~StreamConnection()
{
    if (_stackPort != 0)
        _flows.remove(_stackPort);
}

uint32_t StreamConnection::peerEvents() const
{
    const bool wantsWrite = _peer.wantsWrite() || (_isOpen && !_toPeer.empty());
    const bool wantsRead = !_isPeerDone && !_isPaused && _toStack.size() < kStackBuffer;
    return (wantsRead ? uint32_t{EPOLLIN} : 0U) | (wantsWrite ? uint32_t{EPOLLOUT} : 0U);
}

uint32_t StreamConnection::stackEvents() const
{
    const bool wantsRead = !_isStackDone && _toPeer.size() < _limits.writeBuffer;
    return (wantsRead ? uint32_t{EPOLLIN} : 0U) | (_toStack.empty() ? 0U : uint32_t{EPOLLOUT});
}

bool StreamConnection::move(int64_t now)
{
    if (!_isOpen) {
        const StreamChannel::Io io = _peer.handshake();
        if (io != StreamChannel::Io::Done)
            return io == StreamChannel::Io::Again;
        _isOpen = true;
        _openedAtMs = now;
    }
    if (!readPeer(now) || !moveStack())
        return false;
    if (!_toPeer.empty()) {
        _usedAtMs = now;
        const StreamChannel::Io io = _peer.write(_toPeer);
        if (io == StreamChannel::Io::Closed)
            return false;
        if (_toPeer.empty())
            _writingSinceMs = 0;
        else if (_writingSinceMs == 0)
            _writingSinceMs = now;
    }
    const bool hasAnswers = _stack != nullptr && !_isStackDone;
    return !(_isPeerDone || _isStackDone) || hasAnswers || !_toPeer.empty();
}

bool StreamConnection::readPeer(int64_t now)
{
    if (!takeMessages(now))
        return false;
    for (int i = 0; i < kMaxReads && !_isPeerDone && !_isPaused && _toStack.size() < kStackBuffer; ++i) {
        std::string bytes;
        const StreamChannel::Io io = _peer.read(bytes);
        if (io == StreamChannel::Io::Again)
            break;
        if (io == StreamChannel::Io::Closed) {
            _isPeerDone = true;
            _peerDoneAtMs = now;
            break;
        }
        if (!_framer.isMidMessage())
            _messageBeganAtMs = now;
        _framer.add(bytes);
        if (!takeMessages(now))
            return false;
    }
    return true;
}

// False: what came is no SIP, or the stack cannot be reached.
bool StreamConnection::takeMessages(int64_t now)
{
    std::string message;
    while (!_isBroken && admitMessage(now)) {
        switch (_framer.next(message)) {
        case MessageFramer::Result::NeedsMore:
            ++_allowance; // nothing was taken
            return true;
        case MessageFramer::Result::Broken:
            // What follows cannot be told apart: the last answers, and the end.
            messageTrace().note(MessageTrace::Way::Dropped, _source, message);
            _toPeer += refusalOf(message, _source);
            _isPeerDone = _isBroken = true;
            _peerDoneAtMs = now;
            return !_toPeer.empty() || _stack != nullptr;
        case MessageFramer::Result::Ping:
            _toPeer += "\r\n";
            break;
        case MessageFramer::Result::Message:
            if (_stack == nullptr && !openStack())
                return false;
            _hasMessage = true;
            messageTrace().note(MessageTrace::Way::Received, _source, message);
            blankQuotedNuls(message.data(), message.size());
            _toStack += message;
            break;
        }
        _usedAtMs = now;
        _messageBeganAtMs = now;
    }
    return true;
}

// Takes one from what a stranger may send now; without any left, reading pauses.
bool StreamConnection::admitMessage(int64_t now)
{
    const double rate = _limits.strangerRate;
    _allowance = std::min(rate, _allowance + static_cast<double>(now - _allowanceAtMs) * rate / kMsPerSecond);
    _allowanceAtMs = now;
    _isPaused = _toStack.size() >= kStackBuffer || (_allowance < 1 && !isKnown());
    if (_isPaused)
        return false;
    --_allowance;
    return true;
}

bool StreamConnection::openStack()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    _stack = std::make_unique<StreamChannel>(fd, nullptr);
    const sockaddr_in address = loopback(_stackListens);
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && errno != EINPROGRESS)
        return false;
    // Bound by connecting: the kernel can use ports again then that lately served others. Known before the stack can
    // see a byte of it.
    const uint16_t port = localPort(fd);
    if (port == 0)
        return false;
    _flows.add(port, _source, _local);
    _stackPort = port;
    return true;
}

bool StreamConnection::moveStack()
{
    if (_stack == nullptr)
        return true;
    if (!_toStack.empty() && _stack->write(_toStack) == StreamChannel::Io::Closed)
        return false;
    if (_isPeerDone && _toStack.empty())
        _stack->finish();
    for (int i = 0; i < kMaxReads && !_isStackDone && _toPeer.size() < _limits.writeBuffer; ++i) {
        std::string bytes;
        const StreamChannel::Io io = _stack->read(bytes);
        if (io == StreamChannel::Io::Again)
            break;
        _isStackDone = io == StreamChannel::Io::Closed;
        _fromStack.add(bytes);
        if (!takeFromStack())
            return false;
    }
    return true;
}

bool StreamConnection::takeFromStack()
{
    std::string message;
    MessageFramer::Result result = MessageFramer::Result::NeedsMore;
    while ((result = _fromStack.next(message)) == MessageFramer::Result::Message) {
        // Answers name the transport as the request did; in its own requests the stack names the one that it sees.
        if (_source.transport == kTransportTls && message.compare(0, kResponse.size(), kResponse) != 0)
            if (const size_t via = message.find(kStackVia); via != std::string::npos)
                message.replace(via, kStackVia.size(), kTlsVia);
        messageTrace().note(MessageTrace::Way::Sent, _source, message);
        _toPeer += message;
    }
    return result == MessageFramer::Result::NeedsMore;
}

bool StreamConnection::isInTime(int64_t now)
{
    const auto isOver = [now](int64_t since, int64_t limit) { return now - since > limit; };
    if (!_isOpen)
        return !isOver(_openedAtMs, _limits.handshake);
    if (_writingSinceMs != 0 && isOver(_writingSinceMs, _limits.writing))
        return false;
    if (_isPeerDone && isOver(_peerDoneAtMs, _limits.closing))
        return false;
    if (!_hasMessage && isOver(_openedAtMs, _limits.firstMessage))
        return false;
    if (!_isPaused && _framer.isMidMessage() && isOver(_messageBeganAtMs, _limits.message))
        return false;
    return !isOver(_usedAtMs, isKnown() ? _limits.knownIdle : _limits.strangerIdle);
}
