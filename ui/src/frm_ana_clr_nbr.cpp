#include "frm_ana_clr_nbr.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/display_text.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Analysis = Cdb_nbr_clr_ana_data;

Cdlg_ana_clr_nbr::Cdlg_ana_clr_nbr(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_record(store, parent)
{
    setHelpTopicID(kHelpCallerAnalysis);
    GetLangItem(221, this, "");
    setupUi();
}

void Cdlg_ana_clr_nbr::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtPrefix = grid.addEdit(222);
    _form.text(grid.addEdit(283), &Analysis::description);
    _form.reference(_cmbTransition = grid.addCombo(223), &Analysis::transId);
    _cmbDialPlan = grid.addEditableCombo(224);
    _addButtonBox(layout);
}

void Cdlg_ana_clr_nbr::Init(const Cdb_nbr_clr_ana_data* record)
{
    InitDialPlanView(_store, _cmbDialPlan);
    InitNbrTransitionView(_store, _cmbTransition);
    _edited.open(record);
    const Analysis& shown = _edited.opening;
    _edtPrefix->setText(QString::fromUtf8(shown.callerPrefix));
    _edtPrefix->setEnabled(record == nullptr);
    _form.show(shown);
    if (record != nullptr)
        _cmbDialPlan->setCurrentText(QString::fromUtf8(shown.dialPlan)); // empty: the plan of the call's source
}

void Cdlg_ana_clr_nbr::readInputs(Cdb_nbr_clr_ana_data& record) const
{
    record.Init();
    BclCopyQStr(record.callerPrefix, _edtPrefix->text());
    _form.read(record);
    if (const QString plan = _cmbDialPlan->currentText(); !plan.isEmpty()) {
        record.InitV1();
        BclCopyQStr(record.dialPlan, plan);
    }
}

void Cdlg_ana_clr_nbr::accept()
{
    if (_edtPrefix->text().isEmpty())
        return _refuse(QStringLiteral("Parameter Invalid"), QStringLiteral("Invalid caller prefix."));
    readInputs(_edited.work);
    Cdlg_common::accept();
}

Cfrm_ana_clr_nbr::Cfrm_ana_clr_nbr(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_ana_clr_nbr(store, this))
{
    setHelpTopicID(kHelpCallerAnalysis);
    GetLangItem(220, this, "");
    initColumnView();
}

void Cfrm_ana_clr_nbr::initColumnView()
{
    _addColumns({222, 283, 223, 224});
}

uint32_t Cfrm_ana_clr_nbr::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_nbr_clr_ana");
}

void Cfrm_ana_clr_nbr::loadData()
{
    forEachRecord<Analysis>(_store->GetCacheDB(), _pageOf("select * from tbl_nbr_clr_ana order by callerPrefix"),
                            ldb_nbr_clr_ana_get_full_data, [this](const Analysis& record) { _addItem(&record); });
}

void Cfrm_ana_clr_nbr::_addItem(const Cdb_nbr_clr_ana_data* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->callerPrefix));
    setRest(row, *record);
}

void Cfrm_ana_clr_nbr::setRest(int row, const Cdb_nbr_clr_ana_data& record)
{
    _setItemValue(row, 1, QString::fromUtf8(record.description));
    _setItemValue(row, 2, GetTransitionText(record.transId));
    _setItemValue(row, 3, QString::fromUtf8(record.dialPlan));
}

bool Cfrm_ana_clr_nbr::read(const QString& prefix, Cdb_nbr_clr_ana_data& record)
{
    BclCopyQStr(record.callerPrefix, prefix);
    return _store->DbNbrClrAnaGet(record) == kDbOk;
}

bool Cfrm_ana_clr_nbr::isEdited(const Cdb_nbr_clr_ana_data* record)
{
    _editor->Init(record);
    return _editor->isEdited();
}

void Cfrm_ana_clr_nbr::onAddBtn()
{
    if (!isEdited(nullptr))
        return;
    const Analysis record = _editor->record();
    if (_store->DbNbrClrAnaHas(record.callerPrefix) == kDbHas)
        return PlxWarningDuplicate();
    _store->DbNbrClrAnaSet(record);
    _addItem(&record);
}

void Cfrm_ana_clr_nbr::onEditBtn()
{
    const QStringList key = _selectedKey();
    Analysis record;
    if (key.isEmpty() || !read(key.first(), record) || !isEdited(&record))
        return;
    _store->DbNbrClrAnaSet(_editor->record());
    setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_ana_clr_nbr::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbNbrClrAnaDel(_getItemValue(row, 0).toUtf8().constData());
    _deleteRow(row);
}

void Cfrm_ana_clr_nbr::onSearchBtn()
{
    QString prefix;
    if (!_askFor(prefix, 222))
        return;
    Analysis record;
    if (!read(prefix, record))
        return PlxWarningNoRecord();
    if (isEdited(&record))
        _store->DbNbrClrAnaSet(_editor->record());
}
