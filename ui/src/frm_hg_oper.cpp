#include "frm_hg_oper.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/combo_value.h"
#include "common/display_text.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QVBoxLayout>

using Operator = Cdb_hunting_group_operator_data;

Cdlg_hg_oper::Cdlg_hg_oper(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(280, this, "");
    setupUi();
}

void Cdlg_hg_oper::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtNumber = grid.addEdit(287);
    _cmbGroup = grid.addCombo(288);
    _chkExternal = grid.addCheck(354);
    _addButtonBox(layout);
}

void Cdlg_hg_oper::Init(const char* number)
{
    InitHGGroupIdView(_store, _cmbGroup);
    _edtNumber->clear();
    _chkExternal->setChecked(false);
    _record.Init();
    _mode = BclStrIsBlank(QString::fromUtf8(number)) ? Mode::Add : Mode::Edit;
    if (_mode == Mode::Add) {
        EnableEditControl(_edtNumber);
        EnableEditControl(_cmbGroup);
    }
}

void Cdlg_hg_oper::accept()
{
    if (_edtNumber->text().isEmpty())
        return _refuseParam(QStringLiteral("Please configure operator number."));
    _record.operatorNbr.SetNbr(_edtNumber->text().toUtf8().constData());
    _record.groupID = ComboBoxGetValU32(_cmbGroup);
    _record.isExternal = _chkExternal->isChecked() ? 1 : 0;
    if (_store->DbHasOperator(_record.operatorNbr.c_str()) == kDbHas)
        return _refuseParam(QStringLiteral("There is an operator."));
    _closeBy(_store->DbAddHGOperator(_record));
}

Cfrm_hg_oper::Cfrm_hg_oper(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_hg_oper(store, this))
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(289, this, "");
    _hideEditButton();
    _hideSearchButton();
    initColumnView();
}

void Cfrm_hg_oper::initColumnView()
{
    _addColumns({287, 288, 353});
}

uint32_t Cfrm_hg_oper::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_hunting_group_operator");
}

void Cfrm_hg_oper::loadData()
{
    forEachRecord<Operator>(_store->GetCacheDB(), _pageOf("select * from tbl_hunting_group_operator order by operator"),
                            cdb_hg_operator_get_full_data, [this](const Operator& record) { _addItem(record); });
}

void Cfrm_hg_oper::_addItem(const Cdb_hunting_group_operator_data& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.operatorNbr.c_str()));
    _setItemValue(row, 1, record.groupID);
    _setItemValue(row, 2, GetBoolString(record.isExternal));
}

void Cfrm_hg_oper::onAddBtn()
{
    if (_store->DbGetHGGrouptCnt() == 0)
        return PlxWarningInvalidParam(QStringLiteral("Please configure hunting group information firstly."));
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_hg_oper::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbRemoveHGOperator(_getItemValue(row, 0).toUtf8().constData());
    _deleteRow(row);
}
