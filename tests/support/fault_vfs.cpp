#include "support/fault_vfs.h"

#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <optional>

namespace {

struct State {
    std::mutex mutex;
    std::string part;
    std::optional<FileFault> fault;
    unsigned left = 0; // calls until the first that fails
    bool isMet = false;
};

State& state()
{
    static State& the = *new State;
    return the;
}

sqlite3_vfs* usual = nullptr;

// In the memory that the engine gives: this, and behind it the file of the usual system.
struct FaultFile {
    sqlite3_file base;
    bool isCounted;

    [[nodiscard]] sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

FaultFile* own(sqlite3_file* file)
{
    return reinterpret_cast<FaultFile*>(file);
}

std::optional<FileFault> failing(FileCall call)
{
    State& now = state();
    const std::scoped_lock lock(now.mutex);
    if (!now.fault || now.fault->call != call || (now.isMet && !now.fault->isLasting))
        return std::nullopt;
    if (now.left > 1) {
        --now.left;
        return std::nullopt;
    }
    now.isMet = true;
    return now.fault;
}

// Runs a call of the usual file, unless it is to fail.
template <class Call>
int run(sqlite3_file* file, FileCall call, Call&& usualCall)
{
    if (own(file)->isCounted)
        if (const auto fault = failing(call))
            return fault->code;
    return usualCall(own(file)->real());
}

int closeFile(sqlite3_file* file)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xClose(real);
}

int readFile(sqlite3_file* file, void* to, int size, sqlite3_int64 at)
{
    return run(file, FileCall::Read, [=](sqlite3_file* real) { return real->pMethods->xRead(real, to, size, at); });
}

int writeFile(sqlite3_file* file, const void* from, int size, sqlite3_int64 at)
{
    sqlite3_file* real = own(file)->real();
    if (own(file)->isCounted)
        if (const auto fault = failing(FileCall::Write)) {
            if (fault->isPartial)
                (void)real->pMethods->xWrite(real, from, size / 2, at);
            return fault->code;
        }
    return real->pMethods->xWrite(real, from, size, at);
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size)
{
    return run(file, FileCall::Truncate, [=](sqlite3_file* real) { return real->pMethods->xTruncate(real, size); });
}

int syncFile(sqlite3_file* file, int flags)
{
    return run(file, FileCall::Sync, [=](sqlite3_file* real) { return real->pMethods->xSync(real, flags); });
}

int fileSize(sqlite3_file* file, sqlite3_int64* size)
{
    return run(file, FileCall::FileSize, [=](sqlite3_file* real) { return real->pMethods->xFileSize(real, size); });
}

int lockFile(sqlite3_file* file, int level)
{
    return run(file, FileCall::Lock, [=](sqlite3_file* real) { return real->pMethods->xLock(real, level); });
}

int unlockFile(sqlite3_file* file, int level)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xUnlock(real, level);
}

int checkReserved(sqlite3_file* file, int* result)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xCheckReservedLock(real, result);
}

int controlFile(sqlite3_file* file, int op, void* argument)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xFileControl(real, op, argument);
}

int sectorSize(sqlite3_file* file)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xSectorSize(real);
}

int characteristics(sqlite3_file* file)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xDeviceCharacteristics(real);
}

int mapIndex(sqlite3_file* file, int page, int size, int extend, void volatile** out)
{
    return run(file, FileCall::MapIndex,
               [=](sqlite3_file* real) { return real->pMethods->xShmMap(real, page, size, extend, out); });
}

int lockIndex(sqlite3_file* file, int offset, int count, int flags)
{
    sqlite3_file* real = own(file)->real();
    if ((flags & SQLITE_SHM_UNLOCK) != 0) // cannot fail
        return real->pMethods->xShmLock(real, offset, count, flags);
    return run(file, FileCall::LockIndex,
               [=](sqlite3_file* usualFile) { return usualFile->pMethods->xShmLock(usualFile, offset, count, flags); });
}

void barrier(sqlite3_file* file)
{
    sqlite3_file* real = own(file)->real();
    real->pMethods->xShmBarrier(real);
}

int unmapIndex(sqlite3_file* file, int isToGo)
{
    sqlite3_file* real = own(file)->real();
    return real->pMethods->xShmUnmap(real, isToGo);
}

const sqlite3_io_methods* methods()
{
    static const sqlite3_io_methods the = [] {
        sqlite3_io_methods all{};
        all.iVersion = 2; // files are not mapped
        all.xClose = closeFile;
        all.xRead = readFile;
        all.xWrite = writeFile;
        all.xTruncate = truncateFile;
        all.xSync = syncFile;
        all.xFileSize = fileSize;
        all.xLock = lockFile;
        all.xUnlock = unlockFile;
        all.xCheckReservedLock = checkReserved;
        all.xFileControl = controlFile;
        all.xSectorSize = sectorSize;
        all.xDeviceCharacteristics = characteristics;
        all.xShmMap = mapIndex;
        all.xShmLock = lockIndex;
        all.xShmBarrier = barrier;
        all.xShmUnmap = unmapIndex;
        return all;
    }();
    return &the;
}

bool isCounted(const char* path)
{
    State& now = state();
    const std::scoped_lock lock(now.mutex);
    return path != nullptr && std::strstr(path, now.part.c_str()) != nullptr;
}

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags)
{
    FaultFile* mine = own(file);
    mine->base.pMethods = nullptr;
    mine->isCounted = isCounted(path);
    if (mine->isCounted)
        if (const auto fault = failing(FileCall::Open))
            return fault->code;
    std::memset(mine->real(), 0, static_cast<size_t>(usual->szOsFile));
    const int code = usual->xOpen(usual, path, mine->real(), flags, outFlags);
    if (mine->real()->pMethods != nullptr)
        mine->base.pMethods = methods();
    return code;
}

int deleteFile(sqlite3_vfs*, const char* path, int isSynced)
{
    if (isCounted(path))
        if (const auto fault = failing(FileCall::Delete))
            return fault->code;
    return usual->xDelete(usual, path, isSynced);
}

} // namespace

void installFaultVfs(const std::string& part)
{
    state().part = part;
    if (usual != nullptr)
        return;
    usual = sqlite3_vfs_find(nullptr);
    // Whatever is not about files and their content is the usual system's own, called with the usual's object.
    auto* vfs = new sqlite3_vfs(*usual);
    vfs->zName = "faulty";
    vfs->pNext = nullptr;
    vfs->szOsFile = static_cast<int>(sizeof(FaultFile)) + usual->szOsFile;
    vfs->xOpen = openFile;
    vfs->xDelete = deleteFile;
    sqlite3_vfs_register(vfs, 1);
}

void armFault(const FileFault& fault, unsigned nth)
{
    State& now = state();
    const std::scoped_lock lock(now.mutex);
    now.fault = fault;
    now.left = nth;
    now.isMet = false;
}

bool disarmFault()
{
    State& now = state();
    const std::scoped_lock lock(now.mutex);
    now.fault.reset();
    return now.isMet;
}
