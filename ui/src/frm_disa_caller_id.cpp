#include "frm_disa_caller_id.h"

#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using CallerId = Ctbl_disa_caller_id;

Cdlg_disa_caller_id::Cdlg_disa_caller_id(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_replacing(store, parent)
{
    setHelpTopicID(kHelpDisa);
    GetLangItem(307, this, "");
    setupUi();
}

void Cdlg_disa_caller_id::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_indexItem(grid.addEdit(308)), &CallerId::cCallerID);
    _form.text(grid.addEdit(309), &CallerId::cDISAAccount);
    _addButtonBox(layout);
}

unsigned Cdlg_disa_caller_id::addToStore(const Ctbl_disa_caller_id& record)
{
    return tbl_disa_caller_id_add(_store, record);
}

unsigned Cdlg_disa_caller_id::deleteFromStore(const Ctbl_disa_caller_id& record)
{
    return tbl_disa_caller_id_del(_store, record.cCallerID);
}

Cfrm_disa_caller_id::Cfrm_disa_caller_id(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_disa_caller_id(store, this))
{
    setHelpTopicID(kHelpDisa);
    GetLangItem(306, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_disa_caller_id::initColumnView()
{
    _addColumns({308, 309});
}

// The whole table.
void Cfrm_disa_caller_id::loadData()
{
    forEachRemoteRow(_store, "select cCallerID, cDISAAccount from tbl_disa_caller_id order by cCallerID",
                     [this](const Cdb_proxy& row) { _addRow(row.getRow(0), row.getRow(1)); });
}

void Cfrm_disa_caller_id::_addRow(const char* callerId, const char* account)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(callerId));
    _setItemValue(row, 1, QString::fromUtf8(account));
}

void Cfrm_disa_caller_id::_addInfo(const Ctbl_disa_caller_id& record)
{
    _addRow(record.cCallerID, record.cDISAAccount);
}

void Cfrm_disa_caller_id::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->isStored())
        _addInfo(_editor->record());
}

// The edited one becomes the last row.
void Cfrm_disa_caller_id::onEditBtn()
{
    const QStringList key = _selectedKey();
    CallerId record;
    if (key.isEmpty() || tbl_disa_caller_id_get(_store, key.first().toUtf8().constData(), record) != kDbOk)
        return;
    _editor->Init(&record);
    if (!_editor->isStored())
        return;
    _deleteRow(_rowOfKey(key));
    _addInfo(_editor->record());
    _selectLastRow();
}

void Cfrm_disa_caller_id::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (!key.isEmpty() && tbl_disa_caller_id_del(_store, key.first().toUtf8().constData()) == kDbOk)
        _deleteRow(_selectedRow());
}
