// The menus and the toolbar of the main window, and what their items open.
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/sys_tbl.h"
#include "callserver/app.h"
#include "common/lang_res.h"
#include "dlg_callback.h"
#include "frm_peer_servers.h"
#include "frm_time_cond.h"
#include "log_view.h"
#include "support/console_fixture.h"
#include "support/maria_server.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QIcon>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QTextEdit>
#include <QToolBar>

#include <algorithm>
#include <functional>
#include <map>
#include <vector>

namespace {

enum Depth { InBar, InMenu, InSubmenu };

struct Row {
    Depth depth;
    int text = 0;               // language item; 0: a separator
    const char* slot = nullptr; // null: a menu, or the end of the program
    const char* icon = nullptr;
    const char* shortcut = nullptr;
};

const std::vector<Row> kRows = {
    {InBar, 1},
    {InMenu, 3},
    {InSubmenu, 5, "actLangSelect"},
    {InSubmenu, 4, "actLangSelect"},
    {InMenu},
    {InMenu, 14, "actSaveLog", nullptr, "Ctrl+S"},
    {InMenu, 269, "actClearLog", nullptr, "Del"},
    {InMenu},
    {InMenu, 2},
    {InBar, 15},
    {InMenu, 16, "actShowSystemTable", ":/images/system.png"},
    {InMenu, 425, "actShowTimeCondition"},
    {InMenu},
    {InMenu, 17, "actShowLocalUsers", ":/images/users.png"},
    {InMenu, 18, "actShowExtLines", ":/images/extline.png"},
    {InMenu, 19, "actShowPeerServers"},
    {InMenu, 395},
    {InSubmenu, 397, "actShowRtGroup"},
    {InSubmenu, 398, "actShowRoute"},
    {InBar, 20},
    {InMenu, 21, "actShowTransitions"},
    {InMenu},
    {InMenu, 23, "actShowAnaClrNbr"},
    {InMenu, 22, "actShowAnaCldNbr", ":/images/road_sign.png"},
    {InMenu},
    {InMenu, 318, "actShowRefineClrNbr"},
    {InMenu, 406, "actShowRefineCldNbr"},
    {InBar, 24},
    {InMenu, 26, "actShowClrRewriting"},
    {InMenu, 348, "actShowFrmIVRTrigger"},
    {InMenu, 285},
    {InSubmenu, 277, "actShowFrmHGInfo"},
    {InSubmenu, 289, "actShowFrmHGOper"},
    {InSubmenu, 293, "actShowFrmHGDect"},
    {InMenu, 457},
    {InSubmenu, 459, "actShowFrmRGUser"},
    {InSubmenu, 293, "actShowFrmRGDetection"},
    {InMenu, 352, "actShowFrmSpeedDial"},
    {InMenu},
    {InMenu, 392, "actShowFrmCallRecord"},
    {InMenu, 444, "actShowFrmIPBWList"},
    {InMenu, 435, "actShowFrmLuaTrigger"},
    {InMenu, 25, "actShowSysBlackList"},
    {InMenu},
    {InMenu, 33},
    {InSubmenu, 34, "actShowFrmCCInfo"},
    {InSubmenu},
    {InSubmenu, 30, "actShowFrmPrepaidRate"},
    {InSubmenu, 35, "actShowFrmCCFeeMatrix"},
    {InMenu, 298},
    {InSubmenu, 299, "actShowFrmDisaAccount"},
    {InSubmenu, 300, "actShowFrmDisaCallerId"},
    {InMenu, 28},
    {InSubmenu, 31, "actShowFrmSubBalance"},
    {InSubmenu},
    {InSubmenu, 30, "actShowFrmPrepaidRate"},
    {InSubmenu, 32, "actShowFrmCallerPrepaid"},
    {InMenu},
    {InMenu, 29, "actShowCallshop"},
    {InMenu, 27, "actShowCallBack"},
    {InBar, 36},
    {InMenu, 415, "actShowEvtChannelAuth"},
    {InMenu},
    {InMenu, 271, "actShowCallStatus"},
    {InMenu, 286, "actShowHGInfo"},
    {InMenu, 456},
    {InSubmenu, 385, "actReleaseCalls"},
    {InMenu},
    {InMenu, 270, "actTraceOnIPAddr"},
    {InMenu, 296, "actTraceOnCallerNbr"},
    {InMenu, 297, "actTraceOnCalledNbr"},
    {InMenu, 46, "actStopTrace"},
    {InBar, 47},
    {InMenu, 48, "actShowRTCDR"},
    {InMenu, 49, "actShowHistoryCDR"},
    {InBar, 50},
    {InMenu, 449, "actHelpCheckVersion"},
    {InMenu, 51, "actHelpWebsite"},
};

// The frames that these open, once connected.
const std::map<QString, QString> kRemoteSlots = {
    {"actShowFrmDisaAccount", "Cfrm_disa_account"},     {"actShowFrmDisaCallerId", "Cfrm_disa_caller_id"},
    {"actShowFrmPrepaidRate", "Cfrm_prepaid_rate"},     {"actShowFrmSubBalance", "Cfrm_sub_balance"},
    {"actShowFrmCallerPrepaid", "Cfrm_caller_prepaid"}, {"actShowFrmCCFeeMatrix", "Cfrm_callingcard_fee_matrix"},
    {"actShowFrmCCInfo", "Cfrm_callingcard_info"}};
// These show no page.
const QStringList kOtherSlots = {"actLangSelect",       "actSaveLog",      "actClearLog",       "actShowCallStatus",
                                 "actShowHGInfo",       "actReleaseCalls", "actTraceOnIPAddr",  "actTraceOnCallerNbr",
                                 "actTraceOnCalledNbr", "actStopTrace",    "actShowHistoryCDR", "actHelpCheckVersion",
                                 "actHelpWebsite"};
// These run a dialog, with this window title.
const std::map<QString, int> kDialogSlots = {{"actShowSystemTable", 57}, {"actShowCallBack", 234}};

// A console whose remote store the test connects and disconnects.
class WindowWithRemoteStore : public Cfrm_main {
public:
    WindowWithRemoteStore() : Cfrm_main(nullptr) {}
    bool isActive = false;

protected:
    [[nodiscard]] bool isRemoteDbActive() const override { return isActive; }
};

class MainMenu : public ConsoleFixture {
protected:
    // What lies in the menus, by the rows of the table above; separators are there too.
    QList<QAction*> actions() const
    {
        QList<QAction*> all;
        collect(window->menuBar()->actions(), all);
        return all;
    }
    // Actions of the items that this slot belongs to.
    QList<QAction*> actionsOf(const QString& slot) const
    {
        const QList<QAction*> all = actions();
        QList<QAction*> found;
        for (size_t row = 0; row < kRows.size(); ++row) {
            if (slot == QLatin1String(kRows[row].slot))
                found.append(all.at(static_cast<int>(row)));
        }
        return found;
    }
    WindowWithRemoteStore& startWithRemoteStore()
    {
        keepServerLocal();
        buildWindow([] { return std::make_unique<WindowWithRemoteStore>(); }).show();
        return static_cast<WindowWithRemoteStore&>(*window);
    }
    // In the settings with which the console starts.
    static void useRemote(const MariaServer& server)
    {
        Cdb_fac_mgr store;
        Cdb_sys_data system = *store.system().get();
        BclCopyStr(system.dbAddr, "127.0.0.1");
        system.dbPort = server.port();
        BclCopyStr(system.dbUser, MariaServer::kUser);
        BclCopyStr(system.dbPassword, MariaServer::kPassword);
        BclCopyStr(system.dbName, MariaServer::kDatabase);
        ASSERT_EQ(store.DbSetSysData(system), kDbOk);
    }
    // What stands in the log behind this line, without what the server says of itself meanwhile.
    QStringList linesBehind(int count) const
    {
        return logTexts().mid(count).filter(QRegularExpression("^(WARN|Please|$)"));
    }
    // Chooses an item of a remote page: the lines by which it says that there is no connection.
    QStringList warningOf(QAction* action) const
    {
        const int before = logLines();
        action->trigger();
        window->findChild<Clog_view*>()->showWaiting();
        return logView().toPlainText().split('\n').mid(before).filter(QRegularExpression("^(WARN|Please)|The page"));
    }
    void expectWarningAtEachUse(QAction* action) const
    {
        const QStringList warning = {"WARN: remote database isn't connected.",
                                     "Please check the Database tab of the system settings."};
        ASSERT_EQ(GetLangItem(273), warning[1]);
        const QStringList windows = visibleWindows();
        EXPECT_EQ(warningOf(action), warning) << "without time stamps: " << action->text().toStdString();
        EXPECT_EQ(warningOf(action), warning) << action->text().toStdString();
        EXPECT_EQ(visibleWindows(), windows);
    }
    // It is closed again.
    void expectToOpen(QAction* action, const QString& frame) const
    {
        QStringList windows = visibleWindows();
        windows.append(frame);
        windows.sort();
        EXPECT_EQ(warningOf(action), QStringList()) << frame.toStdString();
        EXPECT_EQ(visibleWindows(), windows);
        for (QDialog* const opened : window->findChildren<QDialog*>())
            opened->hide();
    }
    void forEachRemoteItem(const std::function<void(QAction*, const QString& frame)>& use) const
    {
        int items = 0;
        for (const auto& [slot, frame] : kRemoteSlots) {
            for (QAction* const action : actionsOf(slot)) {
                ++items;
                use(action, frame);
            }
        }
        EXPECT_EQ(items, 8);
    }
    static QStringList visibleWindows()
    {
        QStringList names;
        for (const QWidget* const each : QApplication::topLevelWidgets()) {
            if (each->isVisible())
                names.append(each->metaObject()->className());
        }
        names.sort();
        return names;
    }

private:
    static void collect(const QList<QAction*>& level, QList<QAction*>& all)
    {
        for (QAction* const action : level) {
            all.append(action);
            if (action->menu() != nullptr)
                collect(action->menu()->actions(), all);
        }
    }
};

TEST_F(MainMenu, HoldsEveryItemInItsPlace)
{
    buildWindow();
    const QList<QAction*> all = actions();
    ASSERT_EQ(static_cast<size_t>(all.size()), kRows.size());
    QMenu* inBar = nullptr;
    QMenu* inMenu = nullptr;
    for (size_t at = 0; at < kRows.size(); ++at) {
        const Row& row = kRows[at];
        QAction* const action = all.at(static_cast<int>(at));
        const QWidget* const parent = row.depth == InBar    ? static_cast<QWidget*>(window->menuBar())
                                      : row.depth == InMenu ? inBar
                                                            : inMenu;
        EXPECT_TRUE(action->associatedWidgets().contains(const_cast<QWidget*>(parent))) << at;
        EXPECT_EQ(action->isSeparator(), row.text == 0) << at;
        EXPECT_EQ(action->text(), GetLangItem(row.text)) << at;
        EXPECT_EQ(action->text().isEmpty(), row.text == 0) << at;
        EXPECT_EQ(action->shortcut().toString(), QString(row.shortcut)) << at;
        EXPECT_EQ(action->icon().pixmap(32, 32).toImage(), QIcon(QString(row.icon)).pixmap(32, 32).toImage()) << at;
        EXPECT_TRUE(action->isEnabled() && action->isVisible()) << at;
        if (row.depth == InBar)
            inBar = action->menu();
        else if (row.depth == InMenu)
            inMenu = action->menu();
    }
}

TEST_F(MainMenu, NoItemHasMoreThanItsLanguageInItsData)
{
    buildWindow();
    EXPECT_EQ(actionsOf("actLangSelect")[0]->data().toInt(), 1);
    EXPECT_EQ(actionsOf("actLangSelect")[1]->data().toInt(), 0);
}

TEST_F(MainMenu, EverySlotExistsByItsName)
{
    buildWindow();
    for (const Row& row : kRows) {
        if (row.slot != nullptr) {
            EXPECT_GE(window->metaObject()->indexOfSlot((QByteArray(row.slot) + "()").constData()), 0) << row.slot;
        }
    }
}

TEST_F(MainMenu, ThePrepaidRatesAreTwoItemsOfOneSlot)
{
    buildWindow();
    const QList<QAction*> both = actionsOf("actShowFrmPrepaidRate");
    ASSERT_EQ(both.size(), 2);
    EXPECT_NE(both[0], both[1]);
    EXPECT_EQ(both[0]->text(), both[1]->text());
}

TEST_F(MainMenu, WithoutLanguageFileTextsAreEmptyAndTheRestStays)
{
    for (const QString& name : QDir().entryList({"res.*"}))
        ASSERT_TRUE(QFile::remove(name));
    buildWindow();
    const QList<QAction*> all = actions();
    ASSERT_EQ(static_cast<size_t>(all.size()), kRows.size());
    for (size_t at = 0; at < kRows.size(); ++at) {
        const QAction* const action = all.at(static_cast<int>(at));
        EXPECT_EQ(action->text(), QString());
        EXPECT_EQ(action->icon().isNull(), kRows[at].icon == nullptr);
        EXPECT_EQ(action->shortcut().toString(), QString(kRows[at].shortcut));
    }
    EXPECT_EQ(window->findChild<QToolBar*>()->actions().size(), 6);
}

TEST_F(MainMenu, TheToolbarSharesItsActionsWithTheMenus)
{
    buildWindow();
    ASSERT_EQ(window->findChildren<QToolBar*>().size(), 1);
    const auto* const toolbar = window->findChild<QToolBar*>();
    EXPECT_FALSE(toolbar->isMovable());
    EXPECT_EQ(toolbar->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
    const QList<QAction*> shown = toolbar->actions();
    ASSERT_EQ(shown.size(), 6);
    EXPECT_TRUE(shown[1]->isSeparator() && shown[4]->isSeparator());
    EXPECT_EQ(shown[0], actionsOf("actShowSystemTable").first());
    EXPECT_EQ(shown[2], actionsOf("actShowLocalUsers").first());
    EXPECT_EQ(shown[3], actionsOf("actShowExtLines").first());
    EXPECT_EQ(shown[5], actionsOf("actShowAnaCldNbr").first());
}

TEST_F(MainMenu, APageIsOneWindowHoweverOftenItIsChosen)
{
    startConsole();
    EXPECT_EQ(window->findChild<Cfrm_peer_servers*>(), nullptr) << "made at its first use";
    const auto choose = [this] { actionsOf("actShowPeerServers").first()->trigger(); };
    choose();
    const QList<Cfrm_peer_servers*> frames = window->findChildren<Cfrm_peer_servers*>();
    ASSERT_EQ(frames.size(), 1);
    EXPECT_TRUE(frames[0]->isVisible());
    choose();
    frames[0]->close();
    EXPECT_FALSE(frames[0]->isVisible());
    choose();
    EXPECT_EQ(window->findChildren<Cfrm_peer_servers*>(), frames);
    EXPECT_TRUE(frames[0]->isVisible());
    EXPECT_EQ(frames[0]->parent(), window.get());
}

TEST_F(MainMenu, TimeConditionsOpen)
{
    startConsole();
    actionsOf("actShowTimeCondition").first()->trigger();
    EXPECT_TRUE(window->findChild<Cfrm_time_cond*>()->isVisible());
}

// A slot called by its name does what its items do.
TEST_F(MainMenu, EveryPageOpens)
{
    startWithRemoteStore().isActive = true;
    const QStringList windows = visibleWindows();
    for (const Row& row : kRows) {
        const QString slot = row.slot;
        if (slot.isEmpty() || kOtherSlots.contains(slot) || kDialogSlots.count(slot) != 0)
            continue;
        for (QAction* const action : actionsOf(slot)) {
            const int before = logLines();
            action->trigger();
            EXPECT_EQ(visibleWindows().size(), windows.size() + 1) << row.slot;
            ASSERT_TRUE(QMetaObject::invokeMethod(window.get(), row.slot)) << row.slot;
            EXPECT_EQ(linesBehind(before), QStringList()) << row.slot;
            EXPECT_EQ(visibleWindows().size(), windows.size() + 1) << row.slot;
            for (QWidget* const each : QApplication::topLevelWidgets()) {
                if (each != window.get())
                    each->hide();
            }
        }
    }
}

TEST_F(MainMenu, TheCallbackSettingsAreReadAnewAtEachUse)
{
    startConsole();
    const auto run = [this](const char* shown, const char* entered) {
        boxes.expectEditor(GetLangItem(234), [=](QDialog& dialog) {
            auto* const number = dialog.findChild<QLineEdit*>();
            EXPECT_EQ(number->text(), shown);
            number->setText(entered);
            pressOk(dialog);
        });
        actionsOf("actShowCallBack").first()->trigger();
    };
    run("", "8000");
    run("8000", "8001");
    run("8001", "");
    EXPECT_EQ(window->findChildren<Cdlg_callback*>().size(), 1);
}

TEST_F(MainMenu, TheSystemSettingsAreOneDialogThatIsRunAtEachUse)
{
    startConsole();
    QList<QDialog*> run;
    const auto expectDialog = [&](void (*leave)(QDialog&)) {
        boxes.expectEditor(GetLangItem(57), [&run, leave](QDialog& shown) {
            EXPECT_TRUE(shown.isModal());
            run.append(&shown);
            leave(shown);
        });
    };
    expectDialog(pressCancel);
    actionsOf("actShowSystemTable").first()->trigger();
    int result = -1;
    expectDialog(pressOk);
    ASSERT_TRUE(QMetaObject::invokeMethod(window.get(), "actShowSystemTable", Q_RETURN_ARG(int, result)));
    EXPECT_EQ(result, QDialog::Accepted);
    ASSERT_EQ(run.size(), 2);
    EXPECT_EQ(run[0], run[1]);
    EXPECT_EQ(run[0]->parent(), window.get());
}

TEST_F(MainMenu, RemotePagesAskForTheConnectionAtEveryUse)
{
    WindowWithRemoteStore& main = startWithRemoteStore();
    forEachRemoteItem([&](QAction* action, const QString& frame) {
        expectWarningAtEachUse(action);
        main.isActive = true;
        expectToOpen(action, frame);
        main.isActive = false;
        expectWarningAtEachUse(action); // also for a frame that was open
    });
}

TEST_F(MainMenu, RemotePagesOfAServerThatGoesAndComesBackFollowIt)
{
    MariaServer server;
    server.start();
    keepServerLocal();
    useRemote(server);
    buildWindow().show();
    const auto waitForRemote = [this](bool isActive) {
        return waitUntil([&] { return (window->GetApp()->GetFacMgr()->IsRemoteDbActive() != 0) == isActive; });
    };
    const auto open = [this](QAction* action, const QString& frame) { expectToOpen(action, frame); };
    ASSERT_TRUE(waitForRemote(true));
    forEachRemoteItem(open);
    server.stop();
    ASSERT_TRUE(waitForRemote(false));
    forEachRemoteItem([this](QAction* action, const QString&) { expectWarningAtEachUse(action); });
    server.start();
    ASSERT_TRUE(waitForRemote(true));
    forEachRemoteItem(open);
}

TEST_F(MainMenu, NoOtherPageAsksForTheRemoteStore)
{
    startWithRemoteStore().isActive = false;
    for (const Row& row : kRows) {
        const QString slot = row.slot;
        if (slot.isEmpty() || kOtherSlots.contains(slot) || kRemoteSlots.count(slot) != 0)
            continue;
        if (const auto dialog = kDialogSlots.find(slot); dialog != kDialogSlots.end())
            boxes.expectEditor(GetLangItem(dialog->second), [](QDialog& shown) { pressCancel(shown); });
        const int before = logLines();
        actionsOf(slot).first()->trigger();
        EXPECT_EQ(linesBehind(before).filter("WARN"), QStringList()) << row.slot;
    }
}

} // namespace
