// Holds the language files to each other and to the sources. Each rule is a function of a text, so that a second test
// can feed it a text that breaks it.
#include "tree/source_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <locale>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

constexpr int kLastItem = 499;         // the list of texts has this many entries
constexpr size_t kMaxTextBytes = 1499; // the reader's buffer without its end mark
constexpr std::string_view kEnglish = "ui/lang/res.english";
// Items that show together in one menu, so that each needs a letter of its own.
constexpr std::array<int, 7> kMenuBar = {1, 15, 20, 24, 36, 47, 50};
constexpr std::array<int, 4> kFileMenu = {3, 14, 269, 2};
// Behind the items of a translation: what the program says in English of its own accord.
constexpr std::string_view kMessages = "[messages]";
// A language is named in itself, so that whoever is lost in a foreign one finds back.
constexpr std::array<int, 2> kOwnNames = {4, 5};

using Items = std::map<int, std::string>;
using Messages = std::map<std::string, std::string, std::less<>>; // by their English texts

// 0 when it is no decimal number of 1 to kLastItem without leading zeros.
int itemNumber(std::string_view key)
{
    int number = 0;
    const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
    const bool isWhole = error == std::errc() && end == key.data() + key.size();
    return isWhole && number >= 1 && number <= kLastItem && key.front() != '0' ? number : 0;
}

// The length of the UTF-8 character at the start of `text`, 0 when there is none (RFC 3629: shortest form, no
// surrogates).
size_t utf8Length(std::string_view text)
{
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
    const auto tail = [&](size_t i) { return (byte(i) & 0xC0u) == 0x80u; };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return tail(1) ? 2 : 0;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        const bool isShortest = first != 0xE0 || byte(1) >= 0xA0;
        const bool isSurrogate = first == 0xED && byte(1) >= 0xA0;
        return tail(1) && tail(2) && isShortest && !isSurrogate ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool isShortest = first != 0xF0 || byte(1) >= 0x90;
        const bool isInRange = first != 0xF4 || byte(1) < 0x90;
        return tail(1) && tail(2) && tail(3) && isShortest && isInRange ? 4 : 0;
    }
    return 0;
}

Faults byteFaults(std::string_view content)
{
    Faults faults;
    if (content.starts_with("\xEF\xBB\xBF")) {
        faults.emplace_back("begins with a byte order mark");
    }
    for (size_t at = 0; at < content.size();) {
        const size_t length = utf8Length(content.substr(at));
        if (length == 0) {
            faults.push_back("byte " + std::to_string(at) + " is not UTF-8");
        } else if (content[at] == '\0' || content[at] == '\r') {
            faults.push_back("byte " + std::to_string(at) + " is a NUL or CR");
        }
        at += std::max<size_t>(length, 1);
    }
    return faults;
}

struct Parsed {
    Items items;
    Messages messages;
    Faults faults; // of the form: sections, keys, their order, lengths and blanks of the texts
};

bool isText(std::string_view text)
{
    return !text.empty() && text.size() <= kMaxTextBytes && trimmed(text) == text;
}

void parseMessage(std::string_view line, const std::string& where, Parsed& parsed)
{
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos || !isText(line.substr(0, equals)) || !isText(line.substr(equals + 1))) {
        parsed.faults.push_back(where + "no message and its text, parted by an equals sign without blanks");
    } else if (!parsed.messages.emplace(line.substr(0, equals), line.substr(equals + 1)).second) {
        parsed.faults.push_back(where + "the message stands there twice");
    }
}

Parsed parse(std::string_view content)
{
    Parsed parsed;
    bool isSectionSeen = false;
    bool areMessagesSeen = false;
    int last = 0;
    size_t number = 0;
    for (const std::string_view line : linesOf(content)) {
        const std::string where = "line " + std::to_string(++number) + ": ";
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line == "[text]" && !isSectionSeen) {
            isSectionSeen = true;
            continue;
        }
        if (line == kMessages && isSectionSeen && !areMessagesSeen) {
            areMessagesSeen = true;
            continue;
        }
        if (areMessagesSeen) {
            parseMessage(line, where, parsed);
            continue;
        }
        const size_t equals = line.find('=');
        if (!isSectionSeen || equals == std::string_view::npos) {
            parsed.faults.push_back(where + "neither comment, key nor the section [text] before all keys");
            continue;
        }
        const int item = itemNumber(line.substr(0, equals));
        const std::string_view text = line.substr(equals + 1);
        if (item == 0) {
            parsed.faults.push_back(where + "the key is no number of 1 to 499 without leading zeros");
            continue;
        }
        if (item <= last) {
            parsed.faults.push_back(where + "the key is not above the one before");
        }
        if (!isText(text)) {
            parsed.faults.push_back(where + "the text is empty, over 1499 bytes or has blanks at an end");
        }
        last = item;
        parsed.items.emplace(item, text);
    }
    return parsed;
}

// The printf conversions in order, each as it stands ("%5.2f"); "%%" is none.
std::vector<std::string> placeholders(std::string_view text)
{
    std::vector<std::string> found;
    for (size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at)) {
        size_t end = text.find_first_not_of("0123456789.+-# *hlLqjzt$", at + 1);
        end = end == std::string_view::npos ? text.size() : end + 1;
        if (text.substr(at, end - at) != "%%") {
            found.emplace_back(text.substr(at, end - at));
        }
        at = end;
    }
    return found;
}

// The UTF-8 character at the start of `text`; bytes that are none stand for themselves.
char32_t firstCharacter(std::string_view text)
{
    const size_t length = utf8Length(text);
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    char32_t character = length < 2 ? byte(0) : byte(0) & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        character = character << 6 | (byte(i) & 0x3Fu);
    }
    return character;
}

char32_t lowerCase(char32_t character)
{
    static const std::locale unicode("C.UTF-8"); // part of the C library, whatever languages are installed
    return static_cast<char32_t>(std::tolower(static_cast<wchar_t>(character), unicode));
}

// The access keys in lower case; "&&" shows as one '&' and is none. One before a blank or at the end is given as ' '.
std::vector<char32_t> accessKeys(std::string_view text)
{
    std::vector<char32_t> keys;
    for (size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at)) {
        const char32_t key = at + 1 < text.size() ? firstCharacter(text.substr(at + 1)) : U' ';
        if (key != U'&') {
            keys.push_back(lowerCase(key));
        }
        at = std::min(at + 2, text.size());
    }
    return keys;
}

Faults accessKeyFaults(const Items& items)
{
    Faults faults;
    for (const auto& [item, text] : items) {
        const std::vector<char32_t> keys = accessKeys(text);
        if (keys.size() > 1 || (keys.size() == 1 && keys.front() == U' ')) {
            faults.push_back(std::to_string(item) + ": more than one access key, or one before a blank: " + text);
        }
    }
    return faults;
}

// Two items of one menu with the same letter.
Faults menuFaults(const Items& items, const int* first, const int* last)
{
    Faults faults;
    std::set<char32_t> taken;
    for (const int* item = first; item != last; ++item) {
        const auto found = items.find(*item);
        for (const char32_t key : accessKeys(found == items.end() ? std::string() : found->second)) {
            if (!taken.insert(key).second) {
                faults.push_back(std::to_string(*item) + ": the access key is taken: " + found->second);
            }
        }
    }
    return faults;
}

// What a translation must share with the English file.
Faults faultsAgainst(const Items& english, const Items& items)
{
    Faults faults;
    for (const auto& [item, text] : items) {
        if (!english.contains(item)) {
            faults.push_back(std::to_string(item) + ": not in the English file");
        }
    }
    for (const auto& [item, text] : english) {
        const std::string name = std::to_string(item) + ": ";
        const auto found = items.find(item);
        if (found == items.end()) {
            faults.push_back(name + "missing");
            continue;
        }
        if (placeholders(text) != placeholders(found->second)) {
            faults.push_back(name + "other placeholders than in English: " + found->second);
        }
        if (accessKeys(text).empty() != accessKeys(found->second).empty()) {
            faults.push_back(name + "access key here or in English only: " + found->second);
        }
        if (std::find(kOwnNames.begin(), kOwnNames.end(), item) != kOwnNames.end() && text != found->second) {
            faults.push_back(name + "the name of a language is the same in every file: " + found->second);
        }
    }
    return faults;
}

// The literal numbers that the source looks up.
std::set<int> usedItems(std::string_view source)
{
    constexpr std::string_view kCall = "GetLangItem";
    std::set<int> used;
    const std::string code = withoutComments(source);
    const auto skipBlanks = [&](size_t at) { return std::min(code.find_first_not_of(" \t\n", at), code.size()); };
    for (size_t at = code.find(kCall); at != std::string::npos; at = code.find(kCall, at + 1)) {
        const bool isTail = at > 0 && (isalnum(static_cast<unsigned char>(code[at - 1])) || code[at - 1] == '_');
        size_t next = skipBlanks(at + kCall.size());
        if (isTail || next == code.size() || code[next] != '(') {
            continue;
        }
        next = skipBlanks(next + 1);
        int number = 0;
        const auto [end, error] = std::from_chars(code.data() + next, code.data() + code.size(), number);
        size_t behind = static_cast<size_t>(end - code.data());
        if (behind < code.size() && (code[behind] == 'u' || code[behind] == 'U')) {
            ++behind;
        }
        behind = skipBlanks(behind);
        if (error == std::errc() && behind < code.size() && (code[behind] == ',' || code[behind] == ')')) {
            used.insert(number);
        }
    }
    return used;
}

// Items that the sources use and the file lacks; also a fault: sources that use none at all.
Faults sourceFaults(const std::vector<SourceFile>& sources, const Items& items)
{
    Faults faults;
    bool isAnyUsed = false;
    for (const SourceFile& source : sources) {
        if (!isCpp(source.path)) {
            continue;
        }
        for (const int item : usedItems(source.text)) {
            isAnyUsed = true;
            if (!items.contains(item)) {
                faults.push_back(source.path + ": uses item " + std::to_string(item) + ", which has no text");
            }
        }
    }
    if (!isAnyUsed) {
        faults.emplace_back("no source looks up any item");
    }
    return faults;
}

// English that is shown to the user where the language has a text for it: literals that read as a title or a sentence.
// Lines of the log stay English.
std::set<std::string> messagesOf(std::string_view source)
{
    std::set<std::string> messages;
    const std::string code = withoutComments(source);
    for (const std::string_view line : linesOf(code)) {
        constexpr std::string_view kNotShown[] = {"displayLog(", ".set(", "append(", "QFont ", "GetLangItem("};
        const auto isIn = [line](std::string_view call) { return line.find(call) != std::string_view::npos; };
        if (std::any_of(std::begin(kNotShown), std::end(kNotShown), isIn) || line.starts_with("#")) {
            continue;
        }
        for (size_t at = line.find('"'); at != std::string_view::npos; at = line.find('"', at + 1)) {
            const size_t end = line.find('"', at + 1);
            const std::string_view text = trimmed(line.substr(at + 1, end - at - 1));
            const bool isBegin = !text.empty() && (isupper(static_cast<unsigned char>(text[0])) || text[0] == '\'');
            if (isBegin && text.find(' ') != std::string_view::npos) {
                messages.emplace(text);
            }
            at = end;
            if (at == std::string_view::npos) {
                break;
            }
        }
    }
    return messages;
}

std::set<std::string> messagesOf(const std::vector<SourceFile>& sources)
{
    std::set<std::string> messages;
    for (const SourceFile& source : sources) {
        if (isCpp(source.path)) {
            messages.merge(messagesOf(source.text));
        }
    }
    return messages;
}

// Messages without a text, and texts of messages that nobody shows.
Faults messageFaults(const std::vector<SourceFile>& sources, const Messages& messages)
{
    Faults faults;
    for (const std::string& english : messagesOf(sources)) {
        if (!messages.contains(english)) {
            faults.push_back("no text for: " + english);
        }
    }
    for (const auto& [english, text] : messages) {
        const auto holds = [&english = english](const SourceFile& source) {
            return source.text.find('"' + english) != std::string::npos;
        };
        if (std::none_of(sources.begin(), sources.end(), holds)) {
            faults.push_back("no source has: " + english);
        }
        if (placeholders(english) != placeholders(text)) {
            faults.push_back("other placeholders than in English: " + text);
        }
    }
    return faults;
}

std::vector<SourceFile> langFiles()
{
    std::vector<SourceFile> files = filesBelow("ui/lang");
    std::erase_if(files, [](const SourceFile& file) { return !file.path.starts_with("ui/lang/res."); });
    return files;
}

Items englishItems()
{
    for (const SourceFile& file : langFiles()) {
        if (file.path == kEnglish) {
            return parse(file.text).items;
        }
    }
    return {};
}

Faults fileBarMenuFaults(const Items& items)
{
    Faults faults = menuFaults(items, kMenuBar.data(), kMenuBar.data() + kMenuBar.size());
    const Faults inFile = menuFaults(items, kFileMenu.data(), kFileMenu.data() + kFileMenu.size());
    faults.insert(faults.end(), inFile.begin(), inFile.end());
    return faults;
}

// The file's own name leads each failure.
void expectNone(std::string_view path, const Faults& faults)
{
    EXPECT_TRUE(faults.empty()) << path << "\n" << toText(faults);
}

} // namespace

TEST(LangFiles, EveryLanguageIsThere)
{
    std::set<std::string> paths;
    for (const SourceFile& file : langFiles()) {
        paths.insert(file.path);
    }
    for (const std::string_view language : {"chinese", "english", "german", "japanese", "russian", "spanish"}) {
        EXPECT_TRUE(paths.contains("ui/lang/res." + std::string(language))) << language;
    }
    EXPECT_FALSE(englishItems().empty());
}

TEST(LangFiles, AreUtf8WithoutMarkNulAndCarriageReturn)
{
    for (const SourceFile& file : langFiles()) {
        expectNone(file.path, byteFaults(file.text));
    }
}

TEST(LangFiles, HaveAscendingKeysWithTextsThatFit)
{
    for (const SourceFile& file : langFiles()) {
        expectNone(file.path, parse(file.text).faults);
    }
}

TEST(LangFiles, HaveTheItemsPlaceholdersAndAccessKeysOfEnglish)
{
    for (const SourceFile& file : langFiles()) {
        expectNone(file.path, faultsAgainst(englishItems(), parse(file.text).items));
    }
}

TEST(LangFiles, HaveAccessKeysThatWork)
{
    for (const SourceFile& file : langFiles()) {
        const Items items = parse(file.text).items;
        expectNone(file.path, accessKeyFaults(items));
        expectNone(file.path, fileBarMenuFaults(items));
        for (const int menu : kMenuBar) {
            const auto found = items.find(menu);
            EXPECT_TRUE(found != items.end() && accessKeys(found->second).size() == 1) << file.path << ": " << menu;
        }
    }
}

TEST(LangFiles, HaveATextForEveryItemThatTheSourcesUse)
{
    const std::vector<SourceFile> sources = filesBelow("ui/src");
    for (const SourceFile& file : langFiles()) {
        expectNone(file.path, sourceFaults(sources, parse(file.text).items));
    }
}

TEST(LangFiles, HaveATextForEveryMessageOfTheSources)
{
    const std::vector<SourceFile> sources = filesBelow("ui/src");
    EXPECT_GT(messagesOf(sources).size(), 40u);
    for (const SourceFile& file : langFiles()) {
        const Messages messages = parse(file.text).messages;
        if (file.path == kEnglish) {
            EXPECT_TRUE(messages.empty()) << "they stand in the sources";
        } else {
            expectNone(file.path, messageFaults(sources, messages));
        }
    }
}

TEST(LangRules, BadBytesAreRefused)
{
    EXPECT_TRUE(byteFaults("1=\xE4\xB8\xAD \xC3\xA4 \xF0\x9F\x93\x9E\n").empty());
    for (const std::string_view bad : {"\xEF\xBB\xBF[text]", "1=a\r\n", "1=\xC3", "1=\xC0\xAF", "1=\xED\xA0\x80",
                                       "1=\xE4\xB8", "1=\x80", "1=\xF4\x90\x80\x80", "1=\xE0\x80\x80"}) {
        EXPECT_FALSE(byteFaults(bad).empty()) << bad;
    }
    EXPECT_FALSE(byteFaults(std::string_view("1=a\0b", 5)).empty());
}

TEST(LangRules, BadFormIsRefused)
{
    const Parsed good = parse("; what it is\n[text]\n1=a = b\n499=" + std::string(kMaxTextBytes, 'x') + "\n");
    EXPECT_TRUE(good.faults.empty()) << toText(good.faults);
    EXPECT_EQ(good.items.size(), 2u);
    EXPECT_EQ(good.items.at(1), "a = b");

    for (const std::string& lines :
         {std::string("2=a\n1=b"), std::string("1=a\n1=b"), std::string("01=a"), std::string("0=a"),
          std::string("500=a"), std::string("+1=a"), std::string("1 =a"), std::string("=a"), std::string("1="),
          std::string("1= a"), std::string("1=a "), std::string("1=a\t"), std::string("no key"),
          std::string("[text]\n1=a"), std::string("[more]\n1=a"), "1=" + std::string(kMaxTextBytes + 1, 'x')}) {
        EXPECT_FALSE(parse("[text]\n" + lines + "\n").faults.empty()) << lines;
    }
    EXPECT_FALSE(parse("1=a\n[text]\n").faults.empty());
}

TEST(LangRules, BadMessagesAreRefused)
{
    const Parsed good = parse("[text]\n1=a\n\n[messages]\nNo way.=Nein = nein\nno=nein\n");
    EXPECT_TRUE(good.faults.empty()) << toText(good.faults);
    EXPECT_EQ(good.items.size(), 1u);
    EXPECT_EQ(good.messages, (Messages{{"No way.", "Nein = nein"}, {"no", "nein"}}));
    for (const std::string lines :
         {"No way.", "=nein", "No way.=", "No way. =nein", "No way.= nein", "a=b\na=c", "[messages]", "[more]"}) {
        EXPECT_FALSE(parse("[text]\n1=a\n[messages]\n" + lines + "\n").faults.empty()) << lines;
    }
    EXPECT_FALSE(parse("[messages]\na=b\n").faults.empty());
}

TEST(LangRules, AMessageWithoutTextIsFoundInTheSources)
{
    const SourceFile source{"ui/src/a.cpp", "#include \"No way.h\"\n// \"No comment.\"\nf(\"No way. \", \"NoWay\");\n"
                                            "displayLog(\"A line.\");\ng(\"no way\", \"'No' or %s\");\n"};
    EXPECT_EQ(messagesOf(source.text), (std::set<std::string>{"No way.", "'No' or %s"}));
    EXPECT_TRUE(messageFaults({source}, {{"No way.", "Nein"}, {"'No' or %s", "%s"}, {"no way", "nein"}}).empty());
    EXPECT_EQ(messageFaults({source}, {{"No way.", "Nein"}}).size(), 1u);
    EXPECT_EQ(messageFaults({source}, {{"No way.", "Nein"}, {"'No' or %s", "%u"}, {"Never", "Nie"}}).size(), 2u);
}

TEST(LangRules, ATranslationThatLeavesEnglishIsRefused)
{
    const Items english = {{1, "&File"}, {4, "English"}, {9, "%s has %u of 100%%"}};
    EXPECT_TRUE(faultsAgainst(english, {{1, "Datei(&D)"}, {4, "English"}, {9, "100%% %s: %u"}}).empty());

    const auto faultsWith = [&](int item, const std::string& text) {
        Items items = english;
        items[item] = text;
        return faultsAgainst(english, items).size();
    };
    EXPECT_EQ(faultsWith(1, "Datei"), 1u);
    EXPECT_EQ(faultsWith(4, "Englisch"), 1u);
    EXPECT_EQ(faultsWith(4, "E&nglish"), 2u);
    EXPECT_EQ(faultsWith(9, "%u of %s"), 1u);
    EXPECT_EQ(faultsWith(9, "%s has %lu"), 1u);
    EXPECT_EQ(faultsWith(9, "%s"), 1u);
    EXPECT_EQ(faultsWith(7, "more"), 1u);
    EXPECT_EQ(faultsAgainst(english, {{1, "&F"}, {4, "English"}}).size(), 1u);
}

TEST(LangRules, AccessKeysThatDoNotWorkAreRefused)
{
    EXPECT_TRUE(accessKeyFaults({{1, "&File"}, {2, "Black && white"}, {3, "E&xit"}}).empty());
    EXPECT_EQ(accessKeyFaults({{1, "&Fi&le"}, {2, "Black & white"}, {3, "Exit&"}}).size(), 3u);

    EXPECT_TRUE(fileBarMenuFaults({{1, "&File"}, {15, "&Data"}, {3, "&Flags"}}).empty());
    EXPECT_EQ(fileBarMenuFaults({{1, "&File"}, {15, "Daten (&f)"}}).size(), 1u);
    EXPECT_EQ(fileBarMenuFaults({{2, "E&xit"}, {269, "e&Xtra"}}).size(), 1u);
    EXPECT_TRUE(fileBarMenuFaults({{1, "&Файл"}, {15, "&Данные"}}).empty()) << "other letters with the same first byte";
    EXPECT_EQ(fileBarMenuFaults({{1, "&Файл"}, {15, "Гра&фы"}, {20, "&ФЫ"}}).size(), 2u);
}

TEST(LangRules, AnItemWithoutTextIsFoundInTheSources)
{
    EXPECT_EQ(usedItems("a(GetLangItem(7, \"x\")); GetLangItem( 12u,\n act, \"\"); GetLangItem(\n 30 );"),
              (std::set<int>{7, 12, 30}));
    EXPECT_TRUE(usedItems("QString GetLangItem(int id, QString def);\n// GetLangItem(7, d)\nmyGetLangItem(8, d);\n"
                          "GetLangItem(item.id, d); GetLangItem(7 + n, d); GetLangItem(0x7, d);")
                    .empty());

    const Items items = {{7, "seven"}};
    EXPECT_TRUE(sourceFaults({{"ui/src/a.cpp", "GetLangItem(7, d);"}}, items).empty());
    const Faults faults =
        sourceFaults({{"ui/src/a.cpp", "GetLangItem(7, d);"}, {"ui/src/b.h", "GetLangItem(8u, d);"}}, items);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults.front(), "ui/src/b.h: uses item 8, which has no text");
    EXPECT_EQ(sourceFaults({{"ui/src/a.cpp", "int a;"}, {"ui/src/notes.txt", "GetLangItem(7, d)"}}, items).size(), 1u);
}
