// A file system for SQLite that fails on purpose: everything goes to the usual one but the calls that a test chose.
#pragma once

#include <string>

// Calls that can fail. Reading counts, since the engine reads while it writes.
enum class FileCall { Open, Delete, Read, Write, Truncate, Sync, FileSize, Lock, MapIndex, LockIndex };

struct FileFault {
    FileCall call;
    int code;               // what the engine is told
    bool isLasting = false; // from that call on; else that call only
    bool isPartial = false; // a write puts half of its bytes into the file before it fails
};

// Makes it the default before the first database is opened; it stays until the process ends. Only calls for files whose
// path contains `part` count and fail. Any thread.
void installFaultVfs(const std::string& part);

// The nth call of the kind from now on fails.
void armFault(const FileFault& fault, unsigned nth);

// Nothing fails any more. True when something has failed since armFault().
bool disarmFault();
