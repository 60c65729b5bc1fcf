// The main window.
#pragma once

#include "bcl2/tmp_str.h"

#include <QMainWindow>
#include <QSystemTrayIcon>

class Capp;
class Clog_view;

// Shows the server log, carries the menus, owns every other window and starts the call server when it is first shown.
// It is never closed by its user, only hidden. GUI thread; displayLog and spfDisplayLog may run on any thread.
class Cfrm_main : public QMainWindow {
    Q_OBJECT

public:
    // The maker's addresses; the Chinese ones belong to language code 1.
    struct SpecialStrings {
        Cbcl_tmp_str website;
        Cbcl_tmp_str websiteChinese;
        Cbcl_tmp_str support;
        Cbcl_tmp_str supportChinese;
    };

    explicit Cfrm_main(QMainWindow* parent);

    // Null until the first show; never deleted, since the server's threads use it until the process ends.
    [[nodiscard]] Capp* GetApp() const { return _app; }
    [[nodiscard]] const SpecialStrings& specialStrings() const { return _specialStrings; }

    // Shows the text (UTF-8, null is empty) behind the time of day. Any thread.
    void displayLog(const char* text);
    // The server's log events; context is the main window, data1 the text. Runs on the publishing thread.
    static void spfDisplayLog(void* context, void* data1, void* data2);

signals:
    void sigServerLogInfo(const QString& line);
    void sigRestoreWindow();

public slots:
    void slotRestoreWindow();
    void slotTrayIconActivated(QSystemTrayIcon::ActivationReason reason);
    void actLangSelect();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

    // Whether a hidden window can come back: a tray icon exists and the desktop has a place for it now.
    [[nodiscard]] virtual bool isTrayUsable() const;

private:
    void initPrivateValues();
    void initSpecialStrings();
    void initOtherWindows();
    void updateCaption();
    void setupUi();
    void setupMenuBar();
    void setupMenuFile();
    void setupLogWin();
    void setupTrayIcon();
    void establishSignalAndSlots();
    void showWindowCenter();

    void StartSIPServer();
    void createPreloadWindows();

    void promptResourceRefine(int code);

    QSystemTrayIcon* _trayIcon = nullptr;
    Capp* _app = nullptr;
    Clog_view* _logView = nullptr;
    QAction* _actLangFirst = nullptr;
    QAction* _actLangSecond = nullptr;
    QAction* _actExit = nullptr;
    SpecialStrings _specialStrings;
};
