// Holds the documents together: what they link to and show is there.
#include "tree/source_tree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

bool isOutside(std::string_view target)
{
    return target.starts_with("https://") || target.starts_with("http://") || target.starts_with("mailto:");
}

// Of links and pictures: the files that they name, from the repository root, in their order.
std::vector<std::string> linkedFiles(std::string_view path, std::string_view text)
{
    constexpr std::string_view kBegin = "](";
    std::vector<std::string> files;
    for (size_t at = text.find(kBegin); at != std::string_view::npos; at = text.find(kBegin, at)) {
        at += kBegin.size();
        std::string_view target = text.substr(at, text.find(')', at) - at);
        target = target.substr(0, target.find('#'));
        if (target.empty() || isOutside(target))
            continue;
        files.push_back((std::filesystem::path(path).parent_path() / target).lexically_normal().generic_string());
    }
    return files;
}

Faults deadLinks(const SourceFile& document)
{
    Faults faults;
    for (const std::string& file : linkedFiles(document.path, document.text))
        if (!isInTree(file))
            faults.push_back(document.path + ": there is no " + file);
    return faults;
}

std::vector<SourceFile> documents()
{
    std::vector<SourceFile> all = {fileAt("README.md"), fileAt("CHANGELOG.md")};
    for (SourceFile& file : filesBelow("docs"))
        if (file.path.ends_with(".md"))
            all.push_back(std::move(file));
    return all;
}

} // namespace

TEST(Docs, LinkToFilesThatAreThere)
{
    Faults all;
    for (const SourceFile& document : documents()) {
        EXPECT_FALSE(document.text.empty()) << document.path;
        const Faults faults = deadLinks(document);
        all.insert(all.end(), faults.begin(), faults.end());
    }
    EXPECT_TRUE(all.empty()) << toText(all);
}

TEST(Docs, ShowEveryPicture)
{
    std::set<std::string> shown;
    for (const SourceFile& document : documents())
        for (std::string& file : linkedFiles(document.path, document.text))
            shown.insert(std::move(file));
    size_t pictures = 0;
    for (const SourceFile& file : filesBelow("docs/images"))
        if (file.path.ends_with(".svg") || file.path.ends_with(".png")) {
            ++pictures;
            EXPECT_EQ(shown.count(file.path), 1U) << file.path << " is shown nowhere";
        }
    EXPECT_GT(pictures, 0U);
}

TEST(DocsRules, ALinkToNothingIsFound)
{
    EXPECT_EQ(deadLinks({"docs/a.md", "See [it](nothing.md)."}).size(), 1U);
    EXPECT_EQ(deadLinks({"docs/a.md", "![a picture](images/nothing.svg)\n[both](../docs) [two](../README)"}).size(),
              2U);
    EXPECT_TRUE(deadLinks({"README.md", "[a](docs/security.md#what) [b](https://example.com/x) [c](#here)"}).empty());
    EXPECT_TRUE(deadLinks({"docs/decisions/x.md", "[a](../security.md)"}).empty());
}
