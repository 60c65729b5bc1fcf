#include "sip/via_source.h"

#include "sip/message_lines.h"
#include "sip/stack_sockets.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/sip_protos.h>
#include <sofia-sip/su_alloc.h>
#include <string>
#include <string_view>
#include <utility>

namespace {

// The stack drops a request without an answer when its first Via names another transport than it came by. Ours come
// over TLS, of which the stack knows nothing, and from telephones that are mistaken about themselves. So that Via names
// the expected one, in a text behind whose end the one that was sent lies hidden.
void disguise(su_home_t* home, sip_via_t* via)
{
    const std::string_view expected = isReceivingStream() ? sip_transport_tcp : sip_transport_udp;
    if (via->v_protocol == nullptr || via->v_protocol == expected)
        return;
    const size_t size = std::strlen(via->v_protocol) + 1;
    auto* both = static_cast<char*>(su_alloc(home, expected.size() + 1 + size));
    if (both == nullptr)
        return;
    std::memcpy(both, expected.data(), expected.size() + 1);
    std::memcpy(both + expected.size() + 1, via->v_protocol, size);
    via->v_protocol = both;
}

// The stack's parser gives the usual ones as its own constants, so that a copy of one is a disguise.
void undisguise(sip_via_t* via)
{
    if (via->v_protocol != sip_transport_tcp && std::strcmp(via->v_protocol, sip_transport_tcp) == 0)
        via->v_protocol += std::strlen(via->v_protocol) + 1;
}

// Tells the first Via of a message that can be used: where the stack sends its own answers to. Asked once for each Via,
// in the order in which they stand there. SIP thread.
class FirstVia {
public:
    [[nodiscard]] bool isStillWanted(const su_home_t* message)
    {
        // The memory of a message may be where that of the one before was.
        const uint64_t received = receivedByStack();
        if (message != _message || received != _received)
            _isFound = false;
        _message = message;
        _received = received;
        return !_isFound;
    }
    void setFound(bool isFound) { _isFound = isFound; }

private:
    const su_home_t* _message = nullptr;
    uint64_t _received = 0;
    bool _isFound = false;
};

FirstVia& firstVia()
{
    static FirstVia& instance = *new FirstVia; // its thread outlives static objects
    return instance;
}

// Parser of one Via header; those behind a comma are parsed by the same function from within.
issize_t parseVia(su_home_t* home, msg_header_t* header, char* text, isize_t size)
{
    auto* via = reinterpret_cast<sip_via_t*>(header);
    const bool isFirst = firstVia().isStillWanted(home);
    // Those behind a comma are parsed within; they are not the first.
    firstVia().setFound(true);
    const bool isUsable = sip_via_d(home, header, text, size) >= 0 || salvageVia(home, via);
    if (isFirst && !isUsable)
        firstVia().setFound(false);
    // Those behind the first one are for the proxies that the answer passes.
    if (isUsable && isFirst) {
        for (const char* name : {"maddr", "received", "rport"})
            while (msg_header_remove_param(via->v_common, name) > 0) {
                // Each may stand there several times, and the last one would count.
            }
        disguise(home, via);
    }
    // From here on a Via like any other: the stack compares classes by address.
    via->v_common->h_class = sip_via_class;
    return isUsable ? 0 : -1;
}

// A class of the stack's headers with a parser of our own.
msg_hclass_s parsedBy(const msg_hclass_t* original, msg_parse_f* parser)
{
    msg_hclass_s result = *original;
    result.hc_parse = parser;
    return result;
}

// The stack itself adds headers of its own classes to messages (the ACK of a failure, CANCEL): those go where ours go.
// Behind ours, so that ours are found by name.
void addBehind(msg_mclass_t& messages, const msg_hclass_t* original, unsigned short offset)
{
    const unsigned size = static_cast<unsigned>(messages.mc_hash_size);
    if (static_cast<unsigned>(messages.mc_hash_used) + 1 >= size)
        return; // a full table would never end the stack's search
    unsigned at = static_cast<unsigned>(original->hc_hash) % size;
    while (messages.mc_hash[at].hr_class != nullptr)
        at = (at + 1) % size;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the table has no other form
    messages.mc_hash[at].hr_class = const_cast<msg_hclass_t*>(original);
    messages.mc_hash[at].hr_offset = offset;
    ++messages.mc_hash_used;
}

msg_mclass_t* makeClass()
{
    msg_mclass_t* made = msg_mclass_clone(sip_default_mclass(), 0, msg_mclass_copy);
    if (made == nullptr)
        return nullptr;
    static msg_hclass_s via = parsedBy(sip_via_class, parseVia);
    static msg_hclass_s cseq = parsedBy(sip_cseq_class, parseCseq);
    static msg_hclass_s requestLine = parsedBy(sip_request_class, parseRequestLine);
    static std::array<msg_href_t, MC_SHORT_SIZE> shortForms;
    unsigned short viaAt = 0;
    unsigned short cseqAt = 0;
    for (short i = 0; i < made->mc_hash_size; ++i) {
        msg_href_t& entry = made->mc_hash[i];
        if (entry.hr_class == sip_via_class) {
            entry.hr_class = &via;
            viaAt = entry.hr_offset;
        } else if (entry.hr_class == sip_cseq_class) {
            entry.hr_class = &cseq;
            cseqAt = entry.hr_offset;
        }
    }
    addBehind(*made, sip_via_class, viaAt);
    addBehind(*made, sip_cseq_class, cseqAt);
    made->mc_request->hr_class = &requestLine;
    if (made->mc_short != nullptr) {
        std::copy_n(made->mc_short, shortForms.size(), shortForms.begin());
        for (msg_href_t& entry : shortForms)
            if (entry.hr_class == sip_via_class)
                entry.hr_class = &via;
        made->mc_short = shortForms.data();
    }
    return made;
}

} // namespace

const msg_mclass_t* sourceBoundMessages()
{
    static const msg_mclass_t* const made = makeClass();
    return made;
}

void markReceived(msg_t* message, sip_t* sip, const SipSource& source)
{
    sip_via_t* via = sip->sip_via;
    if (via == nullptr)
        return;
    undisguise(via);
    // The stack has written down its own local connection.
    su_home_t* home = msg_home(message);
    const std::string received = "received=" + source.address;
    const std::string port = "rport=" + std::to_string(source.port);
    msg_header_replace_param(home, via->v_common, su_strdup(home, received.c_str()));
    msg_header_replace_param(home, via->v_common, su_strdup(home, port.c_str()));
}
