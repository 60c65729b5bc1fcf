#include "common/help_topic.h"

#include "bcl2/process.h"
#include "cachedb2/switch_variants.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

#include <array>

namespace {

constexpr const char* kEnglishRoot = "help/";
constexpr const char* kChineseRoot = "help/cn/";
constexpr int kChinese = 1; // language code

// By topic; the same below both roots.
constexpr std::array<const char*, kHelpTopics> kPages = {
    "speed-dial/",
    "auto_attendant/index.html#multi-ivr",
    "hunting_group/",
    "direct_inward_system_access/",
    "conf_room/",
    "caller_prepaid/",
    "calling_card/",
    "call_shop/",
    "call_back/",
    "system-black-list/",
    "caller_id_rewriting/",
    "manual/index.html#config_sys",
    "manual/index.html#config_local_user",
    "manual/index.html#config_ext_line",
    "sip-trunk/",
    "manual/index.html#transition",
    "manual/index.html#dial_plan_refine_caller",
    "manual/index.html#dial_plan_refine_called",
    "manual/index.html#caller_ana",
    "manual/index.html#called_ana",
    "manual/index.html#lua_services",
    "call-recording/",
    "routing-group/",
    "event_channel/",
    "time_condition/",
    "ip_black_white/",
    "ring_group/service_guide_ring_group.htm",
};

// A page that is a folder is the index of that folder: files have no server that would say so.
QUrl addressOf(const QString& page)
{
    Cbcl_tmp_str folder;
    BclGetCurrDir(folder);
    QString file = page.section(QLatin1Char('#'), 0, 0);
    if (file.endsWith(QLatin1Char('/')))
        file += QStringLiteral("index.html");
    QUrl address = QUrl::fromLocalFile(QString::fromUtf8(folder.c_str()) + file);
    if (const QString place = page.section(QLatin1Char('#'), 1); !place.isEmpty())
        address.setFragment(place);
    return address;
}

} // namespace

void openHelpPage(const QString& page)
{
    const QUrl chinese = addressOf(QLatin1String(kChineseRoot) + page);
    // A page that is not translated yet is better read in English than not at all.
    const bool isChinese = gVarGuiLang == kChinese && QFileInfo::exists(chinese.toLocalFile());
    QDesktopServices::openUrl(isChinese ? chinese : addressOf(QLatin1String(kEnglishRoot) + page));
}

void openHelpTopic(Ehelp_topics topic)
{
    if (topic >= 0 && topic < kHelpTopics)
        openHelpPage(QLatin1String(kPages.at(topic)));
}
