#include "file_io.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t kReadSize = 64u << 10; // bytes a call
constexpr mode_t kModeBits = 07777;

// Closes its handle.
class Handle {
public:
    explicit Handle(int fd) : _fd(fd) {}
    ~Handle() { static_cast<void>(close()); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    [[nodiscard]] int fd() const { return _fd; }
    [[nodiscard]] bool isOpen() const { return _fd >= 0; }
    // False when what was written could not be kept.
    [[nodiscard]] bool close() { return _fd < 0 || ::close(std::exchange(_fd, -1)) == 0; }

private:
    int _fd;
};

bool writeAll(int fd, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t count = write(fd, content.data(), content.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        content.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

std::string targetOf(const std::string& path)
{
    std::array<char, PATH_MAX> target{};
    return realpath(path.c_str(), target.data()) != nullptr ? target.data() : path;
}

std::string folderOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool syncFolder(const std::string& path)
{
    const Handle folder(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.isOpen() &&
           (fsync(folder.fd()) == 0 || errno == EINVAL); // EINVAL: this file system has no such thing
}

} // namespace

bool bclReadFile(const std::string& path, size_t maxSize, std::string& out)
{
    out.clear();
    const Handle file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.isOpen() || fstat(file.fd(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    // Not by the size that it claims: it may grow while it is read, and some files claim none.
    while (out.size() <= maxSize) {
        const size_t used = out.size();
        out.resize(used + kReadSize);
        const ssize_t count = read(file.fd(), out.data() + used, kReadSize);
        out.resize(used + static_cast<size_t>(count > 0 ? count : 0));
        if (count == 0)
            return true;
        if (count < 0 && errno != EINTR)
            break;
    }
    out.clear();
    return false;
}

bool bclIsMissing(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

BclReplaced bclReplaceFile(const std::string& path, std::string_view content)
{
    const std::string target = targetOf(path);
    std::string temporary = target + ".XXXXXX"; // beside it, because a rename stays on its file system
    Handle file(mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen())
        return BclReplaced::No;
    struct stat old {};
    bool isDone = true;
    if (stat(target.c_str(), &old) == 0) {
        // The owner cannot always be kept; the mode is set after it, because a change of owner may clear bits.
        const bool isOwnerKept = fchown(file.fd(), old.st_uid, old.st_gid) == 0;
        const mode_t mode = old.st_mode & kModeBits;
        isDone = fchmod(file.fd(), isOwnerKept ? mode : mode & 0777) == 0;
    }
    isDone = isDone && writeAll(file.fd(), content) && fsync(file.fd()) == 0;
    isDone = file.close() && isDone;
    isDone = isDone && rename(temporary.c_str(), target.c_str()) == 0;
    if (!isDone) {
        unlink(temporary.c_str());
        return BclReplaced::No;
    }
    return syncFolder(target) ? BclReplaced::Yes : BclReplaced::NotYetSafe;
}
