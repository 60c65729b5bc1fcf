// INI files: "[section]" lines, "key=value" lines, comments behind ';' or '#' at the start of a line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Read whole at construction; one thread at a time. Section and key are compared byte for byte ("07" is not "7"); of a
// key that stands twice the first counts. Values reach to the end of the line, blanks at both ends removed, no escapes,
// no quotes, "=" allowed. A byte order mark, CR LF line ends and a last line without end are accepted.
class Cbcl_ini_file {
public:
    static constexpr size_t kMaxFileSize = 4u << 20; // bytes; a larger file reads as empty: nobody writes one by hand
    static constexpr size_t kMaxLines = 100'000;     // likewise; bounds the memory that a file of line ends takes

    // A missing, unreadable or too large file reads as empty.
    explicit Cbcl_ini_file(const char* path);

    // Copies the value (or `def`; null is the empty text) into `buffer`, cut at its size as BclCopyStr cuts.
    // Returns true when the key was there.
    template <size_t N>
    bool ReadStr(const char* section, const char* key, char (&buffer)[N], const char* def) const
    {
        return readInto(section, key, buffer, N, def);
    }
    // The value, or null when there is none; valid as long as the object and until the next WriteStr.
    [[nodiscard]] const std::string* find(std::string_view section, std::string_view key) const;

    // True when the file was there and could be read.
    [[nodiscard]] bool isRead() const { return _isRead; }
    // True when it was read and is a text of the form above: no NUL bytes, valid UTF-8, every line blank, a comment,
    // a section or a key. Damaged files still give the keys that could be read.
    [[nodiscard]] bool isWellFormed() const { return _isWellFormed; }

    // Sets one key and keeps every other line as it stands (a damaged file is not written: false). The file is replaced
    // as a whole: written beside it, synchronised, renamed. Line breaks in the arguments and an empty key are refused.
    [[nodiscard]] bool WriteStr(const char* section, const char* key, const char* value);

private:
    struct Line {
        std::string text;    // as it stands in the file, without its line end
        std::string section; // the section it belongs to
        std::string key;     // empty: a blank line, comment or section
        std::string value;
    };
    bool readInto(const char* section, const char* key, char* buffer, size_t size, const char* def) const;
    void parse(std::string_view content);
    void makeIndex();

    std::string _path;
    std::vector<Line> _lines;
    std::vector<uint32_t> _index; // the lines with a key, by section, key and place
    bool _hasByteOrderMark = false;
    bool _isRead = false;
    bool _isWellFormed = false;
};
