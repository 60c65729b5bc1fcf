#include "frm_peer_servers.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/form_tabs.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QTabWidget>
#include <QVBoxLayout>

using Peer = Cdb_sip_domain_data;

Cdlg_peer_server::Cdlg_peer_server(Cdb_fac_mgr* store, QWidget* parent)
    : Cdlg_record(store, parent), _tabs(new Cform_tabs(this))
{
    setHelpTopicID(kHelpPeerServers);
    GetLangItem(182, this, "");
    setupBasicTab();
    setupOutgoingTab();
    setupIncomingTab();
    alignGroups(_tabs);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(_tabs);
    _addButtonBox(layout);
}

void Cdlg_peer_server::setupBasicTab()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 162));
    _edtSid = grid.addEdit(183);
    _form.text(grid.addEdit(184), &Peer::description);
    _form.text(_edtAddress = grid.addEdit(185), &Peer::peerAddr);
    _form.number(_edtPort = grid.addEdit(186), &Peer::peerPort);
    QComboBox* const transport = grid.addCombo(362);
    transport->addItem(QStringLiteral("UDP"), 0);
    transport->addItem(QStringLiteral("TCP"), 1);
    _form.choice(transport, &Peer::transport);
}

void Cdlg_peer_server::setupOutgoingTab()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 164));
    _form.text(grid.addEdit(314), &Peer::outCallerNbr);
    _form.text(grid.addEdit(472), &Peer::uriParams);
    _form.reference(_cmbTimeCondition = grid.addCombo(426), &Peer::timeCondId);
    _form.reference(_cmbRefineGroup = grid.addCombo(407), &Peer::cldRefineGroup);
    _form.number(grid.addEdit(322), &Peer::maxOutCalls);
    _form.reference(_cmbBackupPeer = grid.addCombo(448), &Peer::backupSid);
    _form.flag(grid.addCheck(150), &Peer::flags, kPeerRelayMedia);
}

void Cdlg_peer_server::setupIncomingTab()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 163));
    _form.choiceText(_cmbDialPlan = grid.addEditableCombo(313), &Peer::dialPlan);
    _form.number(grid.addEdit(439), &Peer::maxInCalls);
}

void Cdlg_peer_server::refillChoices()
{
    InitPeerServerView(_store, _cmbBackupPeer);
    InitRefineCldGroupIDView(_store, _cmbRefineGroup);
    InitDialPlanView(_store, _cmbDialPlan);
    InitTimeConditionView(_store, _cmbTimeCondition);
}

void Cdlg_peer_server::Init(const Cdb_sip_domain_data* record, int sid)
{
    refillChoices();
    _sid = static_cast<unsigned>(sid);
    _edited.open(record);
    _edited.work.flags = _edited.opening.flags; // bits that the dialog does not show are kept
    _form.show(_edited.opening);
    _edtSid->setText(record == nullptr ? QString() : QString::number(_sid));
    _edtSid->setEnabled(record == nullptr);
    _tabs->setCurrentIndex(0);
}

void Cdlg_peer_server::accept()
{
    const auto refuse = [this](int item) { _refuseParam(GetLangItem(item)); };
    const int sid = BclStrToInt(_edtSid->text());
    if (_edtAddress->text().isEmpty())
        return refuse(74);
    if (BclStrToInt(_edtPort->text()) < 1)
        return refuse(75);
    if (sid < 1)
        return refuse(187);
    _sid = static_cast<unsigned>(sid);
    _form.read(_edited.work);
    BclStrTrimSpace(_edited.work.peerAddr);
    Cdlg_common::accept();
}

Cfrm_peer_servers::Cfrm_peer_servers(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_peer_server(store, this))
{
    setHelpTopicID(kHelpPeerServers);
    GetLangItem(181, this, "");
    initColumnView();
}

void Cfrm_peer_servers::initColumnView()
{
    _addColumns({183, 184, 185, 186, 362});
}

uint32_t Cfrm_peer_servers::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_peer_server");
}

void Cfrm_peer_servers::loadData()
{
    forEachRow(_store->GetCacheDB(), _pageOf("select * from tbl_peer_server order by sid"),
               [this](const Cdb_query& row) {
                   unsigned sid = 0;
                   Cdb_sip_domain_data record;
                   ldb_peer_server_get_full_data(row, sid, &record);
                   _addItem(sid, record);
               });
}

void Cfrm_peer_servers::_addItem(unsigned sid, const Cdb_sip_domain_data& record)
{
    _setItem(_appendRow(), sid, record);
}

void Cfrm_peer_servers::_setItem(int row, unsigned sid, const Cdb_sip_domain_data& record)
{
    _setItemValue(row, 0, QString::number(sid));
    _setItemValue(row, 1, QString::fromUtf8(record.description));
    _setItemValue(row, 2, QString::fromUtf8(record.peerAddr));
    _setItemValue(row, 3, QString::number(record.peerPort));
    _setItemValue(row, 4, translateSIPTransport(static_cast<unsigned char>(record.transport)));
}

bool Cfrm_peer_servers::_isEdited(const Cdb_sip_domain_data* record, unsigned sid)
{
    _editor->Init(record, static_cast<int>(sid));
    return _editor->isEdited();
}

void Cfrm_peer_servers::onAddBtn()
{
    if (!_isEdited(nullptr, 0))
        return;
    if (_store->DbPeerServerSet(_editor->sid(), _editor->record()) == kDbOk)
        _addItem(_editor->sid(), _editor->record());
}

void Cfrm_peer_servers::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    const unsigned sid = BclStrToU32(key.first());
    Cdb_sip_domain_data record;
    _store->DbPeerServerGet(sid, record); // a row that is gone from the store is edited as a new record
    if (!_isEdited(&record, sid))
        return;
    _setItem(_rowOfKey(key), sid, _editor->record());
    _store->DbPeerServerSet(sid, _editor->record());
}

void Cfrm_peer_servers::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbPeerServerDel(BclStrToU32(_getItemValue(row, 0)));
    _deleteRow(row);
}

void Cfrm_peer_servers::onSearchBtn()
{
    QString text;
    if (!_askFor(text, 183))
        return;
    const unsigned sid = BclStrToU32(text);
    Cdb_sip_domain_data record;
    if (_store->DbPeerServerGet(sid, record) != kDbOk)
        return PlxWarningNoRecord();
    if (_isEdited(&record, sid))
        _store->DbPeerServerSet(sid, _editor->record());
}
