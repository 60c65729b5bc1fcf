#include "frm_refine_cld_nbr.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Refinement = Cdb_nbr_cld_refine;

Cdlg_refine_cld_nbr::Cdlg_refine_cld_nbr(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpRefineCalled);
    GetLangItem(406, this, "");
    setupUi();
}

void Cdlg_refine_cld_nbr::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.numberOrNone(_indexItem(grid.addEdit(407)), &Refinement::groupID);
    _key.text(_indexItem(grid.addEdit(207)), &Refinement::calledPrefix);
    _form.text(grid.addEdit(283), &Refinement::description);
    _form.reference(_cmbTransition = grid.addCombo(190), &Refinement::transId);
    _addButtonBox(layout);
}

void Cdlg_refine_cld_nbr::Init(const Cdb_nbr_cld_refine* record)
{
    InitNbrTransitionView(_store, _cmbTransition);
    Cdlg_storing::Init(record);
}

void Cdlg_refine_cld_nbr::accept()
{
    _readInputs();
    if (_record.groupID == 0)
        return reject();
    _closeBy(_isNew ? _store->DbRefineCalledNbrAdd(_record) : _store->DbRefineCalledNbrUpdate(_record));
}

Cfrm_refine_cld_nbr::Cfrm_refine_cld_nbr(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_refine_cld_nbr(store, this))
{
    setHelpTopicID(kHelpRefineCalled);
    GetLangItem(406, this, "");
    initColumnView();
}

void Cfrm_refine_cld_nbr::initColumnView()
{
    _addColumns({407, 207, 283, 190});
}

uint32_t Cfrm_refine_cld_nbr::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_nbr_cld_refine");
}

void Cfrm_refine_cld_nbr::loadData()
{
    forEachRecord<Refinement>(_store->GetCacheDB(),
                              _pageOf("select * from tbl_nbr_cld_refine order by groupID, calledPrefix"),
                              ldb_nbr_cld_refine_get_full_data, [this](const Refinement& record) { _addItem(record); });
}

void Cfrm_refine_cld_nbr::_addItem(const Cdb_nbr_cld_refine& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::number(record.groupID));
    _setItemValue(row, 1, QString::fromUtf8(record.calledPrefix));
    setRest(row, record);
}

void Cfrm_refine_cld_nbr::setRest(int row, const Cdb_nbr_cld_refine& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.description));
    _setItemValue(row, 3, QString::number(record.transId));
}

bool Cfrm_refine_cld_nbr::read(const QString& groupId, const QString& prefix, Cdb_nbr_cld_refine& record)
{
    record.groupID = BclStrToU32(groupId);
    BclCopyQStr(record.calledPrefix, prefix);
    return _store->DbRefineCalledNbrGet(record) == kDbOk;
}

void Cfrm_refine_cld_nbr::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_refine_cld_nbr::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    Refinement record;
    if (key.isEmpty() || !read(key[0], key[1], record))
        return;
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_refine_cld_nbr::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    const uint32_t groupId = BclStrToU32(_getItemValue(row, 0));
    if (_store->DbRefineCalledNbrDelete(groupId, _getItemValue(row, 1).toUtf8().constData()) == kDbOk)
        _deleteRow(row);
}

void Cfrm_refine_cld_nbr::onSearchBtn()
{
    QString groupId;
    QString prefix;
    if (!_askFor(groupId, 407))
        return;
    if (!_askFor(prefix, 207))
        return;
    Refinement record;
    if (!read(groupId, prefix, record))
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
