// A folder of a test's own, gone with all that is in it when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string form = (std::filesystem::temp_directory_path() / "parlovex-test-XXXXXX").string();
        if (mkdtemp(form.data()) == nullptr)
            throw std::runtime_error("no temporary folder: " + form);
        _path = std::filesystem::canonical(form).string();
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return _path; }
    [[nodiscard]] std::string file(std::string_view name) const { return _path + "/" + std::string(name); }

    // Writes a file and gives its path.
    [[nodiscard]] std::string write(std::string_view name, std::string_view content) const
    {
        std::ofstream(file(name), std::ios::binary) << content;
        return file(name);
    }
    [[nodiscard]] static std::string read(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    // Gives the folder and all that is in it to somebody else.
    void giveTo(uid_t owner) const
    {
        for (const auto& entry : std::filesystem::directory_iterator(_path)) {
            if (chown(entry.path().c_str(), owner, gid_t(-1)) != 0)
                throw std::runtime_error("cannot give away " + entry.path().string());
        }
        if (chown(_path.c_str(), owner, gid_t(-1)) != 0)
            throw std::runtime_error("cannot give away " + _path);
    }
    [[nodiscard]] size_t countFiles() const
    {
        const std::filesystem::directory_iterator entries(_path);
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

private:
    std::string _path;
};

// While it lives, file permissions hold for this process, which they do not for root.
class WithoutRoot {
public:
    explicit WithoutRoot(const TemporaryFolder& folder) : _isRoot(geteuid() == 0)
    {
        constexpr uid_t kNobody = 65534;
        if (!_isRoot)
            return;
        folder.giveTo(kNobody);
        if (seteuid(kNobody) != 0)
            throw std::runtime_error("cannot leave root");
    }
    ~WithoutRoot()
    {
        if (_isRoot && seteuid(0) != 0)
            std::abort();
    }
    WithoutRoot(const WithoutRoot&) = delete;
    WithoutRoot& operator=(const WithoutRoot&) = delete;

private:
    const bool _isRoot;
};
