#include "frm_sub_balance.h"

#include "cachedb2/remote_tables.h"
#include "common/form_grid.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using Balance = Ctbl_sub_balance;

Cdlg_sub_balance::Cdlg_sub_balance(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    GetLangItem(245, this, "");
    setupUi();
}

void Cdlg_sub_balance::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_keyLine(grid.addEdit(246)), &Balance::cSubName);
    _form.number(_requiredLine(grid.addEdit(247)), &Balance::nBalance);
    _addButtonBox(layout);
}

void Cdlg_sub_balance::accept()
{
    if (_refusesEmptyLines())
        return;
    _readInputs();
    Cdlg_common::accept();
}

Cfrm_sub_balance::Cfrm_sub_balance(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    GetLangItem(244, this, "");
    initColumnView();
}

void Cfrm_sub_balance::initColumnView()
{
    _addColumns({246, 247});
}

uint32_t Cfrm_sub_balance::getRecordCnt()
{
    return tbl_sub_balance_count(_store);
}

void Cfrm_sub_balance::loadData()
{
    forEachRemoteRow(_store, _pageOf("select cSubName, nBalance from tbl_sub_balance order by cSubName"),
                     [this](const Cdb_proxy& row) {
                         Balance record;
                         BclCopyStr(record.cSubName, row.getRow(0));
                         record.nBalance = row.getRowIntVal(1);
                         addInfo(&record);
                     });
}

void Cfrm_sub_balance::addInfo(const Ctbl_sub_balance* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->cSubName));
    setRest(row, *record);
}

void Cfrm_sub_balance::setRest(int row, const Ctbl_sub_balance& record)
{
    _setItemValue(row, 1, record.nBalance);
}

bool Cfrm_sub_balance::has(const Ctbl_sub_balance& record)
{
    return tbl_sub_balace_has(_store, record.cSubName) == kDbHas;
}

bool Cfrm_sub_balance::read(const QStringList& key, Ctbl_sub_balance& record)
{
    BclCopyQStr(record.cSubName, key.first());
    return tbl_sub_balance_get(_store, record.cSubName, record.nBalance) == kDbOk;
}

void Cfrm_sub_balance::add(const Ctbl_sub_balance& record)
{
    tbl_sub_balance_add(_store, record);
}

void Cfrm_sub_balance::write(Ctbl_sub_balance& record)
{
    tbl_sub_balance_set(_store, record.cSubName, record.nBalance);
}

void Cfrm_sub_balance::onSearchBtn()
{
    _search(246);
}

// The row goes whatever the store says.
void Cfrm_sub_balance::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    tbl_sub_balance_del(_store, key.first().toUtf8().constData());
    _deleteRow(_selectedRow());
}
