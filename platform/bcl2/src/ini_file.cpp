#include "bcl2/ini_file.h"

#include "bcl2/text.h"
#include "file_io.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isComment(std::string_view trimmed)
{
    return trimmed.starts_with(';') || trimmed.starts_with('#');
}

bool isSectionLine(std::string_view text)
{
    return BclTrimmed(text).starts_with('[');
}

// Text that stands in one line and is read back as it was written.
bool isWritable(std::string_view text)
{
    return text.find_first_of("\r\n") == std::string_view::npos && BclIsUtf8(text);
}

bool isWritableSection(std::string_view section)
{
    return isWritable(section) && BclTrimmed(section) == section && section.find(']') == std::string_view::npos;
}

bool isWritableKey(std::string_view key)
{
    return !key.empty() && isWritable(key) && BclTrimmed(key) == key && key.find('=') == std::string_view::npos &&
           !isComment(key) && !key.starts_with('[');
}

// The line with another value; the key, the blanks around "=" and a CR at the end stay.
std::string withValue(std::string_view text, std::string_view value)
{
    const size_t behindSign = text.find('=') + 1;
    const size_t end = text.ends_with('\r') ? text.size() - 1 : text.size();
    const size_t old = std::min(text.find_first_not_of(" \t", behindSign), end);
    std::string line(text.substr(0, old));
    line += value;
    line += text.substr(end);
    return line;
}

} // namespace

Cbcl_ini_file::Cbcl_ini_file(const char* path) : _path(path == nullptr ? "" : path)
{
    std::string content;
    if (!bclReadFile(_path, kMaxFileSize, content))
        return;
    if (static_cast<size_t>(std::count(content.begin(), content.end(), '\n')) > kMaxLines)
        return;
    _isRead = true;
    parse(content);
    makeIndex();
}

void Cbcl_ini_file::parse(std::string_view content)
{
    _isWellFormed = content.find('\0') == std::string_view::npos && BclIsUtf8(content);
    _hasByteOrderMark = content.starts_with(kByteOrderMark);
    if (_hasByteOrderMark)
        content.remove_prefix(kByteOrderMark.size());
    std::string section;
    bool isSectionKnown = true;
    while (!content.empty()) {
        const size_t end = content.find('\n');
        Line line;
        line.text = content.substr(0, end);
        content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
        const std::string_view text = BclTrimmed(line.text);
        const size_t sign = text.find('=');
        if (text.starts_with('[')) {
            // Keys behind a section line that cannot be read belong to no section: they must not be taken for others.
            const size_t close = text.find(']');
            isSectionKnown = close != std::string_view::npos;
            section = isSectionKnown ? BclTrimmed(text.substr(1, close - 1)) : std::string_view();
            _isWellFormed = _isWellFormed && close + 1 == text.size();
        } else if (!text.empty() && !isComment(text)) {
            if (sign != std::string_view::npos && isSectionKnown) {
                line.key = BclTrimmed(text.substr(0, sign));
                line.value = BclTrimmed(text.substr(sign + 1));
            }
            _isWellFormed = _isWellFormed && !line.key.empty();
        }
        line.section = section;
        _lines.push_back(std::move(line));
    }
}

void Cbcl_ini_file::makeIndex()
{
    _index.clear();
    for (size_t i = 0; i < _lines.size(); ++i) {
        if (!_lines[i].key.empty())
            _index.push_back(static_cast<uint32_t>(i));
    }
    std::stable_sort(_index.begin(), _index.end(), [this](uint32_t a, uint32_t b) {
        return std::tie(_lines[a].section, _lines[a].key) < std::tie(_lines[b].section, _lines[b].key);
    });
}

const std::string* Cbcl_ini_file::find(std::string_view section, std::string_view key) const
{
    const auto wanted = std::make_pair(section, key);
    const auto nameOf = [this](uint32_t i) {
        return std::pair<std::string_view, std::string_view>(_lines[i].section, _lines[i].key);
    };
    const auto found = std::lower_bound(_index.begin(), _index.end(), wanted,
                                        [&](uint32_t i, const auto& name) { return nameOf(i) < name; });
    return found != _index.end() && nameOf(*found) == wanted ? &_lines[*found].value : nullptr;
}

bool Cbcl_ini_file::readInto(const char* section, const char* key, char* buffer, size_t size, const char* def) const
{
    const std::string* value = section == nullptr || key == nullptr ? nullptr : find(section, key);
    // The default may be the buffer itself; copied as BclCopyStr does.
    const std::string_view text = value != nullptr ? std::string_view(*value) : def != nullptr ? def : "";
    BclCopyText(buffer, size, text, text.size());
    return value != nullptr;
}

bool Cbcl_ini_file::WriteStr(const char* section, const char* key, const char* value)
{
    if (section == nullptr || key == nullptr || value == nullptr || !isWritableSection(section) ||
        !isWritableKey(key) || !isWritable(value))
        return false;
    // What could not be read must not be lost; a file that is not there may be made.
    if (_isRead ? !_isWellFormed : !bclIsMissing(_path))
        return false;

    std::vector<Line> lines = _lines;
    const std::string_view shown = BclTrimmed(value); // as it is read back
    const std::string lineEnd = !lines.empty() && lines.front().text.ends_with('\r') ? "\r" : "";
    const auto isKey = [&](const Line& line) { return line.section == section && line.key == key; };
    const Line added{key + ("=" + std::string(shown)) + lineEnd, section, key, std::string(shown)};
    if (const auto same = std::find_if(lines.begin(), lines.end(), isKey); same != lines.end()) {
        same->text = withValue(same->text, shown);
        same->value = shown;
    } else {
        // Behind the last key of the section, else behind its own line; keys without a section stand before the first
        // one.
        const auto isOfSection = [&](const Line& line) {
            return line.section == section && (!line.key.empty() || isSectionLine(line.text));
        };
        auto place = std::find_if(lines.rbegin(), lines.rend(), isOfSection).base();
        if (place == lines.begin() && *section == '\0') {
            place = std::find_if(lines.begin(), lines.end(), [](const Line& line) { return isSectionLine(line.text); });
        } else if (place == lines.begin()) {
            lines.push_back({"[" + std::string(section) + "]" + lineEnd, section, {}, {}});
            place = lines.end();
        }
        lines.insert(place, added);
    }

    std::string content(_hasByteOrderMark ? kByteOrderMark : std::string_view());
    for (const Line& line : lines)
        content.append(line.text).append("\n");
    if (content.size() > kMaxFileSize || lines.size() > kMaxLines)
        return false;
    const BclReplaced replaced = bclReplaceFile(_path, content);
    if (replaced == BclReplaced::No)
        return false;
    _lines = std::move(lines);
    makeIndex();
    _isRead = true;
    _isWellFormed = true;
    return replaced == BclReplaced::Yes;
}
