#include "frm_route_group.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

Cdlg_route_group::Cdlg_route_group(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpRoutingGroup);
    GetLangItem(397, this, "");
    setupUi();
}

void Cdlg_route_group::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtGroupId = _indexItem(grid.addEdit(396));
    _key.numberOrNone(_edtGroupId, &Cdb_route_group::groupID);
    _form.text(grid.addEdit(283), &Cdb_route_group::description);
    _addButtonBox(layout);
}

void Cdlg_route_group::accept()
{
    if (BclStrIsBlank(_edtGroupId->text()))
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure 'Group ID'."));
    _readInputs();
    _closeBy(_isNew ? _store->DbRouteGroupAdd(_record) : _store->DbRouteGroupUpdate(_record));
}

Cfrm_route_group::Cfrm_route_group(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_route_group(store, this))
{
    setHelpTopicID(kHelpRoutingGroup);
    GetLangItem(395, this, "");
    initColumnView();
}

void Cfrm_route_group::initColumnView()
{
    _addColumn(GetLangItem(396));
    _addFinalColumn(GetLangItem(283));
}

uint32_t Cfrm_route_group::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_route_group");
}

void Cfrm_route_group::loadData()
{
    forEachRecord<Cdb_route_group>(_store->GetCacheDB(), _pageOf("select * from tbl_route_group order by groupID"),
                                   ldb_route_group_get_full_data,
                                   [this](const Cdb_route_group& record) { _addItem(record); });
}

void Cfrm_route_group::_addItem(const Cdb_route_group& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, record.groupID);
    _setItemValue(row, 1, QString::fromUtf8(record.description));
}

void Cfrm_route_group::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_route_group::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Cdb_route_group record;
    record.groupID = BclStrToU32(key.first());
    if (_store->DbRouteGroupGet(record) != kDbOk)
        return;
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        _setItemValue(_rowOfKey(key), 1, QString::fromUtf8(_editor->record().description));
}

void Cfrm_route_group::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbRouteGroupDelete(BclStrToU32(_getItemValue(row, 0))) == kDbOk)
        _deleteRow(row);
}

void Cfrm_route_group::onSearchBtn()
{
    QString text;
    if (!_askFor(text, 396))
        return;
    Cdb_route_group record;
    record.groupID = BclStrToU32(text);
    if (_store->DbRouteGroupGet(record) != kDbOk)
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
