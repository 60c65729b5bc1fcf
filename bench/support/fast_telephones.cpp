#include "support/fast_telephones.h"

#include "support/loopback_socket.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstring>
#include <ctime>
#include <openssl/evp.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kBatch = 64;       // packets a system call
constexpr size_t kMaxPacket = 2048; // bytes
constexpr std::chrono::seconds kPatience{1};
constexpr std::string_view kRealm = "parlovex";

class Md5 {
public:
    ~Md5()
    {
        EVP_MD_CTX_free(_context);
        EVP_MD_free(_method);
    }
    std::string hex(std::initializer_list<std::string_view> parts)
    {
        EVP_DigestInit_ex2(_context, _method, nullptr);
        bool isFirst = true;
        for (const std::string_view part : parts) {
            if (!isFirst)
                EVP_DigestUpdate(_context, ":", 1);
            isFirst = false;
            EVP_DigestUpdate(_context, part.data(), part.size());
        }
        std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
        unsigned size = 0;
        EVP_DigestFinal_ex(_context, bytes.data(), &size);
        static constexpr std::string_view kDigits = "0123456789abcdef";
        std::string text;
        for (unsigned i = 0; i < size; ++i) {
            text += kDigits[bytes[i] >> 4];
            text += kDigits[bytes[i] & 15];
        }
        return text;
    }

private:
    EVP_MD* _method = EVP_MD_fetch(nullptr, "MD5", nullptr);
    EVP_MD_CTX* _context = EVP_MD_CTX_new();
};

struct User {
    std::string name;
    std::string secret;  // the digest's hash of user, realm and password
    std::string headers; // From, To and Contact
};

struct Telephone {
    unsigned user = 0;
    unsigned serial = 0; // of the registration under way
    Clock::time_point askedAt;
};

double threadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::string_view between(std::string_view text, std::string_view begin, char end)
{
    const size_t at = text.find(begin);
    if (at == std::string_view::npos)
        return {};
    text.remove_prefix(at + begin.size());
    return text.substr(0, text.find(end));
}

unsigned number(std::string_view text)
{
    unsigned value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

} // namespace

struct FastTelephones::Impl {
    Impl(uint16_t serverPort, unsigned userCount, unsigned atATime)
        : socket(serverPort),
          uri(std::string("sip:127.0.0.1:").append(std::to_string(serverPort))),
          request(md5.hex({"REGISTER", uri})),
          telephones(atATime)
    {
        for (unsigned i = 0; i < userCount; ++i) {
            const std::string digits = std::to_string(i);
            User& user = users.emplace_back();
            user.name.append("u").append(digits);
            user.secret = md5.hex({user.name, kRealm, std::string("p").append(digits)});
            user.headers.append("From: <sip:").append(user.name).append("@127.0.0.1>;tag=t\r\nTo: <sip:");
            user.headers.append(user.name).append("@127.0.0.1>\r\nContact: <sip:").append(user.name);
            user.headers.append("@127.0.0.1:5090>\r\nExpires: 3600\r\n");
        }
        for (size_t i = 0; i < kBatch; ++i) {
            inVectors[i] = {inBuffers[i].data(), kMaxPacket};
            in[i].msg_hdr.msg_iov = &inVectors[i];
            in[i].msg_hdr.msg_iovlen = 1;
            out[i].msg_hdr.msg_iov = &outVectors[i];
            out[i].msg_hdr.msg_iovlen = 1;
        }
    }
    // The request of the telephone; what identifies it stands in the Call-ID: place and serial.
    void ask(size_t place, unsigned cseq, std::string_view credentials)
    {
        if (outCount == kBatch)
            flush();
        const Telephone& telephone = telephones[place];
        std::string& text = outTexts[outCount++];
        std::array<char, 64> mark{};
        const int size =
            std::snprintf(mark.data(), mark.size(), "%zu-%u-%u", place, telephone.serial, unsigned{socket.ownPort()});
        const std::string_view id(mark.data(), static_cast<size_t>(size));
        text.assign("REGISTER ").append(uri).append(" SIP/2.0\r\nVia: SIP/2.0/UDP 127.0.0.1:");
        text.append(std::to_string(socket.ownPort()))
            .append(";branch=z9hG4bK")
            .append(id)
            .append(cseq == 1 ? "a" : "b");
        text.append("\r\nMax-Forwards: 70\r\n").append(users[telephone.user].headers);
        text.append("Call-ID: ").append(id).append(cseq == 1 ? "\r\nCSeq: 1 REGISTER\r\n" : "\r\nCSeq: 2 REGISTER\r\n");
        text.append(credentials).append("Content-Length: 0\r\n\r\n");
    }

    void flush()
    {
        for (size_t i = 0; i < outCount; ++i)
            outVectors[i] = {outTexts[i].data(), outTexts[i].size()};
        for (size_t sent = 0; sent < outCount;) {
            const int count = sendmmsg(socket.fd(), &out[sent], static_cast<unsigned>(outCount - sent), 0);
            if (count <= 0)
                throw std::runtime_error("requests cannot be sent");
            sent += static_cast<size_t>(count);
        }
        outCount = 0;
    }

    void begin(size_t place)
    {
        Telephone& telephone = telephones[place];
        telephone.user = nextUser;
        nextUser = (nextUser + 1) % users.size();
        ++telephone.serial;
        telephone.askedAt = now;
        ask(place, 1, {});
    }

    void authenticate(size_t place, std::string_view nonce)
    {
        const User& user = users[telephones[place].user];
        const std::string response = md5.hex({user.secret, nonce, "00000001", "abc", "auth", request});
        authorization.assign("Authorization: Digest username=\"").append(user.name).append("\",realm=\"");
        authorization.append(kRealm).append("\",nonce=\"").append(nonce).append("\",uri=\"").append(uri);
        authorization.append("\",response=\"").append(response);
        authorization.append("\",algorithm=MD5,cnonce=\"abc\",qop=auth,nc=00000001\r\n");
        telephones[place].askedAt = now;
        ask(place, 2, authorization);
    }

    void take(std::string_view answer, Result& result, bool isGoingOn)
    {
        const std::string_view id = between(answer, "Call-ID: ", '\r');
        const size_t place = number(id);
        if (place >= telephones.size() || number(between(id, "-", '-')) != telephones[place].serial)
            return; // of a registration that was given up
        const unsigned status = number(answer.substr(std::string_view("SIP/2.0 ").size(), 3));
        if (status == 401 && between(answer, "CSeq: ", ' ') == "1") {
            authenticate(place, between(answer, "nonce=\"", '"'));
            return;
        }
        if (status == 200)
            ++result.registered;
        else
            ++result.refused;
        if (isGoingOn)
            begin(place);
        else
            ++telephones[place].serial; // at rest
    }

    void receive(Result& result, bool isGoingOn)
    {
        const int count = recvmmsg(socket.fd(), in.data(), kBatch, MSG_DONTWAIT, nullptr);
        for (int i = 0; i < count; ++i)
            take({inBuffers[static_cast<size_t>(i)].data(), in[static_cast<size_t>(i)].msg_len}, result, isGoingOn);
        flush();
        if (count > 0)
            return;
        pollfd waiting = {socket.fd(), POLLIN, 0};
        poll(&waiting, 1, 1);
    }

    void restartLost(Result& result)
    {
        for (size_t place = 0; place < telephones.size(); ++place) {
            if (now - telephones[place].askedAt < kPatience)
                continue;
            ++result.lost;
            begin(place);
        }
        flush();
    }

    const LoopbackSocket socket;
    Md5 md5;
    const std::string uri;
    const std::string request; // the digest's hash of method and URI
    std::vector<User> users;
    std::vector<Telephone> telephones;
    unsigned nextUser = 0;
    Clock::time_point now = Clock::now();
    std::string authorization;
    std::array<std::string, kBatch> outTexts;
    std::array<iovec, kBatch> outVectors{};
    std::array<mmsghdr, kBatch> out{};
    size_t outCount = 0;
    std::array<std::array<char, kMaxPacket>, kBatch> inBuffers{};
    std::array<iovec, kBatch> inVectors{};
    std::array<mmsghdr, kBatch> in{};
};

FastTelephones::FastTelephones(uint16_t serverPort, unsigned users, unsigned atATime)
    : _impl(std::make_unique<Impl>(serverPort, users, atATime))
{}

FastTelephones::~FastTelephones() = default;

FastTelephones::Result FastTelephones::run(double seconds)
{
    Result result;
    const double usedBefore = threadSeconds();
    const Clock::time_point begin = _impl->now = Clock::now();
    const auto end = begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    for (size_t place = 0; place < _impl->telephones.size(); ++place)
        _impl->begin(place);
    _impl->flush();
    auto nextLook = begin + kPatience;
    while (_impl->now < end) {
        _impl->receive(result, true);
        _impl->now = Clock::now();
        if (_impl->now < nextLook)
            continue;
        nextLook += kPatience;
        _impl->restartLost(result);
    }
    result.seconds = std::chrono::duration<double>(_impl->now - begin).count();
    result.ownCores = (threadSeconds() - usedBefore) / result.seconds;
    // What is still under way counts for nothing, and is not in the way of the next run.
    Result ignored;
    for (const auto last = _impl->now + kPatience / 4; _impl->now < last; _impl->now = Clock::now())
        _impl->receive(ignored, false);
    return result;
}
