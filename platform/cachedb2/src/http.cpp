#include "cachedb2/http.h"

#include <curl/curl.h>
#include <openssl/crypto.h>

#include <memory>
#include <mutex>

namespace {

constexpr size_t kMaxReply = 64 << 10; // bytes: a version number or a short page; a stranger's server may send for ever
constexpr long kTimeoutMs = 3000;      // the console waits for it
constexpr long kMaxRedirections = 5;

size_t onData(char* data, size_t size, size_t count, void* context)
{
    auto* reply = static_cast<std::string*>(context);
    const size_t bytes = size * count;
    if (reply->size() + bytes > kMaxReply)
        return 0; // ends the transfer with an error
    reply->append(data, bytes);
    return bytes;
}

void initialise()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // OpenSSL's own clean-up at exit would run under the server's threads.
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        curl_global_init(CURL_GLOBAL_DEFAULT);
    });
}

} // namespace

unsigned DbHttpGet(const char* url, Cbcl_tmp_str& reply)
{
    reply.clear();
    if (url == nullptr)
        return 1;
    initialise();
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
    if (!curl)
        return 1;

    std::string body;
    CURL* handle = curl.get();
    curl_easy_setopt(handle, CURLOPT_URL, url);
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, kMaxRedirections);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, kTimeoutMs);
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L); // a name server that is silent is not waited for either
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);   // no signal handlers in a process with many threads
    curl_easy_setopt(handle, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, "Parlovex");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &onData);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);

    long status = 0;
    if (curl_easy_perform(handle) != CURLE_OK ||
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status < 200 || status > 299)
        return 1;
    reply.setText(body);
    return 0;
}
