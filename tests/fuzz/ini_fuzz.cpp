// INI files: none harms the reader, and what is written into one is read again.
#include "bcl2/ini_file.h"
#include "bcl2/text.h"
#include "fuzz/fuzz_checks.h"
#include "support/temporary_folder.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace {

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

// What is written is read again, and nothing else changes.
void writeIni(std::string_view input)
{
    const MemoryFile memory(input);
    const Cbcl_ini_file before(memory.path());
    if (!before.isWellFormed())
        return;
    static const TemporaryFolder& folder = *new TemporaryFolder;
    const std::string path = folder.path() + "/a.ini";
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(input.data(), static_cast<std::streamsize>(input.size()));
    }
    std::string_view rest = input;
    const std::string section(takePart(rest));
    const std::string key(takePart(rest));
    const std::string value(takePart(rest));
    Cbcl_ini_file file(path.c_str());
    if (!file.WriteStr(section.c_str(), key.c_str(), value.c_str()))
        return;
    const Cbcl_ini_file after(path.c_str());
    require(after.isWellFormed());
    const std::string* found = after.find(section.c_str(), key.c_str());
    require(found != nullptr && *found == BclTrimmed(value.c_str()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view input = textOf(data, size);
    readIni(input);
    writeIni(input);
    return 0;
}
