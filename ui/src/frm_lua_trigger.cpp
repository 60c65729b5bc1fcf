#include "frm_lua_trigger.h"

#include "cachedb2/fac_mgr.h"
#include "cachedb2/switch_variants.h"
#include "common/combo_fill.h"
#include "common/display_text.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

using Trigger = Cdb_lua_trigger;

namespace {

constexpr int kKeyColumns = 4; // trigger point as a number and as a text, dial plan, called number

Trigger keyed(const QStringList& key)
{
    Trigger record;
    record.DP = BclStrToInt(key[0]);
    record.dialPlan.SetNbr(key[2].toUtf8().constData());
    record.calledNbr.SetNbr(key[3].toUtf8().constData());
    return record;
}

// Language item: what the server takes the called number of a trigger for.
int calledNumberItem()
{
    return gVarCcfLuaServiceMatchCld != 0 ? 351 : 207;
}

QString pointText(int point)
{
    const QString text = GetDPString(point);
    return text.isEmpty() ? QString::number(point) : text;
}

} // namespace

Cdlg_lua_trigger::Cdlg_lua_trigger(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpLua);
    GetLangItem(433, this, "");
    setupUi();
}

void Cdlg_lua_trigger::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    QComboBox* const point = _indexItem(grid.addCombo(368));
    point->addItem(GetDPString(kLuaNumberAnalyzed), kLuaNumberAnalyzed);
    point->addItem(GetDPString(kLuaNumberCollected), kLuaNumberCollected);
    _key.oneOf(point, &Trigger::DP);
    _cmbDialPlan = _indexItem(grid.addCombo(291));
    _key.chosenText(_cmbDialPlan, &Trigger::dialPlan);
    _edtCalledNbr = _indexItem(grid.addEdit(calledNumberItem()));
    _key.text(_edtCalledNbr, &Trigger::calledNbr);
    _form.text(grid.addEdit(283), &Trigger::name);
    _edtModuleName = grid.addEdit(434);
    _form.text(_edtModuleName, &Trigger::moduleName);
    _addButtonBox(layout);
}

void Cdlg_lua_trigger::Init(const Cdb_lua_trigger* record)
{
    InitDialPlanView(_store, _cmbDialPlan);
    Cdlg_storing::Init(record);
}

void Cdlg_lua_trigger::accept()
{
    if (_edtCalledNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure destination number."));
    if (_edtModuleName->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure Lua module name."));
    _readInputs();
    if (_isNew && _store->DbLuaTriggerHas(_record.DP, _record.dialPlan.c_str(), _record.calledNbr.c_str()) == kDbHas)
        return _refuse(QStringLiteral("Invalid operation"),
                       QStringLiteral("Current record has the same index items with previous records."));
    _closeBy(_isNew ? _store->DbLuaTriggerAdd(_record) : _store->DbLuaTriggerUpdate(_record));
}

Cfrm_lua_trigger::Cfrm_lua_trigger(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_lua_trigger(store, this))
{
    setHelpTopicID(kHelpLua);
    GetLangItem(435, this, "");
    _hideSearchButton();
    initColumnView();
}

// The trigger point stands there twice: as the number that the key has, and as what it means.
void Cfrm_lua_trigger::initColumnView()
{
    _addColumn(QStringLiteral("dp"));
    _addColumns({368, 291, calledNumberItem(), 283, 434});
    _hideColumn(0);
}

uint32_t Cfrm_lua_trigger::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_lua_trigger");
}

void Cfrm_lua_trigger::loadData()
{
    forEachRecord<Trigger>(_store->GetCacheDB(),
                           _pageOf("select * from tbl_lua_trigger order by DP, dialPlan, calledNbr"),
                           ldb_lua_trigger_get_full_data, [this](const Trigger& record) { _addItem(record); });
}

void Cfrm_lua_trigger::_addItem(const Cdb_lua_trigger& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, record.DP);
    _setItemValue(row, 1, pointText(record.DP));
    _setItemValue(row, 2, QString::fromUtf8(record.dialPlan.c_str()));
    _setItemValue(row, 3, QString::fromUtf8(record.calledNbr.c_str()));
    _setItemValue(row, 4, QString::fromUtf8(record.name));
    _setItemValue(row, 5, QString::fromUtf8(record.moduleName.c_str()));
}

void Cfrm_lua_trigger::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// The row comes last until the page is loaded again.
void Cfrm_lua_trigger::onEditBtn()
{
    const QStringList key = _selectedKey(kKeyColumns);
    if (key.isEmpty())
        return;
    Trigger record = keyed(key);
    if (_store->DbLuaTriggerGet(&record) != kDbOk)
        return;
    _editor->Init(&record);
    if (_editor->exec() != QDialog::Accepted)
        return;
    _deleteRow(_rowOfKey(key));
    _addItem(_editor->record());
    _selectLastRow();
}

// The row goes whatever the store says.
void Cfrm_lua_trigger::onDeleteBtn()
{
    const QStringList key = _selectedKey(kKeyColumns);
    if (key.isEmpty())
        return;
    _store->DbLuaTriggerDel(keyed(key));
    _deleteRow(_selectedRow());
}
