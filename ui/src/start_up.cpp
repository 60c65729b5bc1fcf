#include "start_up.h"

#include "cachedb2/switch_variants.h"
#include "common/lang_res.h"
#include "common/mirrored_style.h"
#include "common/translations.h"

#include <QApplication>
#include <QIcon>
#include <QTextCodec>

void PrepareProcess()
{
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // The fallback would let the main window, which refuses to close, stop the desktop's log-out.
    QGuiApplication::setFallbackSessionManagementEnabled(false);
}

unsigned InitSwitchVariants()
{
    Cbcl_tmp_str path;
    DbGetSwitchVarFile(path);
    return DbInitSwitchVariants(path.c_str());
}

void PrepareApplication()
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QApplication::setApplicationName(QStringLiteral("Parlovex"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":images/plx_64x64.png")));
    QApplication::setQuitOnLastWindowClosed(false); // the last window hides in the tray
    InitSwitchVariants();
    InitTranslations(gVarGuiLang); // before the direction of the layout, which the toolkit takes from its translation
    QApplication::setLayoutDirection(static_cast<Qt::LayoutDirection>(gVarGuiLayoutDir));
    if (QApplication::layoutDirection() == Qt::RightToLeft) {
        auto* const style = new Cmirrored_style;
        style->setParent(qApp);
        QApplication::setStyle(style);
    }
    InitLangureRes(gVarGuiLang);
}
