// INI files and the text functions that see what strangers send.
#include "bcl2/ini_file.h"
#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Like assert, in every build.
void require(bool condition)
{
    if (!condition)
        std::abort();
}

// A file in memory with this content, and its path.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view content) : _fd(memfd_create("ini", MFD_CLOEXEC))
    {
        require(_fd >= 0);
        require(write(_fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
        _path = "/proc/self/fd/" + std::to_string(_fd);
    }
    ~MemoryFile() { close(_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    [[nodiscard]] const char* path() const { return _path.c_str(); }

private:
    int _fd;
    std::string _path;
};

void readIni(std::string_view input)
{
    const MemoryFile memory(input);
    const Cbcl_ini_file file(memory.path());
    require(file.isRead());
    require(!file.isWellFormed() || (BclIsUtf8(input) && input.find('\0') == std::string_view::npos));
    // Names taken from the input itself, so that some are there.
    const std::string_view section = input.substr(0, input.find('\n'));
    const std::string_view key = input.substr(0, input.find('='));
    const std::string inBrackets(section.size() > 2 ? section.substr(1, section.size() - 2) : section);
    for (const std::string& name : {std::string(), std::string("s"), inBrackets}) {
        char buffer[17];
        const std::string keyText(key);
        const std::string* found = file.find(name, key);
        if (found != nullptr)
            require(BclTrimmed(*found) == *found && found->find('\n') == std::string::npos);
        file.ReadStr(name.c_str(), keyText.c_str(), buffer, "default");
        require(BclFieldText(buffer).size() < sizeof buffer);
    }
}

void readText(std::string_view input)
{
    for (size_t bound = 0; bound < 40; ++bound) {
        const size_t length = BclUtf8Bound(input, bound);
        require(length <= bound && length + 3 >= std::min(bound, input.size()));
        require(!BclIsUtf8(input) || BclIsUtf8(input.substr(0, length)));
        const std::string shown = BclPrintable(input, bound);
        require(shown.size() <= bound && BclIsUtf8(shown));
    }
    for (const char c : BclPrintable(input))
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);

    const std::string text(input);
    const int32_t number = BclStrToInt(text.c_str());
    require(BclStrToInt(BclIntToStr(number).c_str()) == number);
    require(number <= 0 || BclStrToU32(text.c_str()) == static_cast<uint32_t>(number));
    // What is an address is not trimmed, not put in brackets and survives being shown.
    if (BclIsIPFormat(text.c_str()) != 0)
        require(BclPrintable(text.c_str()) == text.c_str() && BclTrimmed(text.c_str()) == text.c_str());
    std::string trimmed = text;
    BclStrTrimSpace(trimmed.data());
    require(trimmed.c_str() == std::string(BclTrimmed(text.c_str())));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    readIni(input);
    readText(input);
    return 0;
}
