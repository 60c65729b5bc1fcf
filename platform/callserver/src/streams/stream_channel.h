// One end of a connection, plain or inside TLS, without waiting.
#pragma once

#include <cstddef>
#include <string>

struct ssl_ctx_st;
struct ssl_st;

// Owns the descriptor. One thread.
class StreamChannel {
public:
    enum class Io {
        Done,  // something was moved, or the handshake is over
        Again, // later, see wantsWrite()
        Closed // the other side closed its direction, or there was an error
    };

    // A socket that does not block. `tls`: null for a plain one; else the server's side of TLS, which shares it.
    StreamChannel(int fd, ssl_ctx_st* tls);
    ~StreamChannel();
    StreamChannel(const StreamChannel&) = delete;
    StreamChannel& operator=(const StreamChannel&) = delete;

    [[nodiscard]] int fd() const { return _fd; }
    // Done at once for a plain one.
    [[nodiscard]] Io handshake();
    // Appends what is there, at most kMaxRead bytes.
    [[nodiscard]] Io read(std::string& to);
    // Takes what could be sent from the beginning. Done: all of it.
    [[nodiscard]] Io write(std::string& from);
    // What was tried last needs the socket to take bytes, also when it was reading (TLS).
    [[nodiscard]] bool wantsWrite() const { return _wantsWrite; }
    // No more will be written.
    void finish();

    static constexpr size_t kMaxRead = 16'384; // bytes; one record of TLS

private:
    Io tlsResult(int result);

    int _fd;
    ssl_st* _tls = nullptr;
    bool _isBroken = false; // by an error, after which TLS must not say good-bye
    bool _wantsWrite = false;
};
