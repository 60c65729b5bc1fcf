// From the bytes of requests to the registrar's decisions, without sockets: the stack's parser with our message class,
// what is taken out of its messages, the registrar, and the text of the answer.
#include "fuzz/fuzz_checks.h"
#include "fuzz/registrar_under_fuzz.h"
#include "sip/packet_gate.h"
#include "sip/quoted_nuls.h"
#include "sip/reply_text.h"
#include "sip/sip_answers.h"
#include "sip/sip_request.h"
#include "sip/via_source.h"

#include <memory>
#include <sofia-sip/msg.h>
#include <sofia-sip/msg_addr.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_util.h>
#include <string>

namespace {

const SipSource kSource = {"192.0.2.1", 5060, kTransportUdp};
constexpr size_t kMaxRequests = 4; // of one input

struct MessageDeleter {
    void operator()(msg_t* message) const { msg_destroy(message); }
};

void checkRequest(const RegisterRequest& request)
{
    require(request.contacts.size() <= kMaxContacts + 1);
    for (const RegisterContact& contact : request.contacts)
        require(contact.priority <= 100);
}

void handlePacket(std::string packet, RegistrarUnderFuzz& registrar)
{
    if (!isParsable(packet))
        return;
    (void)lacksCredentials(packet);
    blankQuotedNuls(packet.data(), packet.size());
    const std::unique_ptr<msg_t, MessageDeleter> message(
        msg_make(sourceBoundMessages(), 0, packet.data(), static_cast<ssize_t>(packet.size())));
    const std::string answer = replyText(packet, kSource, {400, "Bad Request", {}, "tag"});
    require(answer.empty() || answer.starts_with("SIP/2.0 400 Bad Request\r\n"));
    if (message == nullptr)
        return;
    sip_t* sip = sip_object(message.get());
    if (sip == nullptr || sip->sip_request == nullptr || sip_sanity_check(sip) < 0)
        return;
    markReceived(message.get(), sip, kSource);
    if (sip->sip_request->rq_method != sip_method_register || isMalformed(sip))
        return;
    const RegisterRequest request = registerRequest(message.get(), sip, kSource);
    checkRequest(request);
    (void)registrar.handle(request);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static RegistrarUnderFuzz& registrar = *new RegistrarUnderFuzz;
    registrar.reset();
    std::string_view rest = textOf(data, size);
    for (size_t i = 0; i < kMaxRequests && !rest.empty(); ++i)
        handlePacket(std::string(takePart(rest)), registrar);
    return 0;
}
