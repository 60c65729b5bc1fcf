#include "frm_refine_clr_nbr.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Refinement = Cdb_nbr_clr_refine_data;

Cdlg_refine_clr_nbr::Cdlg_refine_clr_nbr(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_record(store, parent)
{
    setHelpTopicID(kHelpRefineCaller);
    GetLangItem(318, this, "");
    setupUi();
}

void Cdlg_refine_clr_nbr::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtGroupId = grid.addEdit(315);
    _form.text(_edtPrefix = grid.addEdit(316), &Refinement::callerPrefix);
    _form.text(grid.addEdit(283), &Refinement::description);
    _form.reference(_cmbTransition = grid.addCombo(223), &Refinement::transId);
    _addButtonBox(layout);
}

void Cdlg_refine_clr_nbr::Init(const Cdb_nbr_clr_refine_data* record)
{
    InitNbrTransitionView(_store, _cmbTransition);
    _edited.open(record);
    _form.show(_edited.opening);
    _edtGroupId->setText(record == nullptr ? QString() : QString::number(static_cast<int32_t>(record->groupID)));
    _edtGroupId->setEnabled(record == nullptr);
    _edtPrefix->setEnabled(record == nullptr);
}

// A group may have any number but 0, also a negative one.
void Cdlg_refine_clr_nbr::accept()
{
    const auto refuse = [this](const char* text) {
        _refuse(QStringLiteral("Parameter Invalid"), QString::fromLatin1(text));
    };
    _edited.work.Init();
    _edited.work.groupID = static_cast<uint32_t>(BclStrToInt(_edtGroupId->text()));
    if (_edited.work.groupID == 0)
        return refuse("Invalid group ID.");
    if (_edtPrefix->text().isEmpty())
        return refuse("Invalid caller prefix.");
    _form.read(_edited.work);
    Cdlg_common::accept();
}

Cfrm_refine_clr_nbr::Cfrm_refine_clr_nbr(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_refine_clr_nbr(store, this))
{
    setHelpTopicID(kHelpRefineCaller);
    GetLangItem(318, this, "");
    initColumnView();
}

void Cfrm_refine_clr_nbr::initColumnView()
{
    _addColumns({315, 316, 283, 317});
}

uint32_t Cfrm_refine_clr_nbr::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_nbr_clr_refine");
}

void Cfrm_refine_clr_nbr::loadData()
{
    forEachRecord<Refinement>(_store->GetCacheDB(),
                              _pageOf("select * from tbl_nbr_clr_refine order by groupID, callerPrefix"),
                              ldb_nbr_clr_refine_get_full_data, [this](const Refinement& record) { _addItem(record); });
}

void Cfrm_refine_clr_nbr::_addItem(const Cdb_nbr_clr_refine_data& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::number(static_cast<int32_t>(record.groupID)));
    _setItemValue(row, 1, QString::fromUtf8(record.callerPrefix));
    setRest(row, record);
}

void Cfrm_refine_clr_nbr::setRest(int row, const Cdb_nbr_clr_refine_data& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.description));
    _setItemValue(row, 3, QString::number(record.transId));
}

bool Cfrm_refine_clr_nbr::read(const QString& groupId, const QString& prefix, Cdb_nbr_clr_refine_data& record)
{
    record.groupID = static_cast<uint32_t>(BclStrToInt(groupId));
    BclCopyQStr(record.callerPrefix, prefix);
    return _store->DbNbrClrRefineGet(record) == kDbOk;
}

bool Cfrm_refine_clr_nbr::isEdited(const Cdb_nbr_clr_refine_data* record)
{
    _editor->Init(record);
    return _editor->isEdited();
}

void Cfrm_refine_clr_nbr::onAddBtn()
{
    if (!isEdited(nullptr))
        return;
    const Refinement record = _editor->record();
    if (_store->DbNbrClrRefineHas(record.groupID, record.callerPrefix) == kDbHas)
        return; // what is there stays
    if (_store->DbNbrClrRefineSet(record) == kDbOk)
        _addItem(record);
}

// One that was deleted meanwhile stays deleted.
void Cfrm_refine_clr_nbr::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    Refinement record;
    if (key.isEmpty() || !read(key[0], key[1], record) || !isEdited(&record))
        return;
    const Refinement& edited = _editor->record();
    if (_store->DbNbrClrRefineHas(edited.groupID, edited.callerPrefix) == kDbHas)
        _store->DbNbrClrRefineSet(edited);
    setRest(_rowOfKey(key), edited);
}

void Cfrm_refine_clr_nbr::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    const auto groupId = static_cast<uint32_t>(BclStrToInt(_getItemValue(row, 0)));
    if (_store->DbNbrClrRefineDel(groupId, _getItemValue(row, 1).toUtf8().constData()) == kDbOk)
        _deleteRow(row);
}

void Cfrm_refine_clr_nbr::onSearchBtn()
{
    QString groupId;
    QString prefix;
    if (!_askFor(groupId, 315))
        return;
    if (!_askFor(prefix, 316))
        return;
    Refinement record;
    if (!read(groupId, prefix, record))
        return PlxWarningNoRecord();
    if (isEdited(&record))
        _store->DbNbrClrRefineSet(_editor->record());
}
