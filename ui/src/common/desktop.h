// Size of the desktop that windows measure themselves by.
#pragma once

#include <QSize>

// Full geometry (task bars included) of the first screen; an invalid size and 0 when there is no screen. GUI thread.
QSize WinDesktopSize();
int WinDesktopWidth();
int WinDesktopHeight();
