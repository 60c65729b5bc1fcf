// The main window.
#pragma once

#include "bcl2/tmp_str.h"
#include "page_window.h"

#include <QHash>
#include <QMainWindow>
#include <QSystemTrayIcon>

class Capp;
class Clog_view;
class QAction;
class QMenu;
struct MenuItem;

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

    void actSaveLog();
    void actClearLog();

    // Each shows the page behind its menu item, made at the first use and kept. They give the result of a page that is
    // a modal dialog, else 0.
    int actShowSystemTable() { return openWindow(&Cfrm_main::actShowSystemTable); }
    int actShowTimeCondition() { return openWindow(&Cfrm_main::actShowTimeCondition); }
    int actShowLocalUsers() { return openWindow(&Cfrm_main::actShowLocalUsers); }
    int actShowExtLines() { return openWindow(&Cfrm_main::actShowExtLines); }
    int actShowPeerServers() { return openWindow(&Cfrm_main::actShowPeerServers); }
    int actShowRtGroup() { return openWindow(&Cfrm_main::actShowRtGroup); }
    int actShowRoute() { return openWindow(&Cfrm_main::actShowRoute); }
    int actShowTransitions() { return openWindow(&Cfrm_main::actShowTransitions); }
    int actShowAnaClrNbr() { return openWindow(&Cfrm_main::actShowAnaClrNbr); }
    int actShowAnaCldNbr() { return openWindow(&Cfrm_main::actShowAnaCldNbr); }
    int actShowRefineClrNbr() { return openWindow(&Cfrm_main::actShowRefineClrNbr); }
    int actShowRefineCldNbr() { return openWindow(&Cfrm_main::actShowRefineCldNbr); }
    int actShowClrRewriting() { return openWindow(&Cfrm_main::actShowClrRewriting); }
    int actShowFrmIVRTrigger() { return openWindow(&Cfrm_main::actShowFrmIVRTrigger); }
    int actShowFrmHGInfo() { return openWindow(&Cfrm_main::actShowFrmHGInfo); }
    int actShowFrmHGOper() { return openWindow(&Cfrm_main::actShowFrmHGOper); }
    int actShowFrmHGDect() { return openWindow(&Cfrm_main::actShowFrmHGDect); }
    int actShowFrmRGUser() { return openWindow(&Cfrm_main::actShowFrmRGUser); }
    int actShowFrmRGDetection() { return openWindow(&Cfrm_main::actShowFrmRGDetection); }
    int actShowFrmSpeedDial() { return openWindow(&Cfrm_main::actShowFrmSpeedDial); }
    int actShowFrmCallRecord() { return openWindow(&Cfrm_main::actShowFrmCallRecord); }
    int actShowFrmIPBWList() { return openWindow(&Cfrm_main::actShowFrmIPBWList); }
    int actShowFrmLuaTrigger() { return openWindow(&Cfrm_main::actShowFrmLuaTrigger); }
    int actShowSysBlackList() { return openWindow(&Cfrm_main::actShowSysBlackList); }
    int actShowFrmCCInfo() { return openWindow(&Cfrm_main::actShowFrmCCInfo); }
    int actShowFrmPrepaidRate() { return openWindow(&Cfrm_main::actShowFrmPrepaidRate); }
    int actShowFrmCCFeeMatrix() { return openWindow(&Cfrm_main::actShowFrmCCFeeMatrix); }
    int actShowFrmDisaAccount() { return openWindow(&Cfrm_main::actShowFrmDisaAccount); }
    int actShowFrmDisaCallerId() { return openWindow(&Cfrm_main::actShowFrmDisaCallerId); }
    int actShowFrmSubBalance() { return openWindow(&Cfrm_main::actShowFrmSubBalance); }
    int actShowFrmCallerPrepaid() { return openWindow(&Cfrm_main::actShowFrmCallerPrepaid); }
    int actShowCallshop() { return openWindow(&Cfrm_main::actShowCallshop); }
    int actShowCallBack() { return openWindow(&Cfrm_main::actShowCallBack); }
    int actShowEvtChannelAuth() { return openWindow(&Cfrm_main::actShowEvtChannelAuth); }
    int actShowRTCDR() { return openWindow(&Cfrm_main::actShowRTCDR); }

    // These write to the log view, most of them through the server.
    void actShowCallStatus();
    void actShowHGInfo();
    void actReleaseCalls();
    void actTraceOnIPAddr();
    void actTraceOnCallerNbr();
    void actTraceOnCalledNbr();
    void actStopTrace();

    void actShowHistoryCDR();
    void actHelpCheckVersion();
    void actHelpWebsite();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

    // Whether a hidden window can come back: a tray icon exists and the desktop has a place for it now.
    [[nodiscard]] virtual bool isTrayUsable() const;
    // Whether the remote store is connected now.
    [[nodiscard]] virtual bool isRemoteDbActive() const;

private:
    using Opener = int (Cfrm_main::*)();

    void initPrivateValues();
    void initSpecialStrings();
    void initOtherWindows();
    void updateCaption();
    void setupUi();
    void setupMenuBar();
    void setupMenuFile();
    void setupMenuData();
    void setupMenuDialPlan();
    void setupMenuServices();
    void setupMenuMaintain();
    void setupMenuWindows();
    void setupMenuHelp();
    void setupMenuDebug();
    // The menu of this item of the bar, with all that the table has in it.
    void setupMenu(int item);
    QAction* addMenuItem(const MenuItem& item, QMenu* menu);
    void setupToolbar();
    void connectMenuItems();
    void setupLogWin();
    void setupTrayIcon();
    void establishSignalAndSlots();
    void showWindowCenter();

    void StartSIPServer();
    void createPreloadWindows();

    int openWindow(Opener opener);
    // The window behind the item of this slot, made now if it was not yet.
    QWidget* windowBehind(Opener opener);

    void askAndTrace(const char* title, const char* prompt, void (Capp::*trace)(const char*));
    // Lines that were published so far are in the log view afterwards.
    void takeLogLines();

    void promptResourceRefine(int code);

    QSystemTrayIcon* _trayIcon = nullptr;
    Capp* _app = nullptr;
    Clog_view* _logView = nullptr;
    QHash<const MenuItem*, QAction*> _actions; // by the row of the table of menus
    Cpage_windows _windows{this};
    SpecialStrings _specialStrings;
};
