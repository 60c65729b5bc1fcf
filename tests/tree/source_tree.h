// What the tests over the source tree share: the files of the repository and a look at C++ text without its comments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct SourceFile {
    std::string path; // from the repository root, with '/'
    std::string text; // the bytes as they stand in the file
};

// One readable line each; empty: the rule holds.
using Faults = std::vector<std::string>;
[[nodiscard]] std::string toText(const Faults& faults);

// All files below `folder` (from the repository root), sorted by path; none when there is no such folder.
[[nodiscard]] std::vector<SourceFile> filesBelow(std::string_view folder);
// From the repository root; an empty text when there is none.
[[nodiscard]] SourceFile fileAt(std::string_view path);
[[nodiscard]] bool isInTree(std::string_view path); // a file or a folder

[[nodiscard]] bool isHeader(std::string_view path);
[[nodiscard]] bool isCpp(std::string_view path); // a header or a source file

// Comments become blanks; line ends and text literals stay.
[[nodiscard]] std::string withoutComments(std::string_view text);

// The lines without their ends; a last line end starts no further line.
[[nodiscard]] std::vector<std::string_view> linesOf(std::string_view text);
// Without blanks and tabs at both ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);
