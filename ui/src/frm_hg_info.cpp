#include "frm_hg_info.h"

#include "cachedb2/fac_mgr.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/translations.h"
#include "common/warning_box.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QLineEdit>
#include <QVBoxLayout>

using Group = Cdb_hunting_group_cfg_data;

namespace {

// Strategies, which are the numbers of their buttons too.
constexpr int kRoundRobin = 1;
constexpr int kLongestIdle = 2;

constexpr unsigned kMinOperatorTime = 10; // s

QString strategyText(int strategy)
{
    switch (strategy) {
    case kRoundRobin:
        return GetLangItem(411);
    case kLongestIdle:
        return GetLangItem(412);
    default:
        return MessageText(QStringLiteral("Unknown"));
    }
}

} // namespace

Cdlg_hg_info::Cdlg_hg_info(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(278, this, "");
    setupUi();
}

void Cdlg_hg_info::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtGroupId = grid.addEdit(282);
    _edtName = grid.addEdit(283);
    _strategy = grid.addRadios(281, {{411, kRoundRobin}, {412, kLongestIdle}});
    _edtOperatorTime = grid.addEdit(284);
    _chkQueue = grid.addCheck(331);
    _edtQueueCounter = grid.addEdit(332);
    _edtQueueDuration = grid.addEdit(333);
    _addButtonBox(layout);
    connect(_chkQueue, &QCheckBox::toggled, this, &Cdlg_hg_info::chkQueueClick);
}

void Cdlg_hg_info::chkQueueClick(bool on)
{
    SwitchEditControl(_edtQueueCounter, on);
    SwitchEditControl(_edtQueueDuration, on);
}

void Cdlg_hg_info::Init(unsigned int groupID)
{
    const bool isNew = groupID == 0;
    _mode = isNew ? Mode::Add : Mode::Edit;
    _groupID = groupID;
    _record.Init();
    _record.groupID = groupID;
    if (!isNew)
        _store->DbGetHGInfo(_record);
    _edtGroupId->setText(isNew ? QString() : QString::number(groupID));
    SwitchEditControl(_edtGroupId, isNew);
    showRecord();
}

void Cdlg_hg_info::showRecord()
{
    const bool hasQueue = _record.isQueueOn == 1;
    _edtName->setText(QString::fromUtf8(_record.name));
    showStrategy(_record.strategy);
    _edtOperatorTime->setText(QString::number(_record.operatorTime));
    _chkQueue->setChecked(hasQueue);
    chkQueueClick(hasQueue);
    _edtQueueCounter->setText(hasQueue ? QString::number(_record.queueCounter) : QString());
    _edtQueueDuration->setText(QString::number(_record.queueDuration));
}

// A strategy from above that has no button shows as none, which exclusive buttons would not let happen.
void Cdlg_hg_info::showStrategy(int strategy)
{
    _strategy->setExclusive(false);
    for (QAbstractButton* const button : _strategy->buttons())
        button->setChecked(_strategy->id(button) == qMax(kRoundRobin, strategy));
    _strategy->setExclusive(true);
}

bool Cdlg_hg_info::isQueueIncomplete() const
{
    return _chkQueue->isChecked() && (_edtQueueDuration->text().isEmpty() || _edtQueueCounter->text().isEmpty());
}

void Cdlg_hg_info::readInputs(Cdb_hunting_group_cfg_data& record) const
{
    BclCopyQStr(record.name, _edtName->text());
    const bool isChosen = _strategy->checkedId() > 0;
    record.strategy = isChosen ? _strategy->checkedId() : _record.strategy;
    if (const QString time = _edtOperatorTime->text(); !time.isEmpty())
        record.operatorTime = qMax(kMinOperatorTime, BclStrToU32(time));
    if (_chkQueue->isChecked()) {
        record.isQueueOn = 1;
        record.queueCounter = BclNumberOf<uint8_t>(_edtQueueCounter->text());
        record.queueDuration = BclNumberOf<uint16_t>(_edtQueueDuration->text());
    }
}

// Other than elsewhere the store's result does not matter: what was entered is shown.
void Cdlg_hg_info::accept()
{
    Group record;
    record.groupID = BclStrToU32(_edtGroupId->text());
    if (!record.IsUsed())
        return _refuse(QStringLiteral("Invalid parameter"),
                       QStringLiteral("The group ID is invalid. It should be [1,100]."));
    if (_mode == Mode::Add && _store->DbHasHGInfo(record.groupID) == kDbHas)
        return _refuse(QStringLiteral("Invalid configuration"), QStringLiteral("The group ID has been configured."));
    if (isQueueIncomplete())
        return _refuse(QStringLiteral("Invalid configuration"),
                       QStringLiteral("The call queue counter or duration should be configured."));
    readInputs(record);
    _record = record;
    _groupID = record.groupID;
    if (_mode == Mode::Add)
        _store->DbAddHuntingGroup(_record);
    else
        _store->DbUpdateHuntingGroup(_record);
    Cdlg_common::accept();
}

Cfrm_hg_info::Cfrm_hg_info(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_hg_info(store, this))
{
    setHelpTopicID(kHelpHuntingGroup);
    GetLangItem(277, this, "");
    initColumnView();
}

void Cfrm_hg_info::initColumnView()
{
    _addColumns({282, 283, 281, 284});
}

// Groups are counted where their selection boxes read them, and listed from the cache like every other table.
uint32_t Cfrm_hg_info::getRecordCnt()
{
    return countRows(_store->GetLocalDB(), "select count(*) from tbl_hunting_group");
}

void Cfrm_hg_info::loadData()
{
    forEachRecord<Group>(_store->GetCacheDB(), _pageOf("select * from tbl_hunting_group order by groupID"),
                         ldb_hg_group_get_full_data,
                         [this](const Group& record) { _addItem(record.groupID, &record); });
}

void Cfrm_hg_info::_addItem(unsigned int groupID, const Cdb_hunting_group_cfg_data* record)
{
    if (!record->IsUsed())
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::number(groupID));
    _setItemValue(row, 1, QString::fromUtf8(record->name));
    _setItemValue(row, 2, strategyText(record->strategy));
    _setItemValue(row, 3, record->operatorTime);
}

void Cfrm_hg_info::onAddBtn()
{
    _editor->Init(0);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->groupID(), &_editor->record());
}

// The row comes last until the page is loaded again.
void Cfrm_hg_info::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    _editor->Init(BclStrToU32(key.first()));
    if (_editor->exec() != QDialog::Accepted)
        return;
    _deleteRow(_rowOfKey(key));
    _addItem(_editor->groupID(), &_editor->record());
    _selectLastRow();
}

void Cfrm_hg_info::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbDelHuntingGroup(BclStrToU32(_getItemValue(row, 0)));
    _deleteRow(row);
}

void Cfrm_hg_info::onSearchBtn()
{
    QString text;
    if (!_askFor(text, 282))
        return;
    const uint32_t groupID = BclStrToU32(text);
    if (_store->DbHasHGInfo(groupID) != kDbHas)
        return PlxWarningNoRecord();
    _editor->Init(groupID);
    _editor->exec();
}
