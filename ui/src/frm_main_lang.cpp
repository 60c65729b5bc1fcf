// The main window's language items and the texts that lie veiled in the program.
#include "bcl2/cipher.h"
#include "cachedb2/switch_variants.h"
#include "common/lang_res.h"
#include "common/warning_box.h"
#include "frm_main.h"

#include <QAction>

namespace {

constexpr auto kWebsite = BclEncipher("https://www.parlovex.test/");
constexpr auto kWebsiteChinese = BclEncipher("https://www.parlovex.test/cn/");
constexpr auto kSupport = BclEncipher("https://www.parlovex.test/support/");
constexpr auto kSupportChinese = BclEncipher("https://www.parlovex.test/cn/support/");

constexpr unsigned kLastReviewedLang = 1; // English and Chinese; the other files are translations in need of readers

} // namespace

void Cfrm_main::initSpecialStrings()
{
    BclGetEncryptString(kWebsite.data(), kWebsite.size(), _specialStrings.website);
    BclGetEncryptString(kWebsiteChinese.data(), kWebsiteChinese.size(), _specialStrings.websiteChinese);
    BclGetEncryptString(kSupport.data(), kSupport.size(), _specialStrings.support);
    BclGetEncryptString(kSupportChinese.data(), kSupportChinese.size(), _specialStrings.supportChinese);
}

void Cfrm_main::actLangSelect()
{
    const auto* const action = qobject_cast<QAction*>(sender());
    if (action == nullptr)
        return;
    const int code = action->data().toInt();
    if (code == gVarGuiLang)
        return;
    gVarGuiLang = code;
    if (static_cast<unsigned>(code) > kLastReviewedLang)
        promptResourceRefine(code);
    DbSetUILanguage(static_cast<unsigned>(code));
    PlxWarningBox(GetLangItem(71, QString()), GetLangItem(13, QString()));
}

void Cfrm_main::promptResourceRefine(int code)
{
    Cbcl_tmp_str path;
    GetLangureResFile(code, &path);
    Cbcl_tmp_str place;
    place.set("The language resource file is '%s'", path.c_str());
    displayLog(" ");
    displayLog(place.c_str());
    displayLog("It is a INI format text file.");
    displayLog("That will be very appreciated if you can help us to refine it.");
    displayLog("Thanks.");
}
