#include "frm_caller_prepaid.h"

#include "cachedb2/remote_tables.h"
#include "common/form_grid.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using CallerPrepaid = Ctbl_caller_prepaid;

Cdlg_caller_prepaid::Cdlg_caller_prepaid(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    GetLangItem(248, this, "");
    setupUi();
}

void Cdlg_caller_prepaid::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_keyLine(grid.addEdit(249)), &CallerPrepaid::cSubscriber);
    _key.text(_keyLine(grid.addEdit(207)), &CallerPrepaid::cRouteNbr);
    _form.keptNumber(_requiredLine(grid.addEdit(251)), &CallerPrepaid::nRateId);
    _addButtonBox(layout);
}

void Cdlg_caller_prepaid::accept()
{
    if (_refusesEmptyLines())
        return;
    _readInputs();
    if (record().nRateId == 0)
        return _refuseParam(QStringLiteral("Please check parameters.The prepaid ID must larger than 0."));
    Cdlg_common::accept();
}

Cfrm_caller_prepaid::Cfrm_caller_prepaid(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_keyed(store, parent)
{
    setHelpTopicID(kHelpCallerPrepaid);
    GetLangItem(248, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_caller_prepaid::initColumnView()
{
    _addColumns({249, 207, 251});
}

uint32_t Cfrm_caller_prepaid::getRecordCnt()
{
    return tbl_caller_prepaid_count(_store);
}

void Cfrm_caller_prepaid::loadData()
{
    forEachRemoteRow(_store,
                     _pageOf("select cSubscriber, cRouteNbr, nRateId from tbl_caller_prepaid "
                             "order by cSubscriber, cRouteNbr"),
                     [this](const Cdb_proxy& row) {
                         CallerPrepaid record;
                         BclCopyStr(record.cSubscriber, row.getRow(0));
                         BclCopyStr(record.cRouteNbr, row.getRow(1));
                         record.nRateId = row.getRowU32Val(2);
                         addInfo(&record);
                     });
}

void Cfrm_caller_prepaid::addInfo(const Ctbl_caller_prepaid* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->cSubscriber));
    _setItemValue(row, 1, QString::fromUtf8(record->cRouteNbr));
    setRest(row, *record);
}

void Cfrm_caller_prepaid::setRest(int row, const Ctbl_caller_prepaid& record)
{
    _setItemValue(row, 2, record.nRateId);
}

bool Cfrm_caller_prepaid::has(const Ctbl_caller_prepaid& record)
{
    return tbl_caller_prepaid_has(_store, record.cSubscriber, record.cRouteNbr) == kDbHas;
}

bool Cfrm_caller_prepaid::read(const QStringList& key, Ctbl_caller_prepaid& record)
{
    BclCopyQStr(record.cSubscriber, key[0]);
    BclCopyQStr(record.cRouteNbr, key[1]);
    return tbl_caller_prepaid_get(_store, record.cSubscriber, record.cRouteNbr, record.nRateId) == kDbOk;
}

void Cfrm_caller_prepaid::add(const Ctbl_caller_prepaid& record)
{
    tbl_caller_prepaid_add(_store, record);
}

void Cfrm_caller_prepaid::write(Ctbl_caller_prepaid& record)
{
    tbl_caller_prepaid_set(_store, &record);
}

// Under another title than the other pages' warning.
void Cfrm_caller_prepaid::warnUnreadable()
{
    PlxWarningInvalidParam(QStringLiteral("Cannot get information from database."));
}

void Cfrm_caller_prepaid::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    if (tbl_caller_prepaid_del(_store, key[0].toUtf8().constData(), key[1].toUtf8().constData()) == kDbOk)
        _deleteRow(_selectedRow());
}
