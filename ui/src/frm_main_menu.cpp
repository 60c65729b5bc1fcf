// The main window's menus and toolbar, and what their items open.
#include "bcl2/tmp_str.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/app.h"
#include "common/accessible_names.h"
#include "common/lang_res.h"
#include "dlg_callback.h"
#include "dlg_sys_tbl.h"
#include "frm_ana_cld_nbr.h"
#include "frm_ana_clr_nbr.h"
#include "frm_call_recording.h"
#include "frm_caller_prepaid.h"
#include "frm_callingcard_fee_matrix.h"
#include "frm_callingcard_info.h"
#include "frm_callshop.h"
#include "frm_clr_rewriting.h"
#include "frm_disa_account.h"
#include "frm_disa_caller_id.h"
#include "frm_evt_channel_auth.h"
#include "frm_ext_lines.h"
#include "frm_hg_dect.h"
#include "frm_hg_info.h"
#include "frm_hg_oper.h"
#include "frm_ip_bwlist.h"
#include "frm_ivr_trigger.h"
#include "frm_local_users.h"
#include "frm_lua_trigger.h"
#include "frm_main.h"
#include "frm_peer_servers.h"
#include "frm_prepaid_rate.h"
#include "frm_realtime_cdr.h"
#include "frm_refine_cld_nbr.h"
#include "frm_refine_clr_nbr.h"
#include "frm_rg_detection.h"
#include "frm_rg_user.h"
#include "frm_route.h"
#include "frm_route_group.h"
#include "frm_speed_dial.h"
#include "frm_sub_balance.h"
#include "frm_sys_black_list.h"
#include "frm_time_cond.h"
#include "frm_transitions.h"
#include "log_view.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>

#include <algorithm>
#include <array>

using Main = Cfrm_main;
using Opener = int (Main::*)();
using Order = void (Main::*)();

// A row of the table of menus.
struct MenuItem {
    enum class Kind : uint8_t { Menu, Submenu, Item, Line };

    Kind kind;
    int text = 0; // language item
    bool isInSubmenu = false;
    Opener opens = nullptr; // slot of an item with a window
    PageWindow window = {};
    Order does = nullptr;        // slot of any other item; none: it ends the program
    const char* extra = nullptr; // image of an item with a window, shortcut of any other
    int data = 0;
};

namespace {

using Kind = MenuItem::Kind;

// Language codes.
constexpr int kLangEnglish = 0;
constexpr int kLangChinese = 1;

constexpr MenuItem menu(int text)
{
    return {Kind::Menu, text};
}

constexpr MenuItem submenu(int text)
{
    return {Kind::Submenu, text};
}

constexpr MenuItem line()
{
    return {Kind::Line};
}

constexpr MenuItem item(int text, Opener opens, PageWindow window, const char* image = nullptr)
{
    return {Kind::Item, text, false, opens, window, nullptr, image};
}

constexpr MenuItem item(int text, Order does, const char* shortcut = nullptr, int data = 0)
{
    return {Kind::Item, text, false, nullptr, {}, does, shortcut, data};
}

// The same inside the submenu above it.
constexpr MenuItem inside(MenuItem row)
{
    row.isInSubmenu = true;
    return row;
}

// From left to right and from the top down: text, slot, what it opens (or its shortcut), image.
constexpr auto kItems = std::to_array<MenuItem>({
    menu(1),
    submenu(3),
    inside(item(5, &Main::actLangSelect, nullptr, kLangChinese)),
    inside(item(4, &Main::actLangSelect, nullptr, kLangEnglish)),
    line(),
    item(14, &Main::actSaveLog, QT_TRANSLATE_NOOP("Cfrm_main", "Ctrl+S")),
    item(269, &Main::actClearLog, QT_TRANSLATE_NOOP("Cfrm_main", "Delete")),
    line(),
    item(2, nullptr),

    menu(15),
    item(16, &Main::actShowSystemTable, dialog<Cdlg_sys_tbl>(), ":/images/system.png"),
    item(425, &Main::actShowTimeCondition, frame<Cfrm_time_cond>()),
    line(),
    item(17, &Main::actShowLocalUsers, frame<Cfrm_local_users>(), ":/images/users.png"),
    item(18, &Main::actShowExtLines, frame<Cfrm_ext_lines>(), ":/images/extline.png"),
    item(19, &Main::actShowPeerServers, frame<Cfrm_peer_servers>()),
    submenu(395),
    inside(item(397, &Main::actShowRtGroup, frame<Cfrm_route_group>())),
    inside(item(398, &Main::actShowRoute, frame<Cfrm_route>())),

    menu(20),
    item(21, &Main::actShowTransitions, frame<Cfrm_transitions>()),
    line(),
    item(23, &Main::actShowAnaClrNbr, frame<Cfrm_ana_clr_nbr>()),
    item(22, &Main::actShowAnaCldNbr, frame<Cfrm_ana_cld_nbr>(), ":/images/road_sign.png"),
    line(),
    item(318, &Main::actShowRefineClrNbr, frame<Cfrm_refine_clr_nbr>()),
    item(406, &Main::actShowRefineCldNbr, frame<Cfrm_refine_cld_nbr>()),

    menu(24),
    item(26, &Main::actShowClrRewriting, frame<Cfrm_clr_rewriting>()),
    item(348, &Main::actShowFrmIVRTrigger, frame<Cfrm_ivr_trigger>()),
    submenu(285),
    inside(item(277, &Main::actShowFrmHGInfo, frame<Cfrm_hg_info>())),
    inside(item(289, &Main::actShowFrmHGOper, frame<Cfrm_hg_oper>())),
    inside(item(293, &Main::actShowFrmHGDect, frame<Cfrm_hg_dect>())),
    submenu(457),
    inside(item(459, &Main::actShowFrmRGUser, frame<Cfrm_rg_user>())),
    inside(item(293, &Main::actShowFrmRGDetection, frame<Cfrm_rg_detection>())),
    item(352, &Main::actShowFrmSpeedDial, frame<Cfrm_speed_dial>()),
    line(),
    item(392, &Main::actShowFrmCallRecord, frame<Cfrm_call_recording>()),
    item(444, &Main::actShowFrmIPBWList, frame<Cfrm_ip_bwlist>()),
    item(435, &Main::actShowFrmLuaTrigger, frame<Cfrm_lua_trigger>()),
    item(25, &Main::actShowSysBlackList, frame<Cfrm_sys_black_list>()),
    line(),
    submenu(33),
    inside(item(34, &Main::actShowFrmCCInfo, remoteFrame<Cfrm_callingcard_info>())),
    inside(line()),
    inside(item(30, &Main::actShowFrmPrepaidRate, remoteFrame<Cfrm_prepaid_rate>())),
    inside(item(35, &Main::actShowFrmCCFeeMatrix, remoteFrame<Cfrm_callingcard_fee_matrix>())),
    submenu(298),
    inside(item(299, &Main::actShowFrmDisaAccount, remoteFrame<Cfrm_disa_account>())),
    inside(item(300, &Main::actShowFrmDisaCallerId, remoteFrame<Cfrm_disa_caller_id>())),
    submenu(28),
    inside(item(31, &Main::actShowFrmSubBalance, remoteFrame<Cfrm_sub_balance>())),
    inside(line()),
    inside(item(30, &Main::actShowFrmPrepaidRate, remoteFrame<Cfrm_prepaid_rate>())),
    inside(item(32, &Main::actShowFrmCallerPrepaid, remoteFrame<Cfrm_caller_prepaid>())),
    line(),
    item(29, &Main::actShowCallshop, frame<Cfrm_callshop>()),
    item(27, &Main::actShowCallBack, dialogWithInit<Cdlg_callback>()),

    menu(36),
    item(415, &Main::actShowEvtChannelAuth, frame<Cfrm_evt_channel_auth>()),
    line(),
    item(271, &Main::actShowCallStatus),
    item(286, &Main::actShowHGInfo),
    submenu(456),
    inside(item(385, &Main::actReleaseCalls)),
    line(),
    item(270, &Main::actTraceOnIPAddr),
    item(296, &Main::actTraceOnCallerNbr),
    item(297, &Main::actTraceOnCalledNbr),
    item(46, &Main::actStopTrace),

    menu(47),
    item(48, &Main::actShowRTCDR, frame<Cfrm_realtime_cdr>()),
    item(49, &Main::actShowHistoryCDR),

    menu(50),
    item(449, &Main::actHelpCheckVersion),
    item(51, &Main::actHelpWebsite),
});

// Null: a gap.
constexpr std::array<Opener, 6> kToolbar = {&Main::actShowSystemTable, nullptr, &Main::actShowLocalUsers,
                                            &Main::actShowExtLines,    nullptr, &Main::actShowAnaCldNbr};

const MenuItem& itemOf(Opener opener)
{
    return *std::find_if(kItems.begin(), kItems.end(), [=](const MenuItem& row) { return row.opens == opener; });
}

} // namespace

void Cfrm_main::setupMenuBar()
{
    setupMenuFile();
    setupMenuData();
    setupMenuDialPlan();
    setupMenuServices();
    setupMenuMaintain();
    setupMenuWindows();
    setupMenuHelp();
}

void Cfrm_main::setupMenuFile()
{
    setupMenu(1);
}

void Cfrm_main::setupMenuData()
{
    setupMenu(15);
}

void Cfrm_main::setupMenuDialPlan()
{
    setupMenu(20);
}

void Cfrm_main::setupMenuServices()
{
    setupMenu(24);
}

void Cfrm_main::setupMenuMaintain()
{
    setupMenu(36);
}

void Cfrm_main::setupMenuWindows()
{
    setupMenu(47);
}

void Cfrm_main::setupMenuHelp()
{
    setupMenu(50);
}

// Its place is kept for what developers try out.
void Cfrm_main::setupMenuDebug() {}

void Cfrm_main::setupMenu(int item)
{
    const auto* row = std::find_if(kItems.begin(), kItems.end(), [item](const MenuItem& each) {
        return each.kind == Kind::Menu && each.text == item;
    });
    QMenu* const bar = menuBar()->addMenu(QString());
    GetLangItem(static_cast<unsigned>(item), bar, "");
    QMenu* submenu = nullptr;
    for (++row; row != kItems.end() && row->kind != Kind::Menu; ++row) {
        QMenu* const place = row->isInSubmenu ? submenu : bar;
        if (row->kind == Kind::Line) {
            place->addSeparator();
        } else if (row->kind == Kind::Submenu) {
            submenu = bar->addMenu(QString());
            GetLangItem(static_cast<unsigned>(row->text), submenu, "");
        } else {
            _actions.insert(row, addMenuItem(*row, place));
        }
    }
}

QAction* Cfrm_main::addMenuItem(const MenuItem& item, QMenu* menu)
{
    QAction* const action = menu->addAction(QString());
    GetLangItem(static_cast<unsigned>(item.text), action, "");
    action->setData(item.data);
    if (item.extra == nullptr)
        return action;
    if (item.opens != nullptr)
        action->setIcon(QIcon(QString::fromLatin1(item.extra)));
    else
        action->setShortcut(tr(item.extra));
    return action;
}

void Cfrm_main::setupToolbar()
{
    QToolBar* const toolbar = addToolBar(QString());
    NameAfterWindow(this, toolbar);
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    for (const Opener opener : kToolbar) {
        if (opener == nullptr)
            toolbar->addSeparator();
        else
            toolbar->addAction(_actions.value(&itemOf(opener)));
    }
}

void Cfrm_main::connectMenuItems()
{
    for (auto each = _actions.cbegin(); each != _actions.cend(); ++each) {
        const MenuItem& item = *each.key();
        QAction* const action = each.value();
        if (item.opens != nullptr)
            connect(action, &QAction::triggered, this, item.opens);
        else if (item.does != nullptr)
            connect(action, &QAction::triggered, this, item.does);
        else
            connect(action, &QAction::triggered, qApp, &QApplication::quit);
    }
}

QWidget* Cfrm_main::windowBehind(Opener opener)
{
    return _windows.get(itemOf(opener).window, _app->GetFacMgr());
}

bool Cfrm_main::isRemoteDbActive() const
{
    return _app->GetFacMgr()->IsRemoteDbActive() != 0;
}

int Cfrm_main::openWindow(Opener opener)
{
    const MenuItem& item = itemOf(opener);
    if (item.window.way == PageWindow::Way::RemoteFrame && !isRemoteDbActive()) {
        _logView->append(QStringLiteral("WARN: remote database isn't connected."));
        _logView->append(GetLangItem(273, QString()));
        return 0;
    }
    return _windows.open(item.window, _app->GetFacMgr());
}
