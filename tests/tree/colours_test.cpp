// Holds that windows take their colours from the palette of the desktop, which may be dark.
#include "tree/source_tree.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <string_view>

namespace {

// The colours of its rows say what a call does; the table makes them readable on a dark ground.
constexpr std::string_view kCallRecords = "ui/src/frm_realtime_cdr.cpp";

bool namesAColour(std::string_view code)
{
    static const std::regex colour(R"(QColor[({]|Qt::(dark)?(white|black|red|green|blue|cyan|magenta|yellow|gray)\b)"
                                   R"(|Qt::(dark|light)[RGBCMY][a-z]+\b|#[0-9a-fA-F]{3}|color:|background)");
    return std::regex_search(code.begin(), code.end(), colour);
}

Faults ownColours(const SourceFile& file)
{
    Faults faults;
    const std::string code = withoutComments(file.text);
    size_t number = 0;
    for (const std::string_view line : linesOf(code)) {
        ++number;
        if (!trimmed(line).starts_with("#include") && namesAColour(line))
            faults.push_back(file.path + ':' + std::to_string(number) + " has a colour of its own");
    }
    return faults;
}

TEST(Colours, OfWindowsComeFromThePalette)
{
    Faults all;
    size_t looked = 0;
    for (const SourceFile& file : filesBelow("ui/src")) {
        if (!isCpp(file.path) || file.path == kCallRecords)
            continue;
        ++looked;
        const Faults faults = ownColours(file);
        all.insert(all.end(), faults.begin(), faults.end());
    }
    EXPECT_GT(looked, 100u);
    EXPECT_TRUE(all.empty()) << toText(all);
}

TEST(Colours, OfACodeLineAreFound)
{
    for (const char* const line : {"QColor(1, 2, 3)", "QColor{Qt::red}", "return Qt::darkGray;", "Qt::white",
                                   "setStyleSheet(\"color: red\")", "\"QLabel{background:#fff}\"", "\"#ffcc00\""})
        EXPECT_EQ(ownColours({"ui/src/a.cpp", line}).size(), 1u) << line;
    for (const char* const line : {"const QColor& colour", "QColor::fromHsl(1, 2, 3)", "// Qt::red", "Qt::RightToLeft",
                                   "palette.color(QPalette::Text)", "#include \"common/a.h\""})
        EXPECT_TRUE(ownColours({"ui/src/a.cpp", line}).empty()) << line;
}

} // namespace
