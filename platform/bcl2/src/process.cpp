#include "bcl2/process.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr size_t kFirstPathSize = 4096;      // nearly every path fits
constexpr size_t kLargestPathSize = 1 << 24; // bytes; PATH_MAX bounds a call's argument, not the depth of a folder

} // namespace

void BclGetCurrDir(Cbcl_tmp_str& out)
{
    for (size_t size = kFirstPathSize; size <= kLargestPathSize; size *= 2) {
        std::string path(size, '\0');
        if (getcwd(path.data(), path.size()) != nullptr) {
            out.setText(path.c_str());
            if (!out.view().ends_with('/'))
                out.appendText("/");
            return;
        }
        if (errno != ERANGE)
            break;
    }
    out.setText("./");
}

unsigned BclSetMaxFileHandles(unsigned count)
{
    // Between reading and setting the limit another thread could have raised it.
    static std::mutex& mutex = *new std::mutex;
    const std::lock_guard lock(mutex);
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1;
    const rlim_t wanted = std::min<rlim_t>(count, limit.rlim_max);
    if (wanted > limit.rlim_cur) {
        const rlimit raised{wanted, limit.rlim_max};
        if (setrlimit(RLIMIT_NOFILE, &raised) != 0)
            return 1;
        limit = raised;
    }
    return limit.rlim_cur >= count ? 0 : 1;
}
