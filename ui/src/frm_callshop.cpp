#include "frm_callshop.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

#include <algorithm>

using Rate = Cdb_call_shop_fee_rate_info;

Cdlg_callshop::Cdlg_callshop(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpCallShop);
    GetLangItem(253, this, "");
    setupUi();
}

void Cdlg_callshop::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    for (const int item : {207, 283, 255, 256})
        _inputs.append(grid.addEdit(item));
    _key.text(_indexItem(_inputs[0]), &Rate::calledNbr);
    _form.text(_inputs[1], &Rate::description);
    addNumber(_inputs[2], &Rate::interval);
    addNumber(_inputs[3], &Rate::fee);
    _addButtonBox(layout);
}

void Cdlg_callshop::addNumber(QLineEdit* edit, uint32_t Cdb_call_shop_fee_rate_info::*field)
{
    _form.bind([=](const Rate& record) { edit->setText(QString::number(record.*field)); },
               [=](Rate& record) { record.*field = BclStrToU32(edit->text()); });
}

// The description too must be there.
void Cdlg_callshop::accept()
{
    if (std::any_of(_inputs.begin(), _inputs.end(), [](const QLineEdit* each) { return each->text().isEmpty(); }))
        return _refuseParam(QStringLiteral("Please check parameters. They cannot be NULLP"));
    _readInputs();
    _closeBy(_isNew ? _store->DbCallShopAdd(&_record) : _store->DbCallShopUpdate(&_record));
}

Cfrm_callshop::Cfrm_callshop(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_callshop(store, this))
{
    setHelpTopicID(kHelpCallShop);
    GetLangItem(252, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_callshop::initColumnView()
{
    _addColumns({207, 283, 255, 256});
}

uint32_t Cfrm_callshop::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_call_shop");
}

void Cfrm_callshop::loadData()
{
    forEachRow(_store->GetCacheDB(), _pageOf("select * from tbl_call_shop order by calledNbr"),
               [this](const Cdb_query& row) {
                   Rate record;
                   ldb_call_shop_get_full_data(&row, &record);
                   _addItem(record);
               });
}

void Cfrm_callshop::_addItem(const Cdb_call_shop_fee_rate_info& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.calledNbr));
    setRest(row, record);
}

void Cfrm_callshop::setRest(int row, const Cdb_call_shop_fee_rate_info& record)
{
    _setItemValue(row, 1, QString::fromUtf8(record.description));
    _setItemValue(row, 2, record.interval);
    _setItemValue(row, 3, record.fee);
}

void Cfrm_callshop::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// The record is what the row shows; the store is not asked for it.
void Cfrm_callshop::onEditBtn()
{
    const QStringList cells = _selectedKey(4);
    if (cells.isEmpty())
        return;
    Rate record;
    BclCopyQStr(record.calledNbr, cells[0]);
    BclCopyQStr(record.description, cells[1]);
    record.interval = BclStrToU32(cells[2]);
    record.fee = BclStrToU32(cells[3]);
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey({cells[0]}), _editor->record());
}

// The row goes whatever the store says.
void Cfrm_callshop::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Rate record;
    BclCopyQStr(record.calledNbr, key.first());
    _store->DbCallShopDel(&record);
    _deleteRow(_selectedRow());
}
