#include "sip/numeric_hosts.h"

#include <atomic>
#include <sofia-sip/su_addrinfo.h>
#include <sys/socket.h>

int resolveLiteral(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
    addrinfo numeric{};
    if (hints != nullptr)
        numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    return getaddrinfo(node, service, &numeric, result);
}

namespace {

std::atomic<bool> isClosedForStreams = false;

} // namespace

void closeStackStreams()
{
    isClosedForStreams.store(true);
}

// Stands in for the function of that name in the stack's library, which calls it through the dynamic linker: the
// program's definition comes first as long as it is exported (see CMakeLists.txt).
extern "C" __attribute__((visibility("default"))) int su_getaddrinfo(const char* node, const char* service,
                                                                     const su_addrinfo_t* hints, su_addrinfo_t** res)
{
    if (hints != nullptr && hints->ai_socktype == SOCK_STREAM && isClosedForStreams.load())
        return EAI_NONAME;
    return resolveLiteral(node, service, hints, res);
}
