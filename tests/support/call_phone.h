// A telephone that says in a call exactly what a test wants, and hears what the server says.
#pragma once

#include "support/sip_client.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

// A message as it came.
struct PhoneMessage {
    std::string text;

    [[nodiscard]] bool isNone() const { return text.empty(); }
    [[nodiscard]] std::string firstLine() const { return text.substr(0, text.find("\r\n")); }
    // "INVITE"; empty for an answer.
    [[nodiscard]] std::string method() const;
    [[nodiscard]] int status() const; // 0: a request
    [[nodiscard]] std::string header(const std::string& name) const;
    [[nodiscard]] std::string body() const;
    [[nodiscard]] bool has(const std::string& part) const { return text.find(part) != std::string::npos; }
};

// One call at a time. Registers with the password "secret". Each wait is bounded by kTestPatience; what is expected and
// does not come fails the test.
class CallPhone {
public:
    static constexpr const char* kOffer = "v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
                                          "m=audio 40000 RTP/AVP 8 0 101\r\na=rtpmap:101 telephone-event/8000\r\n";
    static constexpr const char* kAnswer = "v=0\r\no=- 2 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
                                           "m=audio 40002 RTP/AVP 8\r\n";

    CallPhone(uint16_t serverPort, std::string user, SipClient::Transport transport = SipClient::Transport::Udp);

    void registerNow();
    // Sends an INVITE, answers the challenge, and gives the INVITE with the credentials as it was sent.
    std::string invite(const std::string& to, const std::string& body = kOffer,
                       const std::vector<std::string>& headers = {});
    // A request outside a dialog, with credentials when it is asked for them; gives the final answer.
    PhoneMessage ask(const std::string& method, const std::string& to, const std::string& body = {},
                     const std::vector<std::string>& headers = {});

    // The next message that is no repetition and not 100, which has to begin so: "INVITE", "180", "200".
    PhoneMessage expect(const std::string& beginning);
    // Nothing but repetitions comes within the time.
    [[nodiscard]] bool hearsNothing(int timeoutMs);
    // The next message whatever it is, repetitions too; none within the time: an empty one.
    [[nodiscard]] PhoneMessage hear(int timeoutMs);

    // Answers a request; all answers of an INVITE with the same tag. Takes the dialog from an INVITE.
    void answer(const PhoneMessage& request, int status, const std::string& body = {},
                const std::vector<std::string>& headers = {});
    // From now on with this tag: as another telephone behind the same proxy. Empty: with the usual one.
    void answerAs(const std::string& tag) { _tag = tag; }
    // A request within the dialog, with the next CSeq (ACK: that of the INVITE).
    void send(const std::string& method, const std::string& body = {}, const std::vector<std::string>& headers = {});
    // Takes the dialog from an answer to an own INVITE, not always the last one, and confirms it.
    void ack(const PhoneMessage& success, const std::string& body = {});
    // Confirms a failure of the last own INVITE.
    void confirmFailure(const PhoneMessage& failure);
    // Takes the dialog from an early answer.
    void learn(const PhoneMessage& answer);
    void cancel();
    // Sends this again, or anything else.
    void sendText(const std::string& text) { _client.send(text); }

    [[nodiscard]] const std::string& user() const { return _user; }
    [[nodiscard]] const std::string& callId() const { return _callId; }
    [[nodiscard]] uint16_t port() const { return _client.port(); }
    [[nodiscard]] std::string contact() const;

private:
    std::string outOfDialog(const std::string& method, const std::string& to, const std::string& body,
                            const std::vector<std::string>& headers);
    std::string sendAuthorized(const std::string& method, const std::string& to, const std::string& body,
                               const std::vector<std::string>& headers, PhoneMessage* final);
    // That of the INVITE with another name: the ACK of its failure, or CANCEL.
    void sendForInvite(const std::string& method, const std::string& to);
    [[nodiscard]] std::string via();

    SipClient _client;
    uint16_t _serverPort;
    SipClient::Transport _transport;
    std::string _user;
    PhoneMessage _unread;         // came while something else was waited for
    std::set<std::string> _heard; // what makes a message a repetition
    std::string _tag;             // in answers; empty: the usual one
    std::string _callId;
    std::string _local;  // From of own requests, with the tag
    std::string _remote; // To of them
    std::string _target; // URI
    std::vector<std::string> _routes;
    std::string _inviteVia; // of the last INVITE
    std::string _inviteUri;
    std::string _inviteTo;
    unsigned _cseq = 0;
    unsigned _inviteCseq = 0;
    unsigned _branch = 0;
    unsigned _calls = 0;
};
