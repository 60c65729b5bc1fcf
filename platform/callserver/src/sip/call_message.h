// SIP messages of calls as the server's other parts see them: plain texts and numbers, nothing of the stack.
#pragma once

#include "sip/sip_messages.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class SipMethod : uint8_t {
    Other,
    Invite,
    Ack,
    Cancel,
    Bye,
    Options,
    Prack,
    Update,
    Info,
    Message,
    Refer,
    Subscribe,
    Notify
};

// A From or To header.
struct SipParty {
    std::string uri;     // without angle brackets
    std::string user;    // of the URI, unescaped; empty: none
    std::string host;    // of the URI
    std::string display; // without quotes
    std::string tag;
};

// Session timers (RFC 4028), as one message speaks of them. Seconds.
struct SessionTimer {
    enum class Refresher : uint8_t { None, Uac, Uas };
    uint32_t interval = 0; // Session-Expires; 0: none
    uint32_t minimum = 0;  // Min-SE; 0: none
    Refresher refresher = Refresher::None;
};

// RAck (RFC 3262 section 7.2)
struct ReliableAck {
    uint32_t rseq = 0;
    uint32_t cseq = 0;
};

// A dialog whose place another one is to take (RFC 3891 section 3), as its other end names it.
struct ReplacedDialog {
    std::string callId;
    std::string localTag;  // ours: "to-tag"
    std::string remoteTag; // "from-tag"
    bool isEarlyOnly = false;
};

// Refer-To (RFC 3515 section 2.1): whom the one who gets it is to call.
struct ReferTo {
    std::string user;   // of the URI, unescaped
    std::string method; // empty: INVITE
    std::optional<ReplacedDialog> replaces;
    bool isReadable = true; // it names a number or a dialog
};

// Event (RFC 6665 section 8.2.1)
struct EventName {
    std::string type;
    std::string id; // empty: none
};

// Bodies pass as they are.
struct SipBody {
    std::string type;    // Content-Type
    std::string headers; // Content-Disposition and its like: whole lines
    std::string data;

    [[nodiscard]] bool isEmpty() const { return data.empty(); }
    [[nodiscard]] bool isSdp() const;
};

// One request or response that came in.
struct CallMessage {
    SipMethod method = SipMethod::Other; // of the request, or of the one that is answered
    std::string methodName;
    int status = 0; // 0: a request
    std::string phrase;
    SipSource source; // where it came from
    std::string requestUri;
    std::string requestUser; // unescaped
    std::string requestHost;
    SipParty from;
    SipParty to;
    std::string callId;
    uint32_t cseq = 0;
    unsigned maxForwards = 70;
    std::string contact;             // URI of the first one; empty: none
    std::string contactUser;         // of that URI, unescaped
    std::vector<std::string> routes; // Record-Route values, in their order
    std::string passed;              // headers that go on to the other side as they are: whole lines
    std::string allow;               // methods, parted by ", "; empty: not said
    std::string userAgent;
    SessionTimer timer;
    uint32_t rseq = 0; // RSeq; 0: not a reliable response
    std::optional<ReliableAck> rack;
    std::optional<ReplacedDialog> replaces; // of an INVITE
    std::optional<ReferTo> referTo;
    std::string referredBy; // value; empty: none
    std::optional<EventName> event;
    std::optional<uint32_t> expires;  // s
    bool isReferSilent = false;       // no NOTIFY is wanted of what becomes of a REFER (RFC 4488)
    bool isReliableSupported = false; // 100rel among Supported or Require
    bool isTimerSupported = false;
    bool isAnonymous = false;                // Privacy: id, or more of it
    std::vector<std::string> authorizations; // values of the Proxy-Authorization and Authorization headers
    SipBody body;
    std::string text; // of all of it, while calls are traced

    [[nodiscard]] bool isRequest() const { return status == 0; }
    [[nodiscard]] bool isProvisional() const { return status >= 100 && status < 200; }
    [[nodiscard]] bool isSuccess() const { return status >= 200 && status < 300; }
    [[nodiscard]] bool isFinal() const { return status >= 200; }
    // The caller asks not to be known: by Privacy, or by a From that is nobody's (RFC 3323 section 4.1.1.3).
    [[nodiscard]] bool hidesCaller() const;
    // Whether the other side said that it understands the method; true when it said nothing.
    [[nodiscard]] bool allows(std::string_view method) const;
};

// A request that is to be sent.
struct CallRequestOut {
    std::string method;
    std::string uri;
    std::string from; // values of these headers
    std::string to;
    std::string callId;
    uint32_t cseq = 0;
    unsigned maxForwards = 70;
    std::vector<std::string> routes;
    std::string headers; // further ones: whole lines
    SipBody body;
    bool hasContact = false; // one that leads here is added, with this user
    std::string contactUser;
    SipSource destination; // where it is sent, whatever the URIs say
};

// An answer that is to be given.
struct CallAnswer {
    int status = 0;
    std::string phrase{};  // empty: the usual one
    std::string headers{}; // further ones: whole lines
    SipBody body{};
    bool hasContact = false; // one that leads here is added, with this user
    std::string contactUser{};
};

// Whether the value of a header would begin another one.
[[nodiscard]] bool hasLineEnd(std::string_view value);

// "Name: value" with its end.
[[nodiscard]] std::string headerLine(std::string_view name, std::string_view value);

// Whole lines but those of these headers.
[[nodiscard]] std::string withoutHeaders(std::string_view lines, std::initializer_list<std::string_view> names);

// What RFC 3261 section 21 and its successors call a status; empty for one that has no name there.
[[nodiscard]] std::string_view statusPhrase(int status);
