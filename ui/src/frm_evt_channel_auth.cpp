#include "frm_evt_channel_auth.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"

#include <QLineEdit>
#include <QVBoxLayout>

Cdlg_evt_channel_auth::Cdlg_evt_channel_auth(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpEventChannel);
    GetLangItem(415, this, "");
    setupUi();
}

void Cdlg_evt_channel_auth::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    _edtIpAddr = Cform_grid(layout).addEdit(416);
    _addButtonBox(layout);
}

// What is no address is for the store to refuse.
void Cdlg_evt_channel_auth::accept()
{
    BclCopyQStr(_record.ipAddr, _edtIpAddr->text());
    _closeBy(_store->DbEvtChannelAuthAdd(_record));
}

Cfrm_evt_channel_auth::Cfrm_evt_channel_auth(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_evt_channel_auth(store, this))
{
    setHelpTopicID(kHelpEventChannel);
    GetLangItem(415, this, "");
    _hideEditButton();
    _hideSearchButton();
    initColumnView();
}

void Cfrm_evt_channel_auth::initColumnView()
{
    _addColumns({416});
}

uint32_t Cfrm_evt_channel_auth::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_evt_channel_auth");
}

void Cfrm_evt_channel_auth::loadData()
{
    forEachRecord<Cdb_evt_channel_auth>(
        _store->GetCacheDB(), _pageOf("select * from tbl_evt_channel_auth order by ipAddr"),
        ldb_evt_channel_auth_get_full_data, [this](const Cdb_evt_channel_auth& record) { _addItem(record); });
}

void Cfrm_evt_channel_auth::_addItem(const Cdb_evt_channel_auth& record)
{
    _setItemValue(_appendRow(), 0, QString::fromUtf8(record.ipAddr));
}

void Cfrm_evt_channel_auth::onAddBtn()
{
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_evt_channel_auth::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbEvtChannelAuthDel(_getItemValue(row, 0).toUtf8().constData()) == kDbOk)
        _deleteRow(row);
}
