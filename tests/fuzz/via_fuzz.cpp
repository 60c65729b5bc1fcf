// Via headers: whatever they say, nothing that would send an answer elsewhere is left of the first one, and all can be
// written and read again.
#include "fuzz/fuzz_checks.h"
#include "sip/via_source.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <sofia-sip/msg.h>
#include <sofia-sip/sip_header.h>
#include <string>

namespace {

struct MessageDeleter {
    void operator()(msg_t* message) const { msg_destroy(message); }
};
using Message = std::unique_ptr<msg_t, MessageDeleter>;

Message parsed(std::string_view via)
{
    std::string text = "OPTIONS sip:a@b SIP/2.0\r\nVia: ";
    text.append(via);
    text += "\r\nFrom: <sip:a@b>;tag=1\r\nTo: <sip:a@b>\r\nCall-ID: c\r\nCSeq: 1 OPTIONS\r\n\r\n";
    return Message(msg_make(sourceBoundMessages(), 0, text.data(), static_cast<ssize_t>(text.size())));
}

// Absent or empty is the same: the stack passes over a parameter without value in front of a comma.
bool isSame(const char* a, const char* b)
{
    return std::strcmp(a == nullptr ? "" : a, b == nullptr ? "" : b) == 0;
}

void checkVia(const sip_via_t* via)
{
    require(via->v_common->h_class == sip_via_class);
    require(via->v_protocol != nullptr && via->v_host != nullptr && via->v_host[0] != '\0');
}

// Answers go to where the request came from.
void checkFirst(const sip_via_t* via)
{
    require(via->v_maddr == nullptr && via->v_received == nullptr && via->v_rport == nullptr);
    for (msg_param_t const* param = via->v_params; param != nullptr && *param != nullptr; ++param)
        for (const char* name : {"maddr", "received", "rport"}) {
            const size_t length = std::strlen(name);
            require(strncasecmp(*param, name, length) != 0 || ((*param)[length] != '=' && (*param)[length] != '\0'));
        }
}

// (sip_header_as_string leaves the end of long headers out.)
std::string written(const sip_via_t* via)
{
    std::string text(65'536, '\0');
    const issize_t size = sip_header_field_e(text.data(), text.size(), reinterpret_cast<const sip_header_t*>(via), 0);
    require(size > 0 && static_cast<size_t>(size) < text.size());
    text.resize(static_cast<size_t>(size));
    return text;
}

void checkAgain(const sip_via_t* via)
{
    const std::string text = written(via);
    const Message again = parsed(text);
    require(again != nullptr);
    const sip_via_t* copy = sip_object(again.get())->sip_via;
    require(copy != nullptr && copy->v_next == nullptr);
    require(isSame(copy->v_host, via->v_host) && isSame(copy->v_port, via->v_port) &&
            isSame(copy->v_branch, via->v_branch));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text = textOf(data, size);
    // Line ends would make other headers of it.
    if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
        return 0;
    const Message message = parsed(text);
    require(message != nullptr);
    if (sip_object(message.get())->sip_via != nullptr)
        checkFirst(sip_object(message.get())->sip_via);
    for (const sip_via_t* via = sip_object(message.get())->sip_via; via != nullptr; via = via->v_next) {
        checkVia(via);
        // The stack does not end the transport where no blank is behind it.
        if (std::strpbrk(via->v_protocol, "[]") == nullptr)
            checkAgain(via);
    }
    return 0;
}
