// SIP messages as the server's other parts see them: plain texts and numbers, nothing of the stack.
#pragma once

#include "sip/contact_uri.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// As stored with registrations.
enum SipTransport : uint8_t { kTransportUdp = 0, kTransportTcp = 1, kTransportTls = 2 };

// Where a message came from.
struct SipSource {
    std::string address; // literal, without brackets
    uint16_t port = 0;
    uint8_t transport = kTransportUdp; // SipTransport
};

// Telephones of one user that ring together; more are left-overs of telephones that change their contact.
constexpr size_t kMaxContacts = 10;

struct RegisterContact {
    ContactUri uri;                  // its text at least; the rest is made of it when it is needed
    std::optional<uint32_t> expires; // s
    uint8_t priority = 100;          // q value in percent
};

// A request that is answered by its credentials.
struct CredentialedRequest {
    SipSource source;
    std::string method;
    std::string requestUri;
    std::string user; // whose credentials are wanted, unescaped; empty: none
    std::string callId;
    uint32_t cseq = 0;
    std::vector<std::string> authorizations; // values of the Authorization headers
};

// The user is that of the To header.
struct RegisterRequest : CredentialedRequest {
    RegisterRequest() { method = "REGISTER"; }

    std::vector<RegisterContact> contacts; // of too many the first kMaxContacts + 1
    bool isStar = false;                   // a Contact "*" was among them
    std::optional<uint32_t> expires;       // s
    std::string userAgent;                 // as sent
};

// What the credentials of a request said of who sent it.
enum class Credentials : uint8_t {
    None,     // there were none
    Unproven, // nothing: unreadable, for a nonce that is not valid (any more), or answered once already
    Wrong,    // a nonce of ours, which only that source can have, answered with a wrong password
    Right,
};

struct RegisterReply {
    struct Contact {
        std::string uri;
        uint32_t expires; // s that remain
        uint8_t priority;
    };
    int status = 0; // 0: no answer
    std::string phrase;
    std::vector<std::string> challenges; // values of WWW-Authenticate headers
    std::vector<Contact> contacts;
    std::optional<uint32_t> minExpires;
    std::string refusal; // for the administrator: why not; empty: nothing to tell
    Credentials credentials = Credentials::None;
};
