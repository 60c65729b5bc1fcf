// One connection of a telephone, and the stack's connection that belongs to it.
#pragma once

#include "streams/flow_table.h"
#include "streams/message_framer.h"
#include "streams/stream_channel.h"
#include "streams/stream_limits.h"

#include <cstdint>
#include <memory>
#include <string>

// Passes whole messages to the stack and bytes back. Times are Clock::steadyMs(). One thread.
class StreamConnection {
public:
    // `stackPort`: of 127.0.0.1, where the stack listens. `local`: our end.
    StreamConnection(int fd, ssl_ctx_st* tls, SipSource peer, SipSource local, uint16_t stackPort, FlowTable& flows,
                     const StreamLimits& limits, int64_t now);
    ~StreamConnection();
    StreamConnection(const StreamConnection&) = delete;
    StreamConnection& operator=(const StreamConnection&) = delete;

    // Moves what can be moved now. False: it has ended and is to be destroyed.
    [[nodiscard]] bool move(int64_t now);
    // False: a limit was reached.
    [[nodiscard]] bool isInTime(int64_t now);

    [[nodiscard]] int peerFd() const { return _peer.fd(); }
    // -1: there is none yet.
    [[nodiscard]] int stackFd() const { return _stack == nullptr ? -1 : _stack->fd(); }
    // What to wait for, as epoll's bits.
    [[nodiscard]] uint32_t peerEvents() const;
    [[nodiscard]] uint32_t stackEvents() const;
    // Reading goes on when time has passed.
    [[nodiscard]] bool isPaused() const { return _isPaused; }

    // Its address is an allowed one: no stranger's, whoever speaks.
    void setTrusted(bool isTrusted) { _isTrusted = isTrusted; }
    [[nodiscard]] bool isTrusted() const { return _isTrusted; }
    [[nodiscard]] bool isKnown() const { return _isTrusted || (_stackPort != 0 && _flows.isKnown(_stackPort)); }
    [[nodiscard]] const SipSource& source() const { return _source; }

private:
    [[nodiscard]] bool readPeer(int64_t now);
    [[nodiscard]] bool takeMessages(int64_t now);
    [[nodiscard]] bool admitMessage(int64_t now);
    [[nodiscard]] bool openStack();
    [[nodiscard]] bool moveStack();
    [[nodiscard]] bool takeFromStack();

    StreamChannel _peer;
    std::unique_ptr<StreamChannel> _stack;
    const SipSource _source;
    const SipSource _local;
    const uint16_t _stackListens;
    uint16_t _stackPort = 0; // from which the stack sees it
    FlowTable& _flows;
    const StreamLimits& _limits;
    MessageFramer _framer;
    MessageFramer _fromStack;
    std::string _toStack;
    std::string _toPeer;

    bool _isTrusted = false;
    bool _isOpen = false; // the handshake is over
    bool _isPeerDone = false;
    bool _isBroken = false; // what came cannot be told apart any more
    bool _isStackDone = false;
    bool _isPaused = false;
    bool _hasMessage = false;
    int64_t _openedAtMs;
    int64_t _usedAtMs;           // the last message, ping or answer
    int64_t _messageBeganAtMs;   // of the unfinished one
    int64_t _writingSinceMs = 0; // 0: nothing waits
    int64_t _peerDoneAtMs = 0;
    double _allowance;
    int64_t _allowanceAtMs;
};
