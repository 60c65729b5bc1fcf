#include "frm_sys_black_list.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using BlackItem = Cdb_sys_black_item;

namespace {

// Nothing but its key.
BlackItem keyed(const QString& callerNbr, const QString& calledNbr)
{
    BlackItem record;
    BclCopyQStr(record.callerNbr, callerNbr);
    BclCopyQStr(record.calledNbr, calledNbr);
    return record;
}

} // namespace

// The second title is the one that shows.
Cdlg_sys_black_list::Cdlg_sys_black_list(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpBlackList);
    GetLangItem(226, this, "");
    GetLangItem(425, this, "");
    setupUi();
}

void Cdlg_sys_black_list::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_indexItem(grid.addEdit(228)), &BlackItem::callerNbr);
    _key.text(_indexItem(grid.addEdit(207)), &BlackItem::calledNbr);
    _form.text(grid.addEdit(283), &BlackItem::name);
    _form.number(grid.addEdit(229), &BlackItem::code);
    _addButtonBox(layout);
}

void Cdlg_sys_black_list::accept()
{
    _readInputs();
    BclStrTrimSpace(_record.callerNbr);
    BclStrTrimSpace(_record.calledNbr);
    if (!_record.IsValid())
        return _refuse(QStringLiteral("Parameter Invalid"),
                       QStringLiteral("Please check your input. Some parameters are invalid. "));
    _closeBy(_isNew ? _store->DbSysBlackListAdd(&_record) : _store->DbSysBlackListUpdate(&_record));
}

Cfrm_sys_black_list::Cfrm_sys_black_list(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_sys_black_list(store, this))
{
    setHelpTopicID(kHelpBlackList);
    GetLangItem(225, this, "");
    initColumnView();
}

void Cfrm_sys_black_list::initColumnView()
{
    _addColumns({228, 207, 283, 229});
}

uint32_t Cfrm_sys_black_list::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_sys_blacklist");
}

void Cfrm_sys_black_list::loadData()
{
    forEachRecord<BlackItem>(_store->GetCacheDB(),
                             _pageOf("select * from tbl_sys_blacklist order by callerNbr, calledNbr"),
                             ldb_sys_black_list_get_full_data, [this](const BlackItem& record) { _addItem(record); });
}

void Cfrm_sys_black_list::_addItem(const Cdb_sys_black_item& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.callerNbr));
    _setItemValue(row, 1, QString::fromUtf8(record.calledNbr));
    setRest(row, record);
}

void Cfrm_sys_black_list::setRest(int row, const Cdb_sys_black_item& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.name));
    _setItemValue(row, 3, record.code);
}

void Cfrm_sys_black_list::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// The record is what the row shows; the store is not asked for it.
void Cfrm_sys_black_list::onEditBtn()
{
    const QStringList cells = _selectedKey(4);
    if (cells.isEmpty())
        return;
    BlackItem record = keyed(cells[0], cells[1]);
    BclCopyQStr(record.name, cells[2]);
    record.code = BclStrToInt(cells[3]);
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(cells.mid(0, 2)), _editor->record());
}

void Cfrm_sys_black_list::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    const BlackItem record = keyed(key[0], key[1]);
    if (_store->DbSysBlackListDel(&record) == kDbOk)
        _deleteRow(_selectedRow());
}

// Both lines must be filled in, so an entry for every caller or every number is found in the list only.
void Cfrm_sys_black_list::onSearchBtn()
{
    QString callerNbr;
    QString calledNbr;
    if (!_askFor(callerNbr, 228) || !_askFor(calledNbr, 207))
        return;
    BlackItem record = keyed(callerNbr, calledNbr);
    if (_store->DbSysBlackListGet(record) != kDbOk)
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
