#include "frm_clr_rewriting.h"

#include "cachedb2/fac_mgr.h"
#include "common/display_text.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Rewriting = Cdb_clr_rewriting_info;

Cdlg_clr_rewriting::Cdlg_clr_rewriting(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpCallerRewriting);
    GetLangItem(26, this, "");
    setupUi();
}

void Cdlg_clr_rewriting::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtCallerNbr = _indexItem(grid.addEdit(232));
    _key.text(_edtCallerNbr, &Rewriting::callerNbr);
    _form.text(grid.addEdit(233), &Rewriting::displayName);
    _form.flag(grid.addCheck(470), &Rewriting::isAnonymous, 1);
    _addButtonBox(layout);
}

// The display name may be empty, whatever the box says of it.
void Cdlg_clr_rewriting::accept()
{
    if (_edtCallerNbr->text().isEmpty())
        return _refuseParam(QStringLiteral("Please check Caller ID or Display name. They cannot be NULLP"));
    _readInputs();
    _closeBy(_isNew ? _store->DbClrReWriteAdd(&_record) : _store->DbClrReWriteUpdate(&_record));
}

Cfrm_clr_rewriting::Cfrm_clr_rewriting(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_clr_rewriting(store, this))
{
    setHelpTopicID(kHelpCallerRewriting);
    GetLangItem(26, this, "");
    initColumnView();
}

void Cfrm_clr_rewriting::initColumnView()
{
    _addColumns({232, 233, 470});
}

uint32_t Cfrm_clr_rewriting::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_clr_rewrite");
}

void Cfrm_clr_rewriting::loadData()
{
    forEachRecord<Rewriting>(_store->GetCacheDB(), _pageOf("select * from tbl_clr_rewrite order by callerNbr"),
                             ldb_clr_rewrite_get_full_data, [this](const Rewriting& record) { _addItem(record); });
}

void Cfrm_clr_rewriting::_addItem(const Cdb_clr_rewriting_info& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.callerNbr));
    setRest(row, record);
}

void Cfrm_clr_rewriting::setRest(int row, const Cdb_clr_rewriting_info& record)
{
    _setItemValue(row, 1, QString::fromUtf8(record.displayName));
    _setItemValue(row, 2, GetBoolString(record.isAnonymous));
}

bool Cfrm_clr_rewriting::read(const QString& callerNbr, Cdb_clr_rewriting_info& record)
{
    BclCopyQStr(record.callerNbr, callerNbr);
    return _store->DbClrReWriteGet(&record) == kDbOk;
}

void Cfrm_clr_rewriting::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_clr_rewriting::onEditBtn()
{
    const QStringList key = _selectedKey();
    Rewriting record;
    if (key.isEmpty() || !read(key.first(), record))
        return;
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_clr_rewriting::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Rewriting record;
    BclCopyQStr(record.callerNbr, key.first());
    if (_store->DbClrReWriteDel(&record) == kDbOk)
        _deleteRow(_selectedRow());
}

void Cfrm_clr_rewriting::onSearchBtn()
{
    QString callerNbr;
    if (!_askFor(callerNbr, 232))
        return;
    Rewriting record;
    if (!read(callerNbr, record))
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
