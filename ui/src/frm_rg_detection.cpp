#include "frm_rg_detection.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Detection = Cdb_rg_detection;

Cdlg_rg_detection::Cdlg_rg_detection(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpRingGroup);
    GetLangItem(293, this, "");
    setupUi();
    init(nullptr);
}

void Cdlg_rg_detection::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.chosenText(_cmbDialPlan = _indexItem(grid.addCombo(224)), &Detection::dialPlan);
    _key.text(_indexItem(grid.addEdit(292)), &Detection::cldNbr);
    _form.text(grid.addEdit(283), &Detection::name);
    _form.numberOrNone(grid.addEdit(458), &Detection::groupID);
    _addButtonBox(layout);
}

void Cdlg_rg_detection::init(const Cdb_rg_detection* record)
{
    InitDialPlanView(_store, _cmbDialPlan);
    Init(record);
}

// What is stored last replaces what is there, also a rule that was deleted while the editor was open.
void Cdlg_rg_detection::accept()
{
    _readInputs();
    if (_record.groupID == 0)
        return _refuseParam(QStringLiteral("Please configure a valid group ID."));
    if (!_record.index().isValid())
        return _refuseParam(QStringLiteral("Invalid index items."));
    if (_isNew && _store->DbRGDetectionHas(_record.index()) == kDbHas) {
        PlxWarningRecordExist();
        return reject();
    }
    _closeBy(_store->DbRGDetectionSet(_record));
}

Cfrm_rg_detection::Cfrm_rg_detection(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_rg_detection(store, this))
{
    setHelpTopicID(kHelpRingGroup);
    GetLangItem(293, this, "");
    initColumnView();
}

void Cfrm_rg_detection::initColumnView()
{
    _addColumns({291, 292, 283, 458});
}

uint32_t Cfrm_rg_detection::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_rg_detect");
}

void Cfrm_rg_detection::loadData()
{
    forEachRecord<Detection>(_store->GetCacheDB(), _pageOf("select * from tbl_rg_detect order by dialPlan, cldNbr"),
                             ldb_rg_detect_get_full_data, [this](const Detection& record) { addItem(record); });
}

void Cfrm_rg_detection::addItem(const Cdb_rg_detection& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.dialPlan));
    _setItemValue(row, 1, QString::fromUtf8(record.cldNbr));
    setRest(row, record);
}

void Cfrm_rg_detection::setRest(int row, const Cdb_rg_detection& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.name));
    _setItemValue(row, 3, QString::number(record.groupID));
}

bool Cfrm_rg_detection::read(const QString& dialPlan, const QString& calledNbr, Cdb_rg_detection& record)
{
    BclCopyQStr(record.dialPlan, dialPlan);
    BclCopyQStr(record.cldNbr, calledNbr);
    return _store->DbRGDetectionGet(record) == kDbOk;
}

void Cfrm_rg_detection::onAddBtn()
{
    _editor->init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        addItem(_editor->record());
}

void Cfrm_rg_detection::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    Detection record;
    if (!read(key[0], key[1], record))
        return PlxWarningNoRecord();
    _editor->init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_rg_detection::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    Cdb_rg_detection_index index;
    BclCopyQStr(index.dialPlan, _getItemValue(row, 0));
    BclCopyQStr(index.cldNbr, _getItemValue(row, 1));
    _store->DbRGDetectionDel(index);
    _deleteRow(row);
}

void Cfrm_rg_detection::onSearchBtn()
{
    QString dialPlan;
    QString calledNbr;
    if (!_askFor(dialPlan, 291, QStringLiteral("default")) || !_askFor(calledNbr, 292))
        return;
    Detection record;
    if (!read(dialPlan, calledNbr, record))
        return PlxWarningNoRecord();
    _editor->init(&record);
    _editor->exec();
}
