#include "sip/sip_outgoing.h"

#include "sip/hex_text.h"
#include "streams/flow_table.h"

#include "bcl2/uaddr.h"

#include <memory>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/nta.h>
#include <sofia-sip/nta_tport.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_parser.h>
#include <sofia-sip/sip_tag.h>
#include <sofia-sip/su_uniqueid.h>
#include <sofia-sip/tport.h>
#include <utility>

namespace {

constexpr int kFirstFinal = 200;
constexpr int kUnavailable = 503;

// Text of a Via that names our end of the connection; the stack's own would name its inner one.
std::string viaText(const SipSource& local, const std::string& branch)
{
    Cbcl_uaddr address;
    address.setAddress(local.address.c_str(), local.port);
    return std::string("SIP/2.0/TCP ") + address.getURLStr() + ";branch=z9hG4bK" + branch + ";rport";
}

std::string randomToken()
{
    return hexText(uint64_t{su_random()} << 32 | su_random());
}

// Owns itself until the final answer.
struct Pending {
    OutgoingResult done;

    static int onResponse(nta_outgoing_magic_t* magic, nta_outgoing_t* outgoing, const sip_t* sip)
    {
        const int status = sip == nullptr ? nta_outgoing_status(outgoing) : sip->sip_status->st_status;
        if (status < kFirstFinal)
            return 0;
        const std::unique_ptr<Pending> self(reinterpret_cast<Pending*>(magic));
        nta_outgoing_destroy(outgoing);
        self->done(status);
        return 0;
    }
};

} // namespace

void sendOverConnection(nta_agent_t* streams, const FlowTable& flows, const OutgoingRequest& request,
                        OutgoingResult done)
{
    const FlowTable::Way way = flows.wayTo(request.destination);
    const std::string port = std::to_string(way.stackPort);
    tp_name_t name{};
    name.tpn_proto = "tcp";
    name.tpn_canon = name.tpn_host = "127.0.0.1";
    name.tpn_port = port.c_str();
    tport_t* connection = way.stackPort == 0 || streams == nullptr
                              ? nullptr
                              : tport_by_name(tport_primaries(nta_agent_tports(streams)), &name);
    if (connection == nullptr || tport_is_secondary(connection) == 0) {
        done(kFlowFailed);
        return;
    }
    const std::string line = request.method + " " + request.uri + " SIP/2.0";
    const std::string from = "<" + request.from + ">;tag=" + randomToken();
    const std::string to = "<" + request.to + ">";
    const std::string callId = randomToken() + randomToken();
    const std::string cseq = "1 " + request.method;
    const std::string via = viaText(way.local, randomToken());
    // Of the stack's own class: the agent's is for what strangers send.
    msg_t* message = msg_create(sip_default_mclass(), 0);
    const bool isMade =
        sip_add_tl(message, sip_object(message), SIPTAG_REQUEST_STR(line.c_str()), SIPTAG_VIA_STR(via.c_str()),
                   SIPTAG_MAX_FORWARDS_STR("70"), SIPTAG_FROM_STR(from.c_str()), SIPTAG_TO_STR(to.c_str()),
                   SIPTAG_CALL_ID_STR(callId.c_str()), SIPTAG_CSEQ_STR(cseq.c_str()), TAG_END()) >= 0;
    auto pending = std::make_unique<Pending>(Pending{std::move(done)});
    if (!isMade) {
        msg_destroy(message);
        pending->done(kUnavailable);
        return;
    }
    if (nta_outgoing_mcreate(streams, Pending::onResponse, reinterpret_cast<nta_outgoing_magic_t*>(pending.get()),
                             nullptr, message, NTATAG_TPORT(connection), NTATAG_USER_VIA(1), TAG_END()) == nullptr) {
        msg_destroy(message);
        pending->done(kUnavailable);
        return;
    }
    [[maybe_unused]] Pending* const taken = pending.release(); // by onResponse()
}
