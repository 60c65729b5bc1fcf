// Holds the include rules of the tree. Each rule is a function of a path and a text, so that a second test can feed it
// a text that breaks it. Everything under platform/, ui/ and apps/ is looked at; headers of tests/ only for their
// guard.
#include "tree/source_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

// From the bottom up: a file includes headers of its own layer and of those before it.
constexpr std::array<std::string_view, 5> kLayers = {"bcl2", "dbproxy2", "cachedb2", "callserver", "ui"};

struct Include {
    size_t line;
    std::string target; // what stands between the quotes or angle brackets
    bool isQuoted;
};

std::vector<Include> includesOf(std::string_view text)
{
    std::vector<Include> includes;
    const std::string code = withoutComments(text);
    size_t number = 0;
    for (std::string_view line : linesOf(code)) {
        ++number;
        line = trimmed(line);
        if (!line.starts_with('#')) {
            continue;
        }
        line = trimmed(line.substr(1));
        if (!line.starts_with("include")) {
            continue;
        }
        line = trimmed(line.substr(std::string_view("include").size()));
        if (line.empty() || (line.front() != '"' && line.front() != '<')) {
            continue;
        }
        const bool isQuoted = line.front() == '"';
        const size_t end = line.find(isQuoted ? '"' : '>', 1);
        if (end != std::string_view::npos) {
            includes.push_back({number, std::string(line.substr(1, end - 1)), isQuoted});
        }
    }
    return includes;
}

using Verdict = std::optional<std::string>; // why the include is refused

Faults refusedIncludes(std::string_view path, std::string_view text, const std::function<Verdict(const Include&)>& rule)
{
    Faults faults;
    for (const Include& include : includesOf(text)) {
        if (const Verdict reason = rule(include)) {
            faults.push_back(std::string(path) + ":" + std::to_string(include.line) + ": " + include.target + ": " +
                             *reason);
        }
    }
    return faults;
}

std::string_view firstPart(std::string_view path)
{
    return path.substr(0, path.find('/'));
}

// The folder that relative includes of the file may not leave: its library, or "ui", "apps".
std::string homeOf(std::string_view path)
{
    const std::string_view top = firstPart(path);
    if (top != "platform") {
        return std::string(top) + "/";
    }
    const std::string_view library = firstPart(path.substr(std::min(path.size(), top.size() + 1)));
    return std::string(top) + "/" + std::string(library) + "/";
}

std::string besideOf(std::string_view path, std::string_view target)
{
    return (std::filesystem::path(path).parent_path() / target).lexically_normal().generic_string();
}

std::optional<size_t> layerOf(std::string_view name)
{
    const auto found = std::find(kLayers.begin(), kLayers.end(), name);
    return found == kLayers.end() ? std::nullopt : std::optional<size_t>(found - kLayers.begin());
}

// The layer of a file; small programs in apps/ stand where the console stands, on top of the platform.
std::optional<size_t> layerOfFile(std::string_view path)
{
    const std::string home = homeOf(path);
    if (home == "apps/") {
        return layerOf("ui");
    }
    return layerOf(std::filesystem::path(home).parent_path().filename().string());
}

Faults upwardIncludes(std::string_view path, std::string_view text)
{
    return refusedIncludes(path, text, [&](const Include& include) -> Verdict {
        if (std::string_view(include.target).find("..") != std::string_view::npos &&
            !besideOf(path, include.target).starts_with(homeOf(path))) {
            return "reaches into another library past its include folder";
        }
        const std::optional<size_t> target = layerOf(firstPart(include.target));
        const std::optional<size_t> own = layerOfFile(path);
        if (!own) {
            return target ? Verdict("the file belongs to no known layer") : std::nullopt;
        }
        if (target && *target > *own) {
            return "is a layer above " + std::string(kLayers[*own]);
        }
        if (path.starts_with("apps/") && firstPart(include.target) == "ui") {
            return "the programs of apps/ do without the console";
        }
        return std::nullopt;
    });
}

bool isQtHeader(const Include& include)
{
    const std::string_view target = include.target;
    const std::string_view name = target.substr(target.rfind('/') + 1); // npos + 1 is 0
    if (!target.starts_with('Q') && !(name.starts_with('q') && name.ends_with(".h"))) {
        return false;
    }
    // "queue.h", "quality.h", "quota.h" are English words; no Qt class begins with QUe, QUa or QUo.
    return !(include.isQuoted && (name.starts_with("que") || name.starts_with("qua") || name.starts_with("quo")));
}

Faults qtBelowConsole(std::string_view path, std::string_view text)
{
    if (!path.starts_with("platform/") && !path.starts_with("apps/")) {
        return {};
    }
    return refusedIncludes(path, text, [](const Include& include) -> Verdict {
        return isQtHeader(include) ? Verdict("Qt stays in ui/") : std::nullopt;
    });
}

bool isPublicHeader(std::string_view path)
{
    const std::string home = homeOf(path);
    return path.starts_with("platform/") && path.substr(std::min(path.size(), home.size())).starts_with("include/");
}

Faults engineInPublicHeader(std::string_view path, std::string_view text)
{
    if (!isPublicHeader(path)) {
        return {};
    }
    return refusedIncludes(path, text, [](const Include& include) -> Verdict {
        for (const std::string_view engine : {"sqlite3", "mysql", "mariadb", "sofia-sip/"}) {
            if (include.target.starts_with(engine)) {
                return "public headers show no type of an engine or stack";
            }
        }
        return std::nullopt;
    });
}

Faults sipStackOutsideSip(std::string_view path, std::string_view text)
{
    if (path.starts_with("platform/callserver/src/sip/")) {
        return {};
    }
    return refusedIncludes(path, text, [](const Include& include) -> Verdict {
        return include.target.starts_with("sofia-sip/")
                   ? Verdict("only platform/callserver/src/sip knows the SIP stack")
                   : std::nullopt;
    });
}

Faults sqliteOutsideStore(std::string_view path, std::string_view text)
{
    for (const std::string_view home :
         {"platform/cachedb2/src/", "platform/dbproxy2/src/", "platform/dbproxy2/sqlite/"}) {
        if (path.starts_with(home)) {
            return {};
        }
    }
    return refusedIncludes(path, text, [](const Include& include) -> Verdict {
        return include.target.starts_with("sqlite3") || firstPart(include.target) == "dbsqlite"
                   ? Verdict("only the two database libraries know SQLite")
                   : std::nullopt;
    });
}

// `known` are the paths of the headers that exist: "x.h" may be a file of common/ or one beside it.
Faults pagesInCommon(std::string_view path, std::string_view text, const std::set<std::string>& known)
{
    constexpr std::string_view kCommon = "ui/src/common/";
    if (!path.starts_with(kCommon)) {
        return {};
    }
    return refusedIncludes(path, text, [&](const Include& include) -> Verdict {
        // In the order in which the compiler looks: beside the file, then in the include folders.
        for (const std::string& candidate :
             {besideOf(path, include.target), "ui/src/" + include.target, "ui/" + include.target, include.target}) {
            const std::string found = std::filesystem::path(candidate).lexically_normal().generic_string();
            if (known.contains(found)) {
                return found.starts_with("ui/src/") && !found.starts_with(kCommon)
                           ? Verdict("common/ knows no page and no window")
                           : std::nullopt;
            }
        }
        return std::nullopt;
    });
}

Faults missingGuard(std::string_view path, std::string_view text)
{
    const std::string code = withoutComments(text);
    for (const std::string_view line : linesOf(code)) {
        if (trimmed(line) == "#pragma once") {
            return {};
        }
    }
    return isHeader(path) ? Faults{std::string(path) + ": no #pragma once"} : Faults{};
}

std::vector<SourceFile> cppFiles(std::initializer_list<std::string_view> folders)
{
    std::vector<SourceFile> files;
    for (const std::string_view folder : folders) {
        for (SourceFile& file : filesBelow(folder)) {
            if (isCpp(file.path)) {
                files.push_back(std::move(file));
            }
        }
    }
    return files;
}

using Rule = std::function<Faults(std::string_view path, std::string_view text)>;

Faults overTree(const Rule& rule)
{
    Faults all;
    bool isPlatformSeen = false;
    for (const SourceFile& file : cppFiles({"platform", "ui", "apps"})) {
        isPlatformSeen = isPlatformSeen || file.path.starts_with("platform/");
        const Faults faults = rule(file.path, file.text);
        all.insert(all.end(), faults.begin(), faults.end());
    }
    if (!isPlatformSeen) {
        all.emplace_back("no source found under platform/");
    }
    return all;
}

// The tree as it stands keeps the rule.
void expectHeld(const Rule& rule)
{
    const Faults faults = overTree(rule);
    EXPECT_TRUE(faults.empty()) << toText(faults);
}

void expectRefused(const Rule& rule, std::string_view path, std::string_view text)
{
    EXPECT_EQ(rule(path, text).size(), 1u) << path << "\n" << text;
}

void expectAllowed(const Rule& rule, std::string_view path, std::string_view text)
{
    const Faults faults = rule(path, text);
    EXPECT_TRUE(faults.empty()) << text << "\n" << toText(faults);
}

} // namespace

TEST(IncludeRules, IncludesGoDownTheLayersOnly)
{
    expectHeld(upwardIncludes);
}

TEST(IncludeRules, AnUpwardIncludeIsRefused)
{
    expectRefused(upwardIncludes, "platform/bcl2/src/text.cpp", "#include \"cachedb2/store.h\"\n");
    expectRefused(upwardIncludes, "platform/bcl2/include/bcl2/text.h", "  #  include <dbproxy2/proxy.h>\n");
    expectRefused(upwardIncludes, "platform/dbproxy2/src/a.cpp", "#include \"cachedb2/store.h\"");
    expectRefused(upwardIncludes, "platform/cachedb2/src/a.cpp", "#include \"callserver/app.h\" // why\n");
    expectRefused(upwardIncludes, "platform/callserver/src/a.cpp", "#include \"ui/src/main_window.h\"\n");
    expectRefused(upwardIncludes, "platform/callserver/src/a.cpp", "#include \"../../../ui/src/main_window.h\"\n");
    expectRefused(upwardIncludes, "ui/src/a.cpp", "#include \"../../platform/cachedb2/src/schema.h\"\n");
    expectRefused(upwardIncludes, "apps/histrec/main.cpp", "#include \"ui/src/main_window.h\"\n");
    expectRefused(upwardIncludes, "platform/newlib/src/a.cpp", "#include \"bcl2/text.h\"\n");

    expectAllowed(upwardIncludes, "platform/callserver/src/calls/a.cpp",
                  "#include \"../sip/stack.h\"\n#include \"bcl2/text.h\"\n#include \"callserver/app.h\"\n");
    expectAllowed(upwardIncludes, "ui/src/a.cpp", "#include \"callserver/app.h\"\n#include \"cachedb2/store.h\"\n");
    expectAllowed(upwardIncludes, "apps/histrec/main.cpp", "#include \"callserver/app.h\"\n");
    expectAllowed(upwardIncludes, "platform/bcl2/src/a.cpp", "/* #include \"cachedb2/store.h\" */\n");
}

TEST(IncludeRules, QtStaysInTheConsole)
{
    expectHeld(qtBelowConsole);
}

TEST(IncludeRules, AQtHeaderBelowTheConsoleIsRefused)
{
    expectRefused(qtBelowConsole, "platform/bcl2/src/text.cpp", "#include <QString>\n");
    expectRefused(qtBelowConsole, "platform/callserver/src/a.cpp", "#include <QtCore/qstring.h>\n");
    expectRefused(qtBelowConsole, "platform/callserver/src/a.cpp", "#include <qobject.h>\n");
    expectRefused(qtBelowConsole, "apps/histrec/main.cpp", "#include \"qapplication.h\"\n");

    expectAllowed(qtBelowConsole, "platform/callserver/src/a.cpp", "#include <queue>\n#include \"services/queue.h\"\n");
    expectAllowed(qtBelowConsole, "ui/src/main.cpp", "#include <QApplication>\n");
}

TEST(IncludeRules, PublicHeadersShowNoEngine)
{
    expectHeld(engineInPublicHeader);
}

TEST(IncludeRules, AnEngineInAPublicHeaderIsRefused)
{
    const std::string_view path = "platform/dbproxy2/include/dbproxy2/proxy.h";
    expectRefused(engineInPublicHeader, path, "#include <sqlite3.h>\n");
    expectRefused(engineInPublicHeader, path, "#include <mysql/mysql.h>\n");
    expectRefused(engineInPublicHeader, path, "#include <mariadb/mysql.h>\n");
    expectRefused(engineInPublicHeader, "platform/callserver/include/callserver/app.h",
                  "#include \"sofia-sip/nta.h\"\n");

    expectAllowed(engineInPublicHeader, "platform/dbproxy2/src/maria.cpp", "#include <mariadb/mysql.h>\n");
}

TEST(IncludeRules, OnlyTheSipFolderKnowsTheStack)
{
    expectHeld(sipStackOutsideSip);
}

TEST(IncludeRules, TheStackOutsideTheSipFolderIsRefused)
{
    const std::string_view text = "#include <sofia-sip/nta.h>\n";
    expectRefused(sipStackOutsideSip, "platform/callserver/src/registrar/bindings.cpp", text);
    expectRefused(sipStackOutsideSip, "platform/callserver/src/sip.cpp", text);
    expectRefused(sipStackOutsideSip, "ui/src/main.cpp", text);

    expectAllowed(sipStackOutsideSip, "platform/callserver/src/sip/stack.cpp", text);
}

TEST(IncludeRules, OnlyTheDatabaseLibrariesKnowSqlite)
{
    expectHeld(sqliteOutsideStore);
}

TEST(IncludeRules, SqliteOutsideTheDatabaseLibrariesIsRefused)
{
    const std::string_view text = "#include <sqlite3.h>\n";
    expectRefused(sqliteOutsideStore, "platform/callserver/src/app.cpp", text);
    expectRefused(sqliteOutsideStore, "platform/callserver/src/app.cpp", "#include \"dbsqlite/connection.h\"\n");
    expectRefused(sqliteOutsideStore, "platform/cachedb2/include/cachedb2/store.h", text);
    expectRefused(sqliteOutsideStore, "ui/src/main.cpp", text);

    expectAllowed(sqliteOutsideStore, "platform/cachedb2/src/store.cpp", text);
    expectAllowed(sqliteOutsideStore, "platform/dbproxy2/src/embedded.cpp", text);
    expectAllowed(sqliteOutsideStore, "platform/dbproxy2/sqlite/src/connection.cpp", text);
}

TEST(IncludeRules, CommonKnowsNoPage)
{
    std::set<std::string> known;
    for (const SourceFile& file : cppFiles({"ui/src"})) {
        known.insert(file.path);
    }
    expectHeld([&](std::string_view path, std::string_view text) { return pagesInCommon(path, text, known); });
}

TEST(IncludeRules, APageInCommonIsRefused)
{
    const std::set<std::string> known = {"ui/src/users.h", "ui/src/pages/lines.h", "ui/src/common/lang.h",
                                         "ui/src/lang.h"};
    const Rule rule = [&](std::string_view path, std::string_view text) { return pagesInCommon(path, text, known); };
    expectRefused(rule, "ui/src/common/frame.cpp", "#include \"users.h\"\n");
    expectRefused(rule, "ui/src/common/frame.h", "#include \"../users.h\"\n");
    expectRefused(rule, "ui/src/common/frame.cpp", "#include \"pages/lines.h\"\n");
    expectRefused(rule, "ui/src/common/frame.cpp", "#include \"src/pages/lines.h\"\n");
    expectRefused(rule, "ui/src/common/frame.cpp", "#include \"ui/src/pages/lines.h\"\n");

    expectAllowed(rule, "ui/src/common/frame.cpp",
                  "#include \"common/lang.h\"\n#include \"lang.h\"\n#include \"bcl2/text.h\"\n#include <QWidget>\n");
    expectAllowed(rule, "ui/src/main_window.cpp", "#include \"users.h\"\n");
}

TEST(IncludeRules, EveryHeaderIsGuarded)
{
    expectHeld(missingGuard);
    for (const SourceFile& file : cppFiles({"tests"})) {
        const Faults faults = missingGuard(file.path, file.text);
        EXPECT_TRUE(faults.empty()) << toText(faults);
    }
}

TEST(IncludeRules, AHeaderWithoutGuardIsRefused)
{
    expectRefused(missingGuard, "platform/bcl2/include/bcl2/text.h", "void f();\n");
    expectRefused(missingGuard, "tests/support/home.h", "// #pragma once\n");

    expectAllowed(missingGuard, "ui/src/a.h", "// why\n#pragma once\nvoid f();\n");
    expectAllowed(missingGuard, "ui/src/a.cpp", "void f();\n");
}
