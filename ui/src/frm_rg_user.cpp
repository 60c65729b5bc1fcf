#include "frm_rg_user.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QLineEdit>
#include <QVBoxLayout>

Cdlg_rg_user::Cdlg_rg_user(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpRingGroup);
    GetLangItem(459, this, "");
    setupUi();
}

void Cdlg_rg_user::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtGroupId = grid.addEdit(458);
    _edtUser = grid.addEdit(459);
    _addButtonBox(layout);
}

void Cdlg_rg_user::init()
{
    _record.init();
    _edtGroupId->clear();
    _edtUser->clear();
}

void Cdlg_rg_user::accept()
{
    _record.groupID = BclStrToU32(_edtGroupId->text());
    if (_record.groupID == 0)
        return _refuseParam(QStringLiteral("Please configure a valid group ID."));
    BclCopyQStr(_record.user, _edtUser->text());
    if (_store->DbIsLocalUser(_record.user) == 0)
        return _refuseParam(QStringLiteral("Ringing user must be a local user."));
    if (_store->DbRGUserHas(_record) == kDbHas) {
        PlxWarningRecordExist();
        return reject();
    }
    _closeBy(_store->DbRGUserAdd(_record));
}

Cfrm_rg_user::Cfrm_rg_user(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_rg_user(store, this))
{
    setHelpTopicID(kHelpRingGroup);
    GetLangItem(459, this, "");
    _hideEditButton();
    _hideSearchButton();
    initColumnView();
}

void Cfrm_rg_user::initColumnView()
{
    _addColumns({458, 459});
}

uint32_t Cfrm_rg_user::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_rg_user");
}

void Cfrm_rg_user::loadData()
{
    forEachRecord<Cdb_rg_user>(_store->GetCacheDB(), _pageOf("select * from tbl_rg_user order by groupID, user"),
                               ldb_rg_user_get_full_data, [this](const Cdb_rg_user& record) { addItem(record); });
}

void Cfrm_rg_user::addItem(const Cdb_rg_user& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, record.groupID);
    _setItemValue(row, 1, QString::fromUtf8(record.user));
}

void Cfrm_rg_user::onAddBtn()
{
    _editor->init();
    if (_editor->exec() == QDialog::Accepted)
        addItem(_editor->record());
}

void Cfrm_rg_user::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    Cdb_rg_user record;
    record.groupID = BclStrToU32(_getItemValue(row, 0));
    BclCopyQStr(record.user, _getItemValue(row, 1));
    _store->DbRGUserDel(record);
    _deleteRow(row);
}
