#include "common/desktop.h"

#include <QGuiApplication>
#include <QScreen>

QSize WinDesktopSize()
{
    const QScreen* screen = QGuiApplication::screens().value(0);
    return screen == nullptr ? QSize() : screen->geometry().size();
}

int WinDesktopWidth()
{
    return qMax(0, WinDesktopSize().width());
}

int WinDesktopHeight()
{
    return qMax(0, WinDesktopSize().height());
}
