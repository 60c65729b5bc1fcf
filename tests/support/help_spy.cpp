#include "support/help_spy.h"

#include <QDesktopServices>
#include <QDir>

HelpSpy::HelpSpy()
{
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "open");
}

HelpSpy::~HelpSpy()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
}

QStringList HelpSpy::takeOpened()
{
    QStringList addresses;
    for (const QUrl& url : _opened) {
        const QString place = url.hasFragment() ? QLatin1Char('#') + url.fragment() : QString();
        addresses.append(QDir::current().relativeFilePath(url.toLocalFile()) + place);
    }
    _opened.clear();
    return addresses;
}
