#include "cachedb2/data_folder.h"

#include "bcl2/process.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string_view variable(const char* name)
{
    const char* value = getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

// A service manager may start the program without HOME.
std::string home()
{
    if (const auto own = variable("HOME"); !own.empty())
        return std::string(own);
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 4096> buffer{};
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->pw_dir;
    return {};
}

} // namespace

void DbGetDataFolder(Cbcl_tmp_str& out)
{
    out.clear();
    if (const auto own = variable("PARLOVEX_HOME"); !own.empty()) {
        out.appendText(own);
    } else if (const auto data = variable("XDG_DATA_HOME"); !data.empty()) {
        out.appendText(data);
        out.appendText("/parlovex");
    } else {
        out.appendText(home());
        out.appendText("/.local/share/parlovex");
    }
    if (out.view().front() != '/') {
        Cbcl_tmp_str current;
        BclGetCurrDir(current);
        current.appendText(out.view());
        out = current;
    }
    if (out.view().back() != '/')
        out.appendText("/");
}

int DbMakeDataFolder()
{
    Cbcl_tmp_str folder;
    DbGetDataFolder(folder);
    const std::string path(folder.view());
    for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
        if (mkdir(path.substr(0, end).c_str(), 0700) != 0 && errno != EEXIST)
            return errno;
    return access(path.c_str(), R_OK | W_OK | X_OK) == 0 ? 0 : errno;
}
