#include "frm_ivr_trigger.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Trigger = Cdb_ivr_trigger_data;

namespace {

// Nothing but its key.
Trigger keyed(const QString& dialPlan, const QString& calledNbr)
{
    Trigger record;
    record.dialPlan.SetNbr(dialPlan.toUtf8().constData());
    record.calledNbr.SetNbr(calledNbr.toUtf8().constData());
    return record;
}

} // namespace

Cdlg_ivr_trigger::Cdlg_ivr_trigger(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpIvr);
    GetLangItem(349, this, "");
    setupUi();
}

void Cdlg_ivr_trigger::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _cmbDialPlan = _indexItem(grid.addCombo(291));
    _key.chosenText(_cmbDialPlan, &Trigger::dialPlan);
    _edtCalledNbr = _indexItem(grid.addEdit(292));
    _key.text(_edtCalledNbr, &Trigger::calledNbr);
    _form.text(grid.addEdit(283), &Trigger::name);
    _edtFileName = grid.addEdit(347);
    _form.text(_edtFileName, &Trigger::fileName);
    _addButtonBox(layout);
}

void Cdlg_ivr_trigger::Init(const Cdb_ivr_trigger_data* record)
{
    InitDialPlanView(_store, _cmbDialPlan);
    Cdlg_storing::Init(record);
}

void Cdlg_ivr_trigger::accept()
{
    if (_edtCalledNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure called number."));
    if (_edtFileName->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure IVR-XML file name."));
    _readInputs();
    if (_isNew && _store->DbHasIVRTrigger(_record.dialPlan.c_str(), _record.calledNbr.c_str()) == kDbHas)
        return _refuse(QStringLiteral("Invalid operation"),
                       QStringLiteral("Current record has the same index items with previous records."));
    _closeBy(_isNew ? _store->DbAddIVRTrigger(&_record) : _store->DbUpdateIVRTrigger(&_record));
}

Cfrm_ivr_trigger::Cfrm_ivr_trigger(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_ivr_trigger(store, this))
{
    setHelpTopicID(kHelpIvr);
    GetLangItem(348, this, "");
    initColumnView();
}

void Cfrm_ivr_trigger::initColumnView()
{
    _addColumns({291, 292, 283, 347});
}

uint32_t Cfrm_ivr_trigger::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_ivr_trigger");
}

void Cfrm_ivr_trigger::loadData()
{
    forEachRecord<Trigger>(_store->GetCacheDB(), _pageOf("select * from tbl_ivr_trigger order by dialPlan, calledNbr"),
                           ldb_ivr_trigger_get_full_data, [this](const Trigger& record) { _addItem(record); });
}

void Cfrm_ivr_trigger::_addItem(const Cdb_ivr_trigger_data& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.dialPlan.c_str()));
    _setItemValue(row, 1, QString::fromUtf8(record.calledNbr.c_str()));
    _setItemValue(row, 2, QString::fromUtf8(record.name));
    _setItemValue(row, 3, QString::fromUtf8(record.fileName));
}

void Cfrm_ivr_trigger::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// The row comes last until the page is loaded again.
void Cfrm_ivr_trigger::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    Trigger record = keyed(key[0], key[1]);
    if (_store->DbGetIVRTrigger(&record) != kDbOk)
        return;
    _editor->Init(&record);
    if (_editor->exec() != QDialog::Accepted)
        return;
    _deleteRow(_rowOfKey(key));
    _addItem(_editor->record());
    _selectLastRow();
}

// The row goes whatever the store says.
void Cfrm_ivr_trigger::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    const Trigger record = keyed(key[0], key[1]);
    _store->DbDelIVRTrigger(&record);
    _deleteRow(_selectedRow());
}

void Cfrm_ivr_trigger::onSearchBtn()
{
    QString dialPlan;
    QString calledNbr;
    if (!_askFor(dialPlan, 291, QStringLiteral("default")) || !_askFor(calledNbr, 292))
        return;
    Trigger record = keyed(dialPlan, calledNbr);
    if (_store->DbGetIVRTrigger(&record) != kDbOk)
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
