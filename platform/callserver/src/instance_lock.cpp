#include "callserver/app.h"

#include "cachedb2/data_folder.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

// The lock is the process's (POSIX record lock): a forked child does not hold it on, and it ends with the process
// however that ends. Closing any descriptor of the file would free it, so the file is opened once.
struct InstanceLock {
    std::mutex mutex;
    int fd = -1;
};

InstanceLock& instanceLock()
{
    static InstanceLock& lock = *new InstanceLock;
    return lock;
}

} // namespace

unsigned ParlovexIsRunning()
{
    InstanceLock& held = instanceLock();
    const std::lock_guard guard(held.mutex);
    if (held.fd >= 0)
        return 0;
    if (DbMakeDataFolder() != 0)
        return 0;
    Cbcl_tmp_str path;
    DbGetDataFolder(path);
    path.appendText("instance.lock");
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return 0;
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(fd, F_SETLK, &whole) == 0) {
        held.fd = fd;
        return 0;
    }
    const bool isTaken = errno == EACCES || errno == EAGAIN;
    close(fd);
    return isTaken ? 1 : 0;
}
