#include "frm_callingcard_fee_matrix.h"

#include "cachedb2/remote_tables.h"
#include "common/form_grid.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using CardFee = Ctbl_callingcard_fee_matrix;

Cdlg_callingcard_fee_matrix::Cdlg_callingcard_fee_matrix(Cdb_fac_mgr* store, QWidget* parent)
    : Cdlg_keyed(store, parent)
{
    setHelpTopicID(kHelpCallingCard);
    GetLangItem(262, this, "");
    setupUi();
}

void Cdlg_callingcard_fee_matrix::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_keyLine(grid.addEdit(291)), &CardFee::cDialPlan);
    _key.text(_keyLine(grid.addEdit(207)), &CardFee::cRouteNbr);
    _form.keptNumber(_requiredLine(grid.addEdit(241)), &CardFee::nRateId);
    _addButtonBox(layout);
}

void Cdlg_callingcard_fee_matrix::accept()
{
    if (_refusesEmptyLines())
        return;
    _readInputs();
    if (record().nRateId == 0)
        return _refuseParam(QStringLiteral("Please check parameters."));
    Cdlg_common::accept();
}

Cfrm_callingcard_fee_matrix::Cfrm_callingcard_fee_matrix(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_keyed(store, parent)
{
    setHelpTopicID(kHelpCallingCard);
    GetLangItem(264, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_callingcard_fee_matrix::initColumnView()
{
    _addColumns({291, 207, 241});
}

uint32_t Cfrm_callingcard_fee_matrix::getRecordCnt()
{
    return countRemoteRows(_store, "select count(*) from tbl_callingcard_fee_matrix");
}

// The two blanks belong to the statement.
void Cfrm_callingcard_fee_matrix::loadData()
{
    forEachRemoteRow(_store,
                     _pageOf("select cDialPlan, cRouteNbr, nRateId from tbl_callingcard_fee_matrix "
                             " order by cDialPlan, cRouteNbr"),
                     [this](const Cdb_proxy& row) {
                         CardFee record;
                         BclCopyStr(record.cDialPlan, row.getRow(0));
                         BclCopyStr(record.cRouteNbr, row.getRow(1));
                         record.nRateId = row.getRowU32Val(2);
                         addInfo(&record);
                     });
}

void Cfrm_callingcard_fee_matrix::addInfo(const Ctbl_callingcard_fee_matrix* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->cDialPlan));
    _setItemValue(row, 1, QString::fromUtf8(record->cRouteNbr));
    setRest(row, *record);
}

void Cfrm_callingcard_fee_matrix::setRest(int row, const Ctbl_callingcard_fee_matrix& record)
{
    _setItemValue(row, 2, record.nRateId);
}

bool Cfrm_callingcard_fee_matrix::has(const Ctbl_callingcard_fee_matrix& record)
{
    unsigned rateId = 0;
    return tbl_callingcard_fee_matrix_get(_store, record.cDialPlan, record.cRouteNbr, rateId) == kDbOk;
}

bool Cfrm_callingcard_fee_matrix::read(const QStringList& key, Ctbl_callingcard_fee_matrix& record)
{
    BclCopyQStr(record.cDialPlan, key[0]);
    BclCopyQStr(record.cRouteNbr, key[1]);
    return tbl_callingcard_fee_matrix_get(_store, record.cDialPlan, record.cRouteNbr, record.nRateId) == kDbOk;
}

void Cfrm_callingcard_fee_matrix::add(const Ctbl_callingcard_fee_matrix& record)
{
    tbl_callingcard_fee_matrix_add(_store, record);
}

void Cfrm_callingcard_fee_matrix::write(Ctbl_callingcard_fee_matrix& record)
{
    tbl_callingcard_fee_matrix_set(_store, &record);
}

void Cfrm_callingcard_fee_matrix::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    if (tbl_callingcard_fee_matrix_del(_store, key[0].toUtf8().constData(), key[1].toUtf8().constData()) == kDbOk)
        _deleteRow(_selectedRow());
}
