#include "cachedb2/switch_variants.h"

#include "bcl2/ini_file.h"
#include "bcl2/log.h"
#include "bcl2/text.h"
#include "cachedb2/data_folder.h"
#include "store_files.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <limits>
#include <string>
#include <unistd.h>

int32_t gVarGuiLang = 0;
unsigned gVarGuiLayoutDir = 0;
unsigned gVarGuiHideSysTrayIcon = 0;
unsigned gVarGuiDisplayPassword = 0;
unsigned gVarCcfLuaServiceMatchCld = 0;
char gVarCcfEmergencyNumbers[256] = "";
unsigned gVarSipDigestSha256 = 0;
unsigned gVarSipChallengeRate = 0;
char gVarGuiVersionUrl[512] = "";

namespace {

constexpr const char* kSection = "switch";
constexpr const char* kLanguageKey = "gVarGuiLang";

struct NumberVariant {
    const char* key;
    unsigned* value;
    unsigned highest; // the lowest is 0
    unsigned def = 0;
};

constexpr std::array kNumbers = {
    NumberVariant{"gVarGuiLayoutDir", &gVarGuiLayoutDir, 2},
    NumberVariant{"gVarGuiHideSysTrayIcon", &gVarGuiHideSysTrayIcon, 1},
    NumberVariant{"gVarGuiDisplayPassword", &gVarGuiDisplayPassword, 1},
    NumberVariant{"gVarCcfLuaServiceMatchCld", &gVarCcfLuaServiceMatchCld, 1},
    NumberVariant{"gVarSipDigestSha256", &gVarSipDigestSha256, 2},
    NumberVariant{"gVarSipChallengeRate", &gVarSipChallengeRate, 1'000'000, 200},
};

bool isNumberList(std::string_view text)
{
    return text.find_first_not_of("0123456789*#+, ") == std::string_view::npos;
}

bool isWebAddress(std::string_view text)
{
    return text.starts_with("http://") || text.starts_with("https://");
}

struct TextVariant {
    const char* key;
    char* value;
    size_t size;
    const char* def;
    bool (*isValid)(std::string_view);
};

constexpr std::array kTexts = {
    TextVariant{"gVarCcfEmergencyNumbers", gVarCcfEmergencyNumbers, sizeof gVarCcfEmergencyNumbers,
                "110,112,119,911,999", &isNumberList},
    TextVariant{"gVarGuiVersionUrl", gVarGuiVersionUrl, sizeof gVarGuiVersionUrl,
                "https://www.parlovex.test/version.txt", &isWebAddress},
};

void refuse(const char* key, const std::string& value)
{
    BclLog("The switch file has \"%s\" for %s, which is not allowed; the default is used.",
           BclPrintable(value, 80).c_str(), key);
}

template <class Number>
void readNumber(const Cbcl_ini_file& file, const char* key, Number& number, Number lowest, Number highest)
{
    const std::string* text = file.find(kSection, key);
    if (text == nullptr)
        return;
    Number value = 0;
    const char* end = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), end, value);
    if (error != std::errc() || rest != end || value < lowest || value > highest)
        refuse(key, *text);
    else
        number = value;
}

} // namespace

void DbGetSwitchVarFile(Cbcl_tmp_str& path)
{
    DbGetDataFolder(path);
    path.appendText("switch.ini");
}

unsigned DbInitSwitchVariants(const char* path)
{
    gVarGuiLang = 0;
    for (const NumberVariant& variant : kNumbers)
        *variant.value = variant.def;
    for (const TextVariant& variant : kTexts)
        BclCopyText(variant.value, variant.size, variant.def, variant.size);

    const Cbcl_ini_file file(path);
    if (!file.isRead()) {
        const bool isThere = path != nullptr && access(path, F_OK) == 0;
        BclLog(isThere ? "The switch file %s cannot be read: defaults are used."
                       : "No switch file at %s: defaults are used.",
               path == nullptr ? "" : path);
        return 1;
    }
    if (!file.isWellFormed()) {
        BclLog("The switch file %s is damaged; defaults are used.", path);
        return 1;
    }
    readNumber(file, kLanguageKey, gVarGuiLang, std::numeric_limits<int32_t>::min(),
               std::numeric_limits<int32_t>::max());
    for (const NumberVariant& variant : kNumbers)
        readNumber(file, variant.key, *variant.value, 0u, variant.highest);
    for (const TextVariant& variant : kTexts) {
        const std::string* text = file.find(kSection, variant.key);
        if (text == nullptr)
            continue;
        if (text->size() >= variant.size || !variant.isValid(*text))
            refuse(variant.key, *text);
        else
            BclCopyText(variant.value, variant.size, *text, variant.size);
    }
    return 0;
}

unsigned DbSetUILanguage(unsigned code)
{
    Cbcl_tmp_str path;
    DbGetSwitchVarFile(path);
    const auto fail = [&path](const char* reason) {
        BclLog("The language cannot be stored in %s: %s.", path.c_str(), reason);
        return 1u;
    };
    if (const int error = DbMakeDataFolder(); error != 0)
        return fail(std::strerror(error));

    Cbcl_ini_file file(path.c_str());
    const bool isThere = access(path.c_str(), F_OK) == 0;
    if (isThere && !file.isRead())
        return fail("the file cannot be read, and would be lost");
    if (isThere && !file.isWellFormed()) {
        const std::string kept = keepAside(std::string(path.view()), "damaged");
        if (kept.empty())
            return fail(std::strerror(errno));
        BclLog("The switch file %s is damaged. It is kept as %s; a new one is started.", path.c_str(), kept.c_str());
        file = Cbcl_ini_file(path.c_str());
    }
    errno = 0;
    if (!file.WriteStr(kSection, kLanguageKey, BclIntToStr(static_cast<int>(code)).c_str()))
        return fail(errno == 0 ? "the file would become too large" : std::strerror(errno));
    return 0;
}
