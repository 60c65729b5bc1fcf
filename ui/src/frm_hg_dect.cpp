#include "frm_hg_dect.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Detection = Cdb_hunting_group_detect_data;

Cdlg_hg_dect::Cdlg_hg_dect(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(290, this, "");
    setupUi();
}

void Cdlg_hg_dect::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.chosenText(_cmbDialPlan = _indexItem(grid.addCombo(291)), &Detection::dialPlan);
    _key.text(_edtCalledNbr = _indexItem(grid.addEdit(292)), &Detection::calledNbr);
    _cmbGroup = grid.addCombo(282);
    bindGroup();
    _addButtonBox(layout);
}

// A rule keeps the group that it had where there are none to choose from.
void Cdlg_hg_dect::bindGroup()
{
    _form.bind(
        [this](const Detection& record) {
            _cmbGroup->setCurrentIndex(0);
            ComboBoxSelectData(_cmbGroup, record.groupID);
        },
        [this](Detection& record) {
            if (_cmbGroup->count() != 0)
                record.groupID = ComboBoxGetValU32(_cmbGroup);
        });
}

void Cdlg_hg_dect::Init(const Cdb_hunting_group_detect_data* record)
{
    InitDialPlanView(_store, _cmbDialPlan);
    InitHGGroupIdView(_store, _cmbGroup);
    Cdlg_storing::Init(record);
}

void Cdlg_hg_dect::accept()
{
    if (_edtCalledNbr->text().isEmpty())
        return _refuseParam(QStringLiteral("Please configure called number prefix."));
    _readInputs();
    _closeBy(_isNew ? _store->DbHGAddDetect(_record) : _store->DbHGUpdateDetect(_record));
}

Cfrm_hg_dect::Cfrm_hg_dect(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_hg_dect(store, this))
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(293, this, "");
    initColumnView();
}

void Cfrm_hg_dect::initColumnView()
{
    _addColumns({291, 292, 288});
}

uint32_t Cfrm_hg_dect::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_hunting_group_detect");
}

void Cfrm_hg_dect::loadData()
{
    forEachRecord<Detection>(_store->GetCacheDB(),
                             _pageOf("select * from tbl_hunting_group_detect order by dialPlan, calledNbr"),
                             ldb_hg_detect_get_full_data, [this](const Detection& record) { _addItem(record); });
}

void Cfrm_hg_dect::_addItem(const Cdb_hunting_group_detect_data& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.dialPlan));
    _setItemValue(row, 1, QString::fromUtf8(record.calledNbr));
    _setItemValue(row, 2, QString::number(record.groupID));
}

Cdb_hunting_group_detect_data Cfrm_hg_dect::recordOf(int row) const
{
    Detection record;
    BclCopyQStr(record.dialPlan, _getItemValue(row, 0));
    BclCopyQStr(record.calledNbr, _getItemValue(row, 1));
    record.groupID = BclStrToU32(_getItemValue(row, 2));
    return record;
}

void Cfrm_hg_dect::onAddBtn()
{
    if (_store->DbGetHGGrouptCnt() == 0)
        return PlxWarningBox(QStringLiteral("Invalid operation"),
                             QStringLiteral("Please configure hunting group information firstly."));
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// What the row shows is edited, not what the store has now. The row comes last until the page is loaded again.
void Cfrm_hg_dect::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    const Detection record = recordOf(_rowOfKey(key));
    _editor->Init(&record);
    if (_editor->exec() != QDialog::Accepted)
        return;
    _deleteRow(_rowOfKey(key));
    _addItem(_editor->record());
    _selectLastRow();
}

void Cfrm_hg_dect::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    const Detection record = recordOf(row);
    _store->DbHGDelDetect(record.dialPlan, record.calledNbr);
    _deleteRow(row);
}

void Cfrm_hg_dect::onSearchBtn()
{
    QString dialPlan;
    QString calledNbr;
    if (!_askFor(dialPlan, 291, QStringLiteral("default")) || !_askFor(calledNbr, 292))
        return;
    Detection record;
    BclCopyQStr(record.dialPlan, dialPlan);
    BclCopyQStr(record.calledNbr, calledNbr);
    if (_store->DbHGGetDetect(record) != kDbOk)
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
