#include "support/sip_client.h"

#include <array>
#include <cctype>
#include <cstdlib>
#include <netdb.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <stdexcept>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kAnswerMs = 30'000; // a bound; loopback loses nothing

std::string hexHash(const std::string& algorithm, const std::string& text)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    size_t size = 0;
    EVP_Q_digest(nullptr, algorithm == "SHA-256" ? "SHA256" : "MD5", nullptr, text.data(), text.size(), bytes.data(),
                 &size);
    std::string result;
    for (size_t i = 0; i < size; ++i) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", bytes[i]);
        result += digits.data();
    }
    return result;
}

addrinfo* resolve(const std::string& address, uint16_t port, int type)
{
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    hints.ai_socktype = type;
    addrinfo* info = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &info) != 0)
        throw std::runtime_error("not an address: " + address);
    return info;
}

// As the header says; without it there is none.
size_t bodySize(const std::string& header)
{
    const SipAnswer answer{0, header};
    return static_cast<size_t>(std::atoi(answer.header("Content-Length").c_str()));
}

} // namespace

std::vector<std::string> SipAnswer::headers(const std::string& name) const
{
    std::vector<std::string> values;
    size_t start = text.find("\r\n");
    const size_t body = text.find("\r\n\r\n");
    while (start < body) {
        start += 2;
        const size_t end = text.find("\r\n", start);
        const std::string line = text.substr(start, end - start);
        const size_t colon = line.find(':');
        if (colon == name.size() && strncasecmp(line.c_str(), name.c_str(), colon) == 0) {
            const size_t value = line.find_first_not_of(' ', colon + 1);
            values.push_back(value == std::string::npos ? std::string() : line.substr(value));
        }
        start = end;
    }
    return values;
}

std::string SipAnswer::header(const std::string& name) const
{
    const std::vector<std::string> values = headers(name);
    return values.empty() ? std::string() : values.front();
}

std::string challengeParam(const std::string& challenge, const std::string& name)
{
    size_t at = challenge.find(name + "=");
    if (at == std::string::npos)
        return {};
    at += name.size() + 1;
    if (challenge[at] != '"')
        return challenge.substr(at, challenge.find(',', at) - at);
    return challenge.substr(at + 1, challenge.find('"', at + 1) - at - 1);
}

SipClient::SipClient(const std::string& serverAddress, uint16_t serverPort, Transport transport)
    : _server(serverAddress),
      _host(serverAddress.find(':') == std::string::npos ? serverAddress : "[" + serverAddress + "]"),
      _serverPort(serverPort),
      _transport(transport)
{
    const int type = transport == Transport::Udp ? SOCK_DGRAM : SOCK_STREAM;
    addrinfo* local = resolve(serverAddress, 0, type);
    _fd = socket(local->ai_family, type | SOCK_CLOEXEC, 0);
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    auto* generic = reinterpret_cast<sockaddr*>(&bound);
    const bool isBound = bind(_fd, local->ai_addr, local->ai_addrlen) == 0 && getsockname(_fd, generic, &size) == 0;
    freeaddrinfo(local);
    std::array<char, NI_MAXSERV> service{};
    if (!isBound || getnameinfo(generic, size, nullptr, 0, service.data(), service.size(), NI_NUMERICSERV) != 0)
        throw std::runtime_error("no socket on " + serverAddress);
    _port = static_cast<uint16_t>(std::atoi(service.data()));
    if (transport != Transport::Udp)
        connectToServer();
}

SipClient::~SipClient()
{
    SSL_free(_tls);
    SSL_CTX_free(_context);
    close(_fd);
}

void SipClient::connectToServer()
{
    addrinfo* to = resolve(_server, _serverPort, SOCK_STREAM);
    const int result = connect(_fd, to->ai_addr, to->ai_addrlen);
    freeaddrinfo(to);
    if (result != 0)
        throw std::runtime_error("no connection to " + _server);
    if (_transport != Transport::Tls)
        return;
    _context = SSL_CTX_new(TLS_client_method());
    _tls = SSL_new(_context);
    if (_tls == nullptr || SSL_set_fd(_tls, _fd) != 1 || SSL_connect(_tls) != 1)
        throw std::runtime_error("no TLS with " + _server);
}

std::string SipClient::cipher() const
{
    return std::string(SSL_get_version(_tls)) + " " + SSL_get_cipher_name(_tls);
}

std::string SipClient::source() const
{
    return _host + ":" + std::to_string(_port);
}

std::string SipClient::contact(const std::string& user) const
{
    return "sip:" + user + "@" + source();
}

std::string SipClient::serverUri() const
{
    return "sip:" + _host + ":" + std::to_string(_serverPort);
}

std::string SipClient::requestText(const std::string& method, const std::string& user,
                                   const std::vector<std::string>& headers, const std::string& requestUri)
{
    const std::string number = std::to_string(++_cseq);
    std::string text = method + " " + (requestUri.empty() ? serverUri() : requestUri) + " SIP/2.0\r\n";
    const char* const transport = _transport == Transport::Udp ? "UDP" : _transport == Transport::Tcp ? "TCP" : "TLS";
    text += "Via: SIP/2.0/";
    text += transport;
    text += " " + source() + ";rport;branch=z9hG4bK" + std::to_string(_port) + "x" + number + "\r\n";
    text += "Max-Forwards: 70\r\nFrom: <sip:" + user + "@" + _host + ">;tag=t" + number + "\r\n";
    bool hasTo = false;
    for (const std::string& header : headers)
        hasTo = hasTo || header.compare(0, 3, "To:") == 0;
    if (!hasTo)
        text += "To: <sip:" + user + "@" + _host + ">\r\n";
    text += "Call-ID: call-" + std::to_string(_port) + "\r\nCSeq: " + number + " " + method + "\r\n";
    for (const std::string& header : headers)
        text += header + "\r\n";
    return text + "Content-Length: 0\r\n\r\n";
}

void SipClient::send(const std::string& text) const
{
    ssize_t sent = 0;
    if (_tls != nullptr) {
        sent = SSL_write(_tls, text.data(), static_cast<int>(text.size()));
    } else if (_transport == Transport::Tcp) {
        sent = ::send(_fd, text.data(), text.size(), MSG_NOSIGNAL);
    } else {
        addrinfo* to = resolve(_server, _serverPort, SOCK_DGRAM);
        sent = sendto(_fd, text.data(), text.size(), 0, to->ai_addr, to->ai_addrlen);
        freeaddrinfo(to);
    }
    if (sent != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("a packet could not be sent");
}

std::string SipClient::readSome(int timeoutMs) const
{
    pollfd waiting = {_fd, POLLIN, 0};
    if (_isEnded || ((_tls == nullptr || SSL_pending(_tls) == 0) && poll(&waiting, 1, timeoutMs) <= 0))
        return {};
    std::string bytes(65536, '\0');
    const ssize_t size = _tls != nullptr ? SSL_read(_tls, bytes.data(), static_cast<int>(bytes.size()))
                                         : recv(_fd, bytes.data(), bytes.size(), 0);
    _isEnded = size <= 0;
    bytes.resize(_isEnded ? 0 : static_cast<size_t>(size));
    return bytes;
}

SipAnswer SipClient::receive(int timeoutMs) const
{
    SipAnswer answer;
    if (_transport == Transport::Udp) {
        answer.text = readSome(timeoutMs);
    } else {
        for (;;) {
            const size_t end = _received.find("\r\n\r\n");
            const size_t size = end == std::string::npos ? 0 : end + 4 + bodySize(_received.substr(0, end + 2));
            if (size != 0 && _received.size() >= size) {
                answer.text = _received.substr(0, size);
                _received.erase(0, size);
                break;
            }
            const std::string more = readSome(timeoutMs);
            if (more.empty())
                break;
            _received += more;
        }
    }
    if (answer.text.compare(0, 8, "SIP/2.0 ") == 0)
        answer.status = std::atoi(answer.text.c_str() + 8);
    return answer;
}

bool SipClient::waitForEnd() const
{
    while (!_isEnded && !readSome(kAnswerMs).empty()) {
        // What still comes before the end is of no interest.
    }
    return _isEnded;
}

void SipClient::finish() const
{
    if (_tls != nullptr)
        SSL_shutdown(_tls);
    else
        shutdown(_fd, SHUT_WR);
}

SipAnswer SipClient::exchange(const std::string& text)
{
    send(text);
    return receive(kAnswerMs);
}

SipAnswer SipClient::request(const std::string& method, const std::string& user,
                             const std::vector<std::string>& headers, const std::string& requestUri)
{
    return exchange(requestText(method, user, headers, requestUri));
}

std::string SipClient::credentials(const std::string& challenge, const std::string& user, const std::string& password,
                                   const std::string& method, const std::string& uri)
{
    const std::string algorithm = challengeParam(challenge, "algorithm");
    const std::string realm = challengeParam(challenge, "realm");
    const std::string nonce = challengeParam(challenge, "nonce");
    const std::string secret = hexHash(algorithm, user + ":" + realm + ":" + password);
    const std::string response =
        hexHash(algorithm, secret + ":" + nonce + ":00000001:abc:auth:" + hexHash(algorithm, method + ":" + uri));
    return "Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" + uri +
           "\", algorithm=" + algorithm + ", qop=auth, nc=00000001, cnonce=\"abc\", response=\"" + response + "\"";
}

std::string SipClient::authorization(const std::string& challenge, const std::string& user,
                                     const std::string& password) const
{
    return "Authorization: " + credentials(challenge, user, password, "REGISTER", serverUri());
}

SipAnswer SipClient::registerUser(const std::string& user, const std::string& password,
                                  const std::vector<std::string>& headers, const std::string& algorithm)
{
    SipAnswer answer = request("REGISTER", user, headers);
    if (answer.status != 401)
        return answer;
    for (const std::string& challenge : answer.headers("WWW-Authenticate")) {
        if (challengeParam(challenge, "algorithm") != algorithm)
            continue;
        std::vector<std::string> authorized = headers;
        authorized.push_back(authorization(challenge, user, password));
        return request("REGISTER", user, authorized);
    }
    return answer;
}
