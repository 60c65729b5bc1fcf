#include "support/call_phone.h"

#include "support/patience.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <utility>

namespace {

constexpr int kPatienceMs = static_cast<int>(kTestPatience.count()) * 1000;

// "<uri>;params" or "uri"
std::string uriOf(const std::string& header)
{
    const size_t begin = header.find('<');
    return begin == std::string::npos ? header : header.substr(begin + 1, header.find('>') - begin - 1);
}

std::string lengthLines(const std::string& body)
{
    return (body.empty() ? "" : "Content-Type: application/sdp\r\n") + std::string("Content-Length: ") +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\r\n";
    return text;
}

} // namespace

std::string PhoneMessage::method() const
{
    return status() != 0 ? std::string() : text.substr(0, text.find(' '));
}

int PhoneMessage::status() const
{
    return text.compare(0, 8, "SIP/2.0 ") == 0 ? std::atoi(text.c_str() + 8) : 0;
}

std::string PhoneMessage::header(const std::string& name) const
{
    return SipAnswer{0, text}.header(name);
}

std::string PhoneMessage::body() const
{
    const size_t end = text.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : text.substr(end + 4);
}

CallPhone::CallPhone(uint16_t serverPort, std::string user, SipClient::Transport transport)
    : _client("127.0.0.1", serverPort, transport),
      _serverPort(serverPort),
      _transport(transport),
      _user(std::move(user))
{}

std::string CallPhone::contact() const
{
    const char* transport = _transport == SipClient::Transport::Udp   ? ""
                            : _transport == SipClient::Transport::Tcp ? ";transport=tcp"
                                                                      : ";transport=tls";
    return "<" + _client.contact(_user) + transport + ">";
}

void CallPhone::registerNow()
{
    const SipAnswer answer = _client.registerUser(_user, "secret", {"Contact: " + contact(), "Expires: 600"});
    ASSERT_EQ(answer.status, 200) << answer.text;
}

std::string CallPhone::via()
{
    const char* transport = _transport == SipClient::Transport::Udp   ? "UDP"
                            : _transport == SipClient::Transport::Tcp ? "TCP"
                                                                      : "TLS";
    return std::string("Via: SIP/2.0/") + transport + " " + _client.source() + ";rport;branch=z9hG4bKc" +
           std::to_string(_client.port()) + "x" + std::to_string(++_branch) + "\r\n";
}

std::string CallPhone::outOfDialog(const std::string& method, const std::string& to, const std::string& body,
                                   const std::vector<std::string>& headers)
{
    const std::string host = "127.0.0.1:" + std::to_string(_serverPort);
    _inviteUri = "sip:" + to + "@" + host;
    _remote = "<" + _inviteUri + ">";
    _inviteTo = _remote;
    _inviteVia = via();
    _inviteCseq = ++_cseq;
    return method + " " + _inviteUri + " SIP/2.0\r\n" + _inviteVia + "Max-Forwards: 70\r\nFrom: " + _local +
           "\r\nTo: " + _remote + "\r\nCall-ID: " + _callId + "\r\nCSeq: " + std::to_string(_cseq) + " " + method +
           "\r\nContact: " + contact() + "\r\n" + joined(headers) + lengthLines(body);
}

std::string CallPhone::sendAuthorized(const std::string& method, const std::string& to, const std::string& body,
                                      const std::vector<std::string>& headers, PhoneMessage* final)
{
    const std::string number = std::to_string(_client.port()) + "-" + std::to_string(++_calls);
    _callId = "phone-" + number;
    _local = "\"Phone " + _user + "\" <sip:" + _user + "@127.0.0.1:" + std::to_string(_serverPort) + ">;tag=p" + number;
    _routes.clear();
    std::string sent = outOfDialog(method, to, body, headers);
    _client.send(sent);
    PhoneMessage answer = hear(kPatienceMs);
    if (answer.status() == 407) {
        if (method == "INVITE")
            confirmFailure(answer);
        std::vector<std::string> authorized = headers;
        authorized.push_back("Proxy-Authorization: " + SipClient::credentials(answer.header("Proxy-Authenticate"),
                                                                              _user, "secret", method, _inviteUri));
        sent = outOfDialog(method, to, body, authorized);
        _client.send(sent);
        answer = hear(kPatienceMs);
    }
    // What is no mere 100 is for whoever expects it.
    while (final != nullptr && answer.status() > 0 && answer.status() < 200)
        answer = hear(kPatienceMs);
    if (final != nullptr && method == "INVITE" && answer.status() >= 300)
        confirmFailure(answer);
    if (final != nullptr)
        *final = answer;
    else if (answer.isNone())
        ADD_FAILURE() << _user << " hears nothing of " << sent;
    else
        _unread = std::move(answer);
    return sent;
}

std::string CallPhone::invite(const std::string& to, const std::string& body, const std::vector<std::string>& headers)
{
    return sendAuthorized("INVITE", to, body, headers, nullptr);
}

PhoneMessage CallPhone::ask(const std::string& method, const std::string& to, const std::string& body,
                            const std::vector<std::string>& headers)
{
    PhoneMessage final;
    (void)sendAuthorized(method, to, body, headers, &final);
    return final;
}

PhoneMessage CallPhone::hear(int timeoutMs)
{
    if (PhoneMessage unread = std::exchange(_unread, {}); !unread.isNone())
        return unread;
    return {_client.receive(timeoutMs).text};
}

PhoneMessage CallPhone::expect(const std::string& beginning)
{
    const auto end = std::chrono::steady_clock::now() + kTestPatience;
    while (std::chrono::steady_clock::now() < end) {
        PhoneMessage message = hear(kPatienceMs);
        if (message.isNone())
            break;
        const bool isNew = _heard.insert(message.text).second;
        if (message.status() == 100 || !isNew)
            continue;
        const std::string start = message.status() != 0 ? message.text.substr(8) : message.text;
        if (start.compare(0, beginning.size(), beginning) != 0)
            ADD_FAILURE() << _user << " expected " << beginning << " and heard\n" << message.text;
        return message;
    }
    ADD_FAILURE() << _user << " expected " << beginning << " and heard nothing";
    return {};
}

bool CallPhone::hearsNothing(int timeoutMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        if (left <= 0)
            return true;
        const PhoneMessage message = hear(static_cast<int>(left));
        if (message.isNone() || !_heard.insert(message.text).second)
            continue;
        ADD_FAILURE() << _user << " expected nothing and heard\n" << message.text;
        return false;
    }
}

void CallPhone::answer(const PhoneMessage& request, int status, const std::string& body,
                       const std::vector<std::string>& headers)
{
    std::string text = "SIP/2.0 " + std::to_string(status) + " Said\r\n";
    for (const std::string& via : SipAnswer{0, request.text}.headers("Via"))
        text += "Via: " + via + "\r\n";
    std::string to = request.header("To");
    if (to.find(";tag=") == std::string::npos)
        to += ";tag=" + (_tag.empty() ? "q" + std::to_string(_client.port()) : _tag);
    const std::string cseq = request.header("CSeq");
    text += "From: " + request.header("From") + "\r\nTo: " + to + "\r\nCall-ID: " + request.header("Call-ID") +
            "\r\nCSeq: " + cseq + "\r\n";
    if (request.method() == "INVITE") {
        _callId = request.header("Call-ID");
        _local = to;
        _remote = request.header("From");
        _target = uriOf(request.header("Contact"));
        _routes = SipAnswer{0, request.text}.headers("Record-Route");
    }
    if (status < 300 && request.method() != "BYE" && request.method() != "CANCEL")
        text += "Contact: " + contact() + "\r\n";
    _client.send(text + joined(headers) + lengthLines(body));
}

void CallPhone::learn(const PhoneMessage& answer)
{
    _remote = answer.header("To");
    _target = uriOf(answer.header("Contact"));
}

void CallPhone::send(const std::string& method, const std::string& body, const std::vector<std::string>& headers)
{
    const bool isAck = method == "ACK";
    if (!isAck)
        ++_cseq;
    const std::string ownVia = via();
    if (method == "INVITE") {
        _inviteCseq = _cseq;
        _inviteVia = ownVia;
        _inviteUri = _target;
        _inviteTo = _remote;
    }
    std::string routes;
    for (const std::string& route : _routes)
        routes += "Route: " + route + "\r\n";
    const std::string needed = method == "INVITE" || method == "UPDATE" ? "Contact: " + contact() + "\r\n" : "";
    _client.send(method + " " + _target + " SIP/2.0\r\n" + ownVia + routes + "Max-Forwards: 70\r\nFrom: " + _local +
                 "\r\nTo: " + _remote + "\r\nCall-ID: " + _callId +
                 "\r\nCSeq: " + std::to_string(isAck ? _inviteCseq : _cseq) + " " + method + "\r\n" + needed +
                 joined(headers) + lengthLines(body));
}

void CallPhone::ack(const PhoneMessage& success, const std::string& body)
{
    learn(success);
    const unsigned last =
        std::exchange(_inviteCseq, static_cast<unsigned>(std::strtoul(success.header("CSeq").c_str(), nullptr, 10)));
    send("ACK", body);
    _inviteCseq = last;
}

void CallPhone::sendForInvite(const std::string& method, const std::string& to)
{
    _client.send(method + " " + _inviteUri + " SIP/2.0\r\n" + _inviteVia + "Max-Forwards: 70\r\nFrom: " + _local +
                 "\r\nTo: " + to + "\r\nCall-ID: " + _callId + "\r\nCSeq: " + std::to_string(_inviteCseq) + " " +
                 method + "\r\nContent-Length: 0\r\n\r\n");
}

void CallPhone::cancel()
{
    sendForInvite("CANCEL", _inviteTo);
}

void CallPhone::confirmFailure(const PhoneMessage& failure)
{
    sendForInvite("ACK", failure.header("To"));
}
