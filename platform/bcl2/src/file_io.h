// Files read and replaced as a whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// False when there is no such regular file, it cannot be read or is larger than `maxSize` bytes. Never waits for a
// pipe.
[[nodiscard]] bool bclReadFile(const std::string& path, size_t maxSize, std::string& out);

// True when nothing stands at the path.
[[nodiscard]] bool bclIsMissing(const std::string& path);

enum class BclReplaced {
    No,         // the file is as it was
    NotYetSafe, // replaced, but a power cut may still bring the old one back
    Yes
};

// Writes a new file beside the old one, synchronises it, puts it in the place of the old one and synchronises the
// folder. A new file gets the mode 0600, an old one keeps its mode and owner; of a symbolic link the target is
// replaced.
[[nodiscard]] BclReplaced bclReplaceFile(const std::string& path, std::string_view content);
