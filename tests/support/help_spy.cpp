#include "support/help_spy.h"

#include <QDesktopServices>
#include <QDir>

#include <array>

namespace {

constexpr std::array<const char*, 2> kSchemes = {"file", "https"};

} // namespace

HelpSpy::HelpSpy()
{
    for (const char* const scheme : kSchemes)
        QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "open");
}

HelpSpy::~HelpSpy()
{
    for (const char* const scheme : kSchemes)
        QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
}

QStringList HelpSpy::takeOpened()
{
    QStringList addresses;
    for (const QUrl& url : _opened) {
        if (!url.isLocalFile()) {
            addresses.append(url.toString());
            continue;
        }
        const QString place = url.hasFragment() ? QLatin1Char('#') + url.fragment() : QString();
        addresses.append(QDir::current().relativeFilePath(url.toLocalFile()) + place);
    }
    _opened.clear();
    return addresses;
}
