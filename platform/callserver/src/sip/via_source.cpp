#include "sip/via_source.h"

#include "sip/sip_request.h"

#include <algorithm>
#include <array>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/sip_protos.h>
#include <sofia-sip/su_alloc.h>
#include <string>

namespace {

// Parser of one Via header; those behind a comma are parsed by the same function from within.
issize_t parseVia(su_home_t* home, msg_header_t* header, char* text, isize_t size)
{
    const issize_t result = sip_via_d(home, header, text, size);
    auto* via = reinterpret_cast<sip_via_t*>(header);
    if (result >= 0)
        for (const char* name : {"maddr", "received", "rport"})
            while (msg_header_remove_param(via->v_common, name) > 0) {
                // Each may stand there several times, and the last one would count.
            }
    // From here on a Via like any other: the stack compares classes by address.
    via->v_common->h_class = sip_via_class;
    return result;
}

// The stack refuses other versions before it has looked at the Via, and so to wherever that points. It is shown our
// version instead, in a text whose address tells.
constexpr const char kDisguisedVersion[] = "SIP/2.0";

issize_t parseRequestLine(su_home_t* home, msg_header_t* header, char* text, isize_t size)
{
    const issize_t result = sip_request_d(home, header, text, size);
    auto* line = reinterpret_cast<sip_request_t*>(header);
    if (result >= 0 && line->rq_version != sip_version_2_0)
        line->rq_version = kDisguisedVersion;
    line->rq_common->h_class = sip_request_class;
    return result;
}

msg_mclass_t* makeClass()
{
    msg_mclass_t* made = msg_mclass_clone(sip_default_mclass(), 0, msg_mclass_copy);
    if (made == nullptr)
        return nullptr;
    static msg_hclass_s via = sip_via_class[0];
    static std::array<msg_href_t, MC_SHORT_SIZE> shortForms;
    via.hc_parse = parseVia;
    for (short i = 0; i < made->mc_hash_size; ++i)
        if (made->mc_hash[i].hr_class == sip_via_class)
            made->mc_hash[i].hr_class = &via;
    static msg_hclass_s requestLine = sip_request_class[0];
    requestLine.hc_parse = parseRequestLine;
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

bool isOtherVersion(const sip_t* sip)
{
    return sip->sip_request->rq_version == kDisguisedVersion;
}

void markReceived(msg_t* message, sip_t* sip)
{
    sip_via_t* via = sip->sip_via;
    if (via == nullptr || via->v_received != nullptr || via->v_rport == nullptr)
        return;
    const std::string received = "received=" + sourceOf(message).address;
    su_home_t* home = msg_home(message);
    msg_header_replace_param(home, via->v_common, su_strdup(home, received.c_str()));
}
