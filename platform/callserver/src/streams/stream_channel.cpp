#include "streams/stream_channel.h"

#include <cerrno>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

bool isLater(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR || error == ENOTCONN || error == EINPROGRESS;
}

} // namespace

StreamChannel::StreamChannel(int fd, ssl_ctx_st* tls) : _fd(fd)
{
    if (tls == nullptr)
        return;
    _tls = SSL_new(tls);
    if (_tls == nullptr || SSL_set_fd(_tls, fd) != 1)
        _isBroken = true;
    else
        SSL_set_accept_state(_tls);
}

StreamChannel::~StreamChannel()
{
    finish();
    SSL_free(_tls);
    close(_fd);
}

StreamChannel::Io StreamChannel::tlsResult(int result)
{
    const int error = SSL_get_error(_tls, result);
    _wantsWrite = error == SSL_ERROR_WANT_WRITE;
    if (error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE)
        return Io::Again;
    _isBroken = error == SSL_ERROR_SSL || error == SSL_ERROR_SYSCALL;
    ERR_clear_error();
    return Io::Closed;
}

StreamChannel::Io StreamChannel::handshake()
{
    if (_isBroken)
        return Io::Closed;
    if (_tls == nullptr)
        return Io::Done;
    _wantsWrite = false;
    ERR_clear_error();
    const int result = SSL_do_handshake(_tls);
    return result == 1 ? Io::Done : tlsResult(result);
}

StreamChannel::Io StreamChannel::read(std::string& to)
{
    if (_isBroken)
        return Io::Closed;
    _wantsWrite = false;
    const size_t before = to.size();
    to.resize(before + kMaxRead);
    Io io = Io::Done;
    size_t size = 0;
    if (_tls != nullptr) {
        ERR_clear_error();
        const int result = SSL_read_ex(_tls, to.data() + before, kMaxRead, &size);
        if (result != 1)
            io = tlsResult(result);
    } else {
        const ssize_t result = recv(_fd, to.data() + before, kMaxRead, 0);
        if (result > 0)
            size = static_cast<size_t>(result);
        else
            io = result < 0 && isLater(errno) ? Io::Again : Io::Closed;
    }
    to.resize(before + (io == Io::Done ? size : 0));
    return io;
}

StreamChannel::Io StreamChannel::write(std::string& from)
{
    if (_isBroken)
        return Io::Closed;
    _wantsWrite = false;
    while (!from.empty()) {
        size_t size = 0;
        if (_tls != nullptr) {
            ERR_clear_error();
            const int result = SSL_write_ex(_tls, from.data(), from.size(), &size);
            if (result != 1)
                return tlsResult(result);
        } else {
            const ssize_t result = send(_fd, from.data(), from.size(), MSG_NOSIGNAL);
            if (result < 0) {
                _wantsWrite = isLater(errno);
                return _wantsWrite ? Io::Again : Io::Closed;
            }
            size = static_cast<size_t>(result);
        }
        from.erase(0, size);
    }
    return Io::Done;
}

void StreamChannel::finish()
{
    if (_tls != nullptr && !_isBroken && SSL_is_init_finished(_tls) == 1) {
        ERR_clear_error();
        SSL_shutdown(_tls);
        ERR_clear_error();
    }
    shutdown(_fd, SHUT_WR);
}
