#include "common/lang_res.h"

#include "bcl2/ini_file.h"
#include "bcl2/process.h"
#include "bcl2/text.h"
#include "common/qstr.h"

#include <QAction>
#include <QMenu>
#include <QWidget>

#include <algorithm>
#include <array>
#include <string>

QStringList gStrPlxRes;

namespace {

constexpr size_t kItemBuffer = 1500; // bytes: 1499 of text, far above the longest message

struct LangFile {
    int code;
    const char* name;
    const char* locale;
};
// 6 is the second code of Chinese systems; codes that are missing here have no file of their own.
constexpr std::array<LangFile, 6> kLangFiles = {{
    {1, "res.chinese", "zh_CN"},
    {6, "res.chinese", "zh_CN"},
    {3, "res.spanish", "es"},
    {5, "res.japanese", "ja"},
    {7, "res.german", "de"},
    {9, "res.russian", "ru"},
}};
constexpr LangFile kDefaultFile = {0, "res.english", "en"};

const LangFile& fileOf(int code)
{
    const auto* const file =
        std::find_if(kLangFiles.begin(), kLangFiles.end(), [code](const LangFile& each) { return each.code == code; });
    return file == kLangFiles.end() ? kDefaultFile : *file;
}

// Numbers beyond int are no item either: -1 gives the default as they do.
QString itemOf(unsigned id, const char* def)
{
    const int number = id > static_cast<unsigned>(kLastLangItem) ? -1 : static_cast<int>(id);
    return GetLangItem(number, QString::fromUtf8(def));
}

} // namespace

unsigned GetLangureResFile(int code, Cbcl_tmp_str* path)
{
    BclGetCurrDir(*path);
    path->appendText(fileOf(code).name);
    return 0;
}

QString GetLangLocale(int code)
{
    return QString::fromLatin1(fileOf(code).locale);
}

unsigned InitLangureRes(int code)
{
    if (!gStrPlxRes.isEmpty())
        return 0;
    Cbcl_tmp_str path;
    GetLangureResFile(code, &path);
    const Cbcl_ini_file file(path.c_str());
    gStrPlxRes.reserve(kLastLangItem);
    char text[kItemBuffer];
    for (int item = 1; item <= kLastLangItem; ++item) {
        std::fill(std::begin(text), std::end(text), '\0');
        file.ReadStr("text", BclIntToStr(item).c_str(), text, "");
        gStrPlxRes.append(QString::fromUtf8(text));
    }
    return 0;
}

QString GetLangItem(int id, QString def)
{
    if (id < 1 || id > kLastLangItem || id > gStrPlxRes.size())
        return def;
    return gStrPlxRes.at(id - 1);
}

void GetLangItem(unsigned id, QAction* action, const char* def)
{
    action->setText(itemOf(id, def));
}

void GetLangItem(unsigned id, QMenu* menu, const char* def)
{
    menu->setTitle(itemOf(id, def));
}

void GetLangItem(unsigned id, QWidget* widget, const char* def)
{
    widget->setWindowTitle(itemOf(id, def));
}

void GetLangItem(unsigned id, Cbcl_tmp_str* out, const char* def)
{
    BclQStringToTmpStr(itemOf(id, def), out);
}
