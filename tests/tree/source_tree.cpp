#include "tree/source_tree.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

std::string toText(const Faults& faults)
{
    std::string text;
    for (const std::string& fault : faults) {
        text += fault;
        text += '\n';
    }
    return text;
}

std::vector<SourceFile> filesBelow(std::string_view folder)
{
    const fs::path root(PARLOVEX_SOURCE_DIR);
    std::vector<SourceFile> files;
    if (!fs::is_directory(root / folder)) {
        return files;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root / folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        files.push_back(fileAt(entry.path().lexically_relative(root).generic_string()));
    }
    std::sort(files.begin(), files.end(), [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
    return files;
}

SourceFile fileAt(std::string_view path)
{
    std::ifstream in(fs::path(PARLOVEX_SOURCE_DIR) / path, std::ios::binary);
    return {std::string(path), std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())};
}

bool isInTree(std::string_view path)
{
    return fs::exists(fs::path(PARLOVEX_SOURCE_DIR) / path);
}

bool isHeader(std::string_view path)
{
    return path.ends_with(".h") || path.ends_with(".hpp");
}

bool isCpp(std::string_view path)
{
    return isHeader(path) || path.ends_with(".cpp");
}

std::string withoutComments(std::string_view text)
{
    enum class In { Code, Line, Block, Literal } state = In::Code;
    std::string result(text);
    char quote = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        switch (state) {
        case In::Code:
            if (c == '/' && (next == '/' || next == '*')) {
                state = next == '/' ? In::Line : In::Block;
                result[i] = result[i + 1] = ' ';
                ++i; // so that "/*/" does not end what it begins
            } else if (c == '"' || (c == '\'' && (i == 0 || !isalnum(static_cast<unsigned char>(text[i - 1]))))) {
                quote = c; // behind a digit the single quote only parts digits
                state = In::Literal;
            }
            break;
        case In::Line:
            if (c == '\n') {
                state = In::Code;
            } else {
                result[i] = ' ';
            }
            break;
        case In::Block:
            if (c == '*' && next == '/') {
                result[i] = result[i + 1] = ' ';
                ++i;
                state = In::Code;
            } else if (c != '\n') {
                result[i] = ' ';
            }
            break;
        case In::Literal:
            if (c == '\\' && next != '\n') {
                ++i;
            } else if (c == quote || c == '\n') {
                state = In::Code;
            }
            break;
        }
    }
    return result;
}

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::string_view trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}
