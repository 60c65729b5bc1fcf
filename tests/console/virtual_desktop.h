// A virtual X display with a window manager and a tray, started and stopped by the tests that need a desktop.
#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

class VirtualDesktop {
public:
    // An odd size: half of it ends in .5 both ways, and so does the room beside a window of half its width.
    static constexpr int kWidth = 1283;
    static constexpr int kHeight = 803;
    static constexpr int kMargin = 24; // at the upper edge, where no window belongs, as under a task bar

    explicit VirtualDesktop(int width = kWidth, int height = kHeight, int margin = kMargin)
        : _width(width), _height(height), _margin(margin)
    {}
    ~VirtualDesktop();
    VirtualDesktop(const VirtualDesktop&) = delete;
    VirtualDesktop& operator=(const VirtualDesktop&) = delete;

    // Sets DISPLAY for this process. False with a reason when something is not installed or does not start.
    [[nodiscard]] bool start(QString& reason);
    // Handles events until the toolkit knows the tray and the margin. Needs the application object.
    [[nodiscard]] bool isReady() const;

private:
    bool startDisplay(QString& reason);
    bool startWindowManager(QString& reason);

    int _width; // pixels of the display, as the margin
    int _height;
    int _margin;
    QTemporaryDir _folder; // configuration of the window manager
    QProcess _display;
    QProcess _windowManager;
    QProcess _tray;
};
