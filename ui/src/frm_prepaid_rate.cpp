#include "frm_prepaid_rate.h"

#include "cachedb2/remote_tables.h"
#include "common/form_grid.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using Rate = Ctbl_prepaid_rate;

Cdlg_prepaid_rate::Cdlg_prepaid_rate(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    GetLangItem(240, this, "");
    setupUi();
}

void Cdlg_prepaid_rate::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.number(_keyLine(grid.addEdit(241)), &Rate::rate_id);
    _form.keptNumber(_requiredLine(grid.addEdit(242)), &Rate::tariff_interval);
    _form.keptNumber(_requiredLine(grid.addEdit(243)), &Rate::tariff);
    _form.keptNumber(_line(grid.addEdit(337)), &Rate::onetime_fee);
    _addButtonBox(layout);
}

void Cdlg_prepaid_rate::accept()
{
    if (_refusesEmptyLines())
        return;
    _readInputs();
    if (record().rate_id == 0 || record().tariff_interval == 0)
        return _refuseParam(QStringLiteral("Please check parameters."));
    Cdlg_common::accept();
}

Cfrm_prepaid_rate::Cfrm_prepaid_rate(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    setupUI();
    initColumnView();
}

void Cfrm_prepaid_rate::setupUI()
{
    GetLangItem(30, this, "");
}

void Cfrm_prepaid_rate::initColumnView()
{
    _addColumns({241, 242, 243, 337});
}

uint32_t Cfrm_prepaid_rate::getRecordCnt()
{
    return tbl_prepaid_rate_count(_store);
}

// The two blanks belong to the statement.
void Cfrm_prepaid_rate::loadData()
{
    forEachRemoteRow(
        _store, _pageOf("select rate_id, tariff_interval, tariff, onetime_fee from tbl_prepaid_rate  order by rate_id"),
        [this](const Cdb_proxy& row) {
            Rate record;
            record.rate_id = row.getRowU32Val(0);
            record.tariff_interval = row.getRowU32Val(1);
            record.tariff = row.getRowU32Val(2);
            record.onetime_fee = row.getRowU32Val(3);
            addInfo(&record);
        });
}

void Cfrm_prepaid_rate::addInfo(const Ctbl_prepaid_rate* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, record->rate_id);
    setRest(row, *record);
}

void Cfrm_prepaid_rate::setRest(int row, const Ctbl_prepaid_rate& record)
{
    _setItemValue(row, 1, record.tariff_interval);
    _setItemValue(row, 2, record.tariff);
    _setItemValue(row, 3, record.onetime_fee);
}

bool Cfrm_prepaid_rate::has(const Ctbl_prepaid_rate& record)
{
    Rate found;
    return tbl_prepaid_rate_get(_store, record.rate_id, &found) == kDbOk;
}

bool Cfrm_prepaid_rate::read(const QStringList& key, Ctbl_prepaid_rate& record)
{
    return tbl_prepaid_rate_get(_store, BclStrToU32(key.first()), &record) == kDbOk;
}

void Cfrm_prepaid_rate::add(const Ctbl_prepaid_rate& record)
{
    tbl_prepaid_rate_add(_store, record);
}

void Cfrm_prepaid_rate::write(Ctbl_prepaid_rate& record)
{
    tbl_prepaid_rate_set(_store, &record);
}

void Cfrm_prepaid_rate::onSearchBtn()
{
    _search(241);
}

// The row goes whatever the store says.
void Cfrm_prepaid_rate::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    tbl_prepaid_rate_del(_store, BclStrToU32(key.first()));
    _deleteRow(_selectedRow());
}
