#include "frm_time_cond.h"

#include "cachedb2/fac_mgr.h"
#include "common/display_text.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

#include <cstdio>

namespace {

constexpr int kDaysOfWeek = 7;

QString timeText(unsigned hour, unsigned minute)
{
    return QString::asprintf("%02u:%02u", hour, minute);
}

QString weekdaysText(unsigned mask)
{
    Cbcl_tmp_str names;
    for (unsigned day = 0; day < kDaysOfWeek; ++day) {
        if ((mask & 1u << day) != 0)
            names.append("%s,", GetWeekStr(static_cast<Ebcl_week>(day)).toUtf8().constData());
    }
    names.cut(',');
    return QString::fromUtf8(names.c_str());
}

} // namespace

Cdlg_time_cond::Cdlg_time_cond(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpTimeCondition);
    GetLangItem(425, this, "");
    setupUi();
}

void Cdlg_time_cond::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout, 2);
    _edtId = _indexItem(grid.addEdit(426));
    _key.numberOrNone(_edtId, &Cdb_time_cond::ID);
    _form.text(grid.addEdit(283), &Cdb_time_cond::description);
    addTime(grid.addEdit(427), &Cdb_time_cond::startHour, &Cdb_time_cond::startMinute);
    addTime(grid.addEdit(428), &Cdb_time_cond::endHour, &Cdb_time_cond::endMinute);
    unsigned day = 0;
    for (QCheckBox* const box : grid.addChecks(429, {424, 418, 419, 420, 421, 422, 423}, 3))
        _form.flag(box, &Cdb_time_cond::weekdays, 1u << day++);
    _addButtonBox(layout);
}

// Times that no clock shows are stored as they were typed: the server says what they mean.
void Cdlg_time_cond::addTime(QLineEdit* edit, uint8_t Cdb_time_cond::*hour, uint8_t Cdb_time_cond::*minute)
{
    edit->setInputMask(QStringLiteral("99:99"));
    edit->setToolTip(QStringLiteral("HH:MM"));
    _form.bind([=](const Cdb_time_cond& record) { edit->setText(timeText(record.*hour, record.*minute)); },
               [=](Cdb_time_cond& record) {
                   unsigned hours = 0;
                   unsigned minutes = 0;
                   std::sscanf(edit->text().toUtf8().constData(), "%u:%u", &hours, &minutes);
                   record.*hour = static_cast<uint8_t>(hours);
                   record.*minute = static_cast<uint8_t>(minutes);
               });
}

void Cdlg_time_cond::init(const Cdb_time_cond* record)
{
    Init(record);
    record == nullptr ? enableIndexItems() : disableIndexItems();
}

void Cdlg_time_cond::accept()
{
    if (BclStrIsBlank(_edtId->text()))
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure 'Time condition ID'."));
    _readInputs();
    _closeBy(_isNew ? _store->DbTimeConditionAdd(_record) : _store->DbTimeConditionUpdate(_record));
}

Cfrm_time_cond::Cfrm_time_cond(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_time_cond(store, this))
{
    setHelpTopicID(kHelpTimeCondition);
    GetLangItem(425, this, "");
    _hidePreviousButton();
    _hideNextButton();
    _hideRefreshButton();
    _hideSearchButton();
    initColumnView();
}

void Cfrm_time_cond::initColumnView()
{
    _addColumns({426, 283, 427, 428, 429});
}

void Cfrm_time_cond::loadData()
{
    forEachRecord<Cdb_time_cond>(_store->GetCacheDB(), "select * from tbl_time_condition order by ID",
                                 ldb_time_condition_get_full_data,
                                 [this](const Cdb_time_cond& record) { addItem(&record); });
}

void Cfrm_time_cond::addItem(const Cdb_time_cond* record)
{
    setItem(_appendRow(), record);
}

void Cfrm_time_cond::setItem(int row, const Cdb_time_cond* record)
{
    _setItemValue(row, 0, record->ID);
    _setItemValue(row, 1, QString::fromUtf8(record->description));
    _setItemValue(row, 2, timeText(record->startHour, record->startMinute));
    _setItemValue(row, 3, timeText(record->endHour, record->endMinute));
    _setItemValue(row, 4, weekdaysText(record->weekdays));
}

void Cfrm_time_cond::onAddBtn()
{
    _editor->init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        addItem(&_editor->record());
}

void Cfrm_time_cond::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Cdb_time_cond record;
    record.ID = BclStrToU32(key.first());
    if (_store->DbTimeConditionGet(record) != kDbOk)
        return;
    _editor->init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setItem(_rowOfKey(key), &_editor->record());
}

void Cfrm_time_cond::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbTimeConditionDel(BclStrToU32(_getItemValue(row, 0))) == kDbOk)
        _deleteRow(row);
}
