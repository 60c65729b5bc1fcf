#include "dbproxy2/name_service.h"

#include <condition_variable>
#include <dlfcn.h>
#include <mutex>
#include <netdb.h>
#include <string_view>

namespace {

std::mutex namesMutex;
std::condition_variable namesChanged;
bool areNamesHanging = false;
int waitingQuestions = 0;

using GetAddrInfo = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

int resolve(const char* node, const char* service, const addrinfo* hints, addrinfo** result)
{
    static const auto real = reinterpret_cast<GetAddrInfo>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

int resolveBoth(const char* service, const addrinfo* hints, addrinfo** result)
{
    if (const int error = resolve("::1", service, hints, result); error != 0)
        return error;
    addrinfo* last = *result;
    while (last->ai_next != nullptr)
        last = last->ai_next;
    return resolve("127.0.0.1", service, hints, &last->ai_next); // the system frees a list entry by entry
}

void hang()
{
    std::unique_lock lock(namesMutex);
    ++waitingQuestions;
    namesChanged.wait(lock, [] { return !areNamesHanging; });
    --waitingQuestions;
}

} // namespace

// In place of the system's: the connector's calls come here too.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result)
{
    const std::string_view name = node == nullptr ? "" : node;
    if (name == kTwoAddresses)
        return resolveBoth(service, hints, result);
    if (name == kHangingName) {
        hang();
        return EAI_FAIL;
    }
    return resolve(node, service, hints, result);
}

HangingNames::HangingNames()
{
    const std::scoped_lock lock(namesMutex);
    areNamesHanging = true;
}

HangingNames::~HangingNames()
{
    const std::scoped_lock lock(namesMutex);
    areNamesHanging = false;
    namesChanged.notify_all();
}

int HangingNames::waiting()
{
    const std::scoped_lock lock(namesMutex);
    return waitingQuestions;
}
