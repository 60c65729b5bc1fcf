#include "frm_disa_account.h"

#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using Account = Ctbl_disa_account;

Cdlg_disa_account::Cdlg_disa_account(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_replacing(store, parent)
{
    setHelpTopicID(kHelpDisa);
    GetLangItem(302, this, "");
    setupUi();
}

void Cdlg_disa_account::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_indexItem(grid.addEdit(303)), &Account::cAccount);
    _form.text(grid.addPassword(304), &Account::cPassword);
    _form.text(grid.addEdit(305), &Account::cExtension);
    _addButtonBox(layout);
}

unsigned Cdlg_disa_account::addToStore(const Ctbl_disa_account& record)
{
    return tbl_disa_account_add(_store, record);
}

unsigned Cdlg_disa_account::deleteFromStore(const Ctbl_disa_account& record)
{
    return tbl_disa_account_del(_store, record.cAccount);
}

Cfrm_disa_account::Cfrm_disa_account(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_disa_account(store, this))
{
    setHelpTopicID(kHelpDisa);
    GetLangItem(301, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_disa_account::initColumnView()
{
    _addColumns({303, 305});
}

// The whole table.
void Cfrm_disa_account::loadData()
{
    forEachRemoteRow(_store, "select cAccount, cExtension from tbl_disa_account order by cAccount",
                     [this](const Cdb_proxy& row) { _addRow(row.getRow(0), row.getRow(1)); });
}

void Cfrm_disa_account::_addRow(const char* account, const char* extension)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(account));
    _setItemValue(row, 1, QString::fromUtf8(extension));
}

void Cfrm_disa_account::_addInfo(const Ctbl_disa_account& record)
{
    _addRow(record.cAccount, record.cExtension);
}

void Cfrm_disa_account::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->isStored())
        _addInfo(_editor->record());
}

// The edited one becomes the last row.
void Cfrm_disa_account::onEditBtn()
{
    const QStringList key = _selectedKey();
    Account record;
    if (key.isEmpty() || tbl_disa_account_get(_store, key.first().toUtf8().constData(), record) != kDbOk)
        return;
    _editor->Init(&record);
    if (!_editor->isStored())
        return;
    _deleteRow(_rowOfKey(key));
    _addInfo(_editor->record());
    _selectLastRow();
}

void Cfrm_disa_account::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (!key.isEmpty() && tbl_disa_account_del(_store, key.first().toUtf8().constData()) == kDbOk)
        _deleteRow(_selectedRow());
}
