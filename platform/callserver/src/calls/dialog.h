// The server's end of a dialog (RFC 3261 section 12).
#pragma once

#include "sip/call_message.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct Dialog {
    std::string callId;
    std::string localTag;
    std::string remoteTag;    // empty: nobody has answered yet
    std::string localParty;   // From of our requests, without its tag
    std::string remoteParty;  // To of our requests, likewise
    std::string remoteTarget; // URI
    std::vector<std::string> routes;
    uint32_t localCseq = 0;  // of the last request that we sent
    uint32_t remoteCseq = 0; // of the last one that came
    SipSource peer;          // where its messages come from and go to
    std::string contactUser; // of our Contact

    // A request with the next CSeq.
    [[nodiscard]] CallRequestOut request(std::string_view method);
    // The ACK of a success of the INVITE with that CSeq.
    [[nodiscard]] CallRequestOut ack(uint32_t inviteCseq) const;
    // Where the other side wants requests from now on (RFC 3261 section 12.2.1.2).
    void refreshTarget(const CallMessage& message);
    // What an answer to our INVITE makes of it.
    void learn(const CallMessage& response);

private:
    [[nodiscard]] CallRequestOut common(std::string_view method) const;
};

// Of an INVITE that came in.
[[nodiscard]] Dialog dialogOfCaller(const CallMessage& invite, std::string localTag);

// Of a success that nobody waits for, as it says itself.
[[nodiscard]] Dialog dialogOfStray(const CallMessage& success);

// 64 random bits as text: nobody can guess a dialog that he does not know.
[[nodiscard]] std::string randomTag();
