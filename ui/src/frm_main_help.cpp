// The main window's help items.
#include "cachedb2/http.h"
#include "cachedb2/switch_variants.h"
#include "common/qstr.h"
#include "frm_main.h"
#include "log_view.h"
#include "product.h"

#include <QDesktopServices>
#include <QUrl>

namespace {

constexpr int kChinese = 1; // language code
constexpr const char* kDownloadPage = "https://www.parlovex.test/download/";

} // namespace

void Cfrm_main::actHelpCheckVersion()
{
    displayLog("Checking version online ...");
    // Shown before the wait, which may last as long as a silent server is waited for.
    _logView->showWaiting();
    _logView->viewport()->repaint();
    Cbcl_tmp_str reply;
    if (DbHttpGet(gVarGuiVersionUrl, reply) != 0)
        return;
    if (BclStrToU32(QString::fromUtf8(reply.c_str())) <= kBuild) {
        displayLog("There are no new updates available.");
        return;
    }
    Cbcl_tmp_str line;
    line.set("Please visit '%s' to get the latest version.", kDownloadPage);
    displayLog(line.c_str());
}

void Cfrm_main::actHelpWebsite()
{
    const Cbcl_tmp_str& address = gVarGuiLang == kChinese ? _specialStrings.websiteChinese : _specialStrings.website;
    QDesktopServices::openUrl(QUrl(QString::fromUtf8(address.c_str())));
}
