#include "frm_local_users.h"

#include "bcl2/event_bus.h"
#include "bcl2/uaddr.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/event_ids.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/record_view.h"
#include "common/row_finder.h"
#include "common/warning_box.h"
#include "dlg_local_user.h"
#include "dlg_local_user_add_many.h"

#include <QAction>
#include <QCoreApplication>
#include <QIcon>
#include <QStandardItemModel>
#include <QToolBar>

namespace {

enum Column { kName, kDescription, kDisplayName, kAddress, kUserAgent };

QString addressText(const char* address, unsigned port)
{
    Cbcl_uaddr shown;
    if (port != 0 && !BclStrIsBlank(address))
        shown.setAddress(address, static_cast<uint16_t>(port));
    return QString::fromUtf8(shown.getURLStr());
}

const char* imageOf(unsigned state)
{
    switch (state) {
    case kUsrIdle:
        return ":/images/idle_user.png";
    case kUsrRinging:
    case kUsrCallingOut:
        return ":/images/alert_user.png";
    case kUsrTalking:
        return ":/images/talk_user.png";
    default:
        return ":/images/offline_user.png";
    }
}

// On a thread of the server.
void spfUserStateUpdated(void* context, void* data1, void* data2)
{
    static_cast<Cfrm_local_users*>(context)->showUserState(static_cast<const char*>(data1),
                                                           *static_cast<const uint8_t*>(data2));
}

void spfUserAgentUpdated(void* context, void* data1, void* data2)
{
    static_cast<Cfrm_local_users*>(context)->showUserAgent(static_cast<const char*>(data1),
                                                           static_cast<const char*>(data2));
}

void spfUserAddressUpdated(void* context, void* data1, void* data2)
{
    static_cast<Cfrm_local_users*>(context)->showUserAddr(static_cast<const char*>(data1),
                                                          static_cast<const char*>(data2));
}

} // namespace

Cfrm_local_users::Cfrm_local_users(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_list(store, parent)
{
    BclSubEvent(kEvtUserState, this, spfUserStateUpdated);
    BclSubEvent(kEvtUserAgent, this, spfUserAgentUpdated);
    BclSubEvent(kEvtUserAddress, this, spfUserAddressUpdated);
    setHelpTopicID(kHelpLocalUsers);
    _editor = new Cdlg_local_user(store, this);
    _dlgAddMany = new Cdlg_local_user_add_many(store, this);
    getUIResource();
    initColumnView();
    setupAddManyAction();
    _establishSigAndSlots();
}

void Cfrm_local_users::getUIResource()
{
    GetLangItem(110, this, "");
}

void Cfrm_local_users::initColumnView()
{
    _addColumns({118, 283, 320, 321, 432});
    _recordView->expectValue(kAddress, QStringLiteral("000.000.000.000:00000"));
    _rows = new Crow_finder(_model);
}

void Cfrm_local_users::setupAddManyAction()
{
    _actAddMany = new QAction(QIcon(QStringLiteral(":/images/add.png")), GetLangItem(387), this);
    _actAddMany->setShortcut(QKeySequence(QStringLiteral("Shift+A")));
    _toolbar->insertAction(_actEdit, _actAddMany);
    connect(_actAddMany, &QAction::triggered, this, &Cfrm_local_users::onAddManyBtn);
}

void Cfrm_local_users::_establishSigAndSlots()
{
    connect(this, &Cfrm_local_users::sigUserStateUpdate, this, &Cfrm_local_users::slotUserStateUpdate);
    connect(this, &Cfrm_local_users::sigUserAgentUpdate, this, &Cfrm_local_users::slotUserAgentUpdate);
    connect(this, &Cfrm_local_users::sigUserAddressUpdate, this, &Cfrm_local_users::slotUserAddrUpdate);
}

void Cfrm_local_users::showUserState(const char* name, int state)
{
    emit sigUserStateUpdate(QString::fromUtf8(name), state);
}

void Cfrm_local_users::showUserAgent(const char* name, const char* agent)
{
    emit sigUserAgentUpdate(QString::fromUtf8(name), QString::fromUtf8(agent));
}

void Cfrm_local_users::showUserAddr(const char* name, const char* address)
{
    emit sigUserAddressUpdate(QString::fromUtf8(name), QString::fromUtf8(address));
}

void Cfrm_local_users::slotUserStateUpdate(const QString& name, int state)
{
    if (QStandardItem* const user = _findUser(name); user != nullptr)
        setUserStateIcon(user, static_cast<unsigned>(state));
}

void Cfrm_local_users::slotUserAgentUpdate(const QString& name, const QString& agent)
{
    if (const QStandardItem* const user = _findUser(name); user != nullptr)
        _setItemValue(user->row(), kUserAgent, agent);
}

void Cfrm_local_users::slotUserAddrUpdate(const QString& name, const QString& address)
{
    if (const QStandardItem* const user = _findUser(name); user != nullptr)
        _setItemValue(user->row(), kAddress, address);
}

QStandardItem* Cfrm_local_users::_findUser(const QString& name)
{
    return _rows->find(name);
}

void Cfrm_local_users::setUserStateIcon(QStandardItem* item, unsigned state)
{
    item->setIcon(QIcon(QString::fromLatin1(imageOf(state))));
}

uint32_t Cfrm_local_users::getRecordCnt()
{
    return _store->DbGetUsrCnt();
}

void Cfrm_local_users::loadData()
{
    const QByteArray sql = _pageOf("select usrName, description, dispName, preAddr, prePort,usrStage,userAgent"
                                   " from tbl_local_users"
                                   " left outer join tbl_sip_reg on tbl_sip_reg.userName=tbl_local_users.usrName"
                                   " order by usrName");
    forEachRow(_store->GetCacheDB(), sql, [this](const Cdb_query& row) {
        const auto text = [&row](unsigned column) { return QString::fromUtf8(row.getRow(column)); };
        _addUser(text(0), text(1), text(2), row.getRow(3), row.getRowU32Val(4), row.getRowU32Val(5), text(6));
    });
}

void Cfrm_local_users::_addUser(const QString& name, const QString& description, const QString& displayName,
                                const char* address, unsigned port, unsigned state, const QString& userAgent)
{
    const int row = _appendRow();
    _setItemValue(row, kName, name);
    _setItemValue(row, kDescription, description);
    _setItemValue(row, kDisplayName, displayName);
    _setItemValue(row, kAddress, addressText(address, port));
    _setItemValue(row, kUserAgent, userAgent);
    setUserStateIcon(_model->item(row, kName), state);
}

bool Cfrm_local_users::_isEdited(const Cdb_usr_info& record)
{
    _editor->Init(&record, kUsrEdit);
    return _editor->exec() == QDialog::Accepted;
}

void Cfrm_local_users::_showEdited(int row)
{
    _setItemValue(row, kDescription, QString::fromUtf8(_editor->record().description));
    _setItemValue(row, kDisplayName, QString::fromUtf8(_editor->record().dispName));
}

void Cfrm_local_users::onAddBtn()
{
    _editor->Init(nullptr, kUsrAdd);
    if (_editor->exec() != QDialog::Accepted || !_editor->isStored())
        return;
    Cdb_usr_info user;
    if (_store->DbGetUsrInfo(_editor->record().usrName, user) != kDbOk)
        return;
    _addUser(QString::fromUtf8(user.usrName), QString::fromUtf8(user.description), QString::fromUtf8(user.dispName),
             user.preAddr, user.prePort, user.usrStage, QString());
}

void Cfrm_local_users::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Cdb_usr_info user;
    if (_store->DbGetUsrInfo(key.first().toUtf8().constData(), user) != kDbOk || !_isEdited(user))
        return;
    const int row = _rowOfKey(key);
    _showEdited(row);
    if (_editor->record().hasFlag(kUsrIpAuth))
        _setItemValue(row, kAddress, addressText(_editor->record().ipAddr, _editor->record().ipPort));
}

void Cfrm_local_users::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbDelUsrInfo(_getItemValue(row, kName).toUtf8().constData()) == kDbOk)
        _deleteRow(row);
}

void Cfrm_local_users::onSearchBtn()
{
    QString name;
    if (!_askFor(name, 118))
        return;
    Cdb_usr_info user;
    if (_store->DbGetUsrInfo(name.toUtf8().constData(), user) != kDbOk)
        return PlxWarningNoRecord();
    if (_isEdited(user))
        _showEdited(_rowOfKey({name}));
}

// What the store made of it is not asked: the page below shows it. Its rows come once more, below those that it shows.
void Cfrm_local_users::onAddManyBtn()
{
    _dlgAddMany->init();
    if (_dlgAddMany->exec() != QDialog::Accepted)
        return;
    _disableToolbar();
    setCursor(Qt::WaitCursor);
    QCoreApplication::processEvents(); // so that the cursor shows
    _store->DbAddUserMany(_dlgAddMany->startNumber(), _dlgAddMany->total(), _dlgAddMany->password());
    setCursor(Qt::ArrowCursor);
    _enableToolbar();
    loadData();
}
