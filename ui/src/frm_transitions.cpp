#include "frm_transitions.h"

#include "cachedb2/fac_mgr.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/translations.h"
#include "common/warning_box.h"

#include <QButtonGroup>
#include <QVBoxLayout>

using Transition = Cdb_nbr_trans_data;

namespace {

constexpr unsigned kMaxStart = 31;
constexpr unsigned kMaxLength = 32;
constexpr int kMaxDigits = 32; // characters

void clearAndDisable(QLineEdit* edit)
{
    edit->clear();
    DisableEditControl(edit);
}

QString typeText(unsigned type)
{
    switch (type) {
    case kTransAdd:
        return GetLangItem(195);
    case kTransReplace:
        return GetLangItem(197);
    case kTransDelete:
        return GetLangItem(196);
    default:
        return MessageText(QStringLiteral("Unknown"));
    }
}

} // namespace

Cdlg_transition::Cdlg_transition(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_record(store, parent)
{
    setHelpTopicID(kHelpTransitions);
    GetLangItem(189, this, "");
    setupUi();
}

void Cdlg_transition::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtId = grid.addEdit(190);
    _edtDescription = grid.addEdit(283);
    // The types are the numbers of their buttons.
    _type = grid.addRadios(191, {{195, kTransAdd}, {197, kTransReplace}, {196, kTransDelete}});
    _edtStart = grid.addEdit(192);
    _edtLength = grid.addEdit(193);
    _edtDigits = grid.addEdit(194);
    _addButtonBox(layout);
    connect(_type, &QButtonGroup::idClicked, this, &Cdlg_transition::transTypeButtonsClick);
}

void Cdlg_transition::transTypeButtonsClick(int id)
{
    switch (id) {
    case kTransAdd:
        return _initAddTypeView();
    case kTransReplace:
        return _initReplaceTypeView();
    case kTransDelete:
        return _initDeleteTypeView();
    default:
        return;
    }
}

void Cdlg_transition::_setTransTypeButton(int id)
{
    _type->button(id == 0 ? int{kTransAdd} : id)->setChecked(true);
}

void Cdlg_transition::_initAddTypeView()
{
    EnableEditControl(_edtDigits);
    clearAndDisable(_edtStart);
    clearAndDisable(_edtLength);
    _setTransTypeButton(kTransAdd);
}

void Cdlg_transition::_initReplaceTypeView()
{
    EnableEditControl(_edtDigits);
    EnableEditControl(_edtStart);
    EnableEditControl(_edtLength);
    _setTransTypeButton(kTransReplace);
}

void Cdlg_transition::_initDeleteTypeView()
{
    clearAndDisable(_edtDigits);
    EnableEditControl(_edtStart);
    EnableEditControl(_edtLength);
    _setTransTypeButton(kTransDelete);
}

void Cdlg_transition::Init(const Cdb_nbr_trans_data* record, int id)
{
    _edited.open(record);
    _edtId->setText(record == nullptr ? QString() : QString::number(id));
    _edtId->setEnabled(record == nullptr);
    const Transition& shown = _edited.opening;
    _edtDescription->setText(QString::fromUtf8(shown.description));
    _edtDigits->setText(QString::fromUtf8(shown.digits));
    _edtStart->setText(QString::number(shown.startPos));
    _edtLength->setText(QString::number(shown.length));
    transTypeButtonsClick(record == nullptr ? int{kTransAdd} : static_cast<int>(shown.type));
}

int Cdlg_transition::readInputs()
{
    Transition& record = _edited.work;
    const int id = BclStrToInt(_edtId->text());
    if (id < 1)
        return 198;
    record.Init();
    record.transid = static_cast<uint32_t>(id);
    record.type = static_cast<uint32_t>(_type->checkedId());
    const QString digits = _edtDigits->text();
    if (record.type == kTransAdd) {
        if (digits.isEmpty())
            return 199;
    } else {
        if (_edtStart->text().isEmpty())
            return 201;
        if (_edtLength->text().isEmpty())
            return 202;
    }
    if (digits.size() > kMaxDigits)
        return 200;
    if (record.type != kTransAdd) {
        // What is negative is too large as well.
        record.startPos = static_cast<uint32_t>(BclStrToInt(_edtStart->text()));
        record.length = static_cast<uint32_t>(BclStrToInt(_edtLength->text()));
    }
    if (record.startPos > kMaxStart)
        return 203;
    if (record.length > kMaxLength)
        return 204;
    BclCopyQStr(record.description, _edtDescription->text());
    BclCopyQStr(record.digits, digits);
    return 0;
}

void Cdlg_transition::accept()
{
    if (const int wrong = readInputs(); wrong != 0)
        return _refuseParam(GetLangItem(wrong));
    Cdlg_common::accept();
}

Cfrm_transitions::Cfrm_transitions(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_transition(store, this))
{
    setHelpTopicID(kHelpTransitions);
    GetLangItem(188, this, "");
    initColumnView();
}

void Cfrm_transitions::initColumnView()
{
    _addColumns({190, 283, 191, 192, 193, 194});
}

uint32_t Cfrm_transitions::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_nbr_trans");
}

void Cfrm_transitions::loadData()
{
    forEachRecord<Transition>(
        _store->GetCacheDB(), _pageOf("select * from tbl_nbr_trans order by transid"), ldb_nbr_trans_get_full_data,
        [this](const Transition& record) { _addItem(static_cast<int>(record.transid), &record); });
}

void Cfrm_transitions::_addItem(int id, const Cdb_nbr_trans_data* record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::number(id));
    _setItemValue(row, 1, QString::fromUtf8(record->description));
    _setItemValue(row, 2, typeText(record->type));
    _setItemValue(row, 3, QString::number(record->startPos));
    _setItemValue(row, 4, QString::number(record->length));
    _setItemValue(row, 5, QString::fromUtf8(record->digits));
}

bool Cfrm_transitions::read(int id, Cdb_nbr_trans_data& record)
{
    record.transid = static_cast<uint32_t>(id);
    return _store->DbNbrTransGet(record) == kDbOk && record.IsValid();
}

void Cfrm_transitions::onAddBtn()
{
    _editor->Init(nullptr, 0);
    if (!_editor->isEdited())
        return;
    const Transition& record = _editor->record();
    if (_store->DbNbrTransHas(record.transid) == kDbHas)
        return; // what is there stays
    _store->DbNbrTransSet(record);
    _addItem(static_cast<int>(record.transid), &record);
}

// The row comes last until the page is loaded again.
void Cfrm_transitions::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    const int id = BclStrToInt(key.first());
    Transition record;
    if (!read(id, record))
        return;
    _editor->Init(&record, id);
    if (!_editor->isEdited())
        return;
    _store->DbNbrTransSet(_editor->record());
    _deleteRow(_rowOfKey(key));
    _addItem(id, &_editor->record());
    _selectLastRow();
}

void Cfrm_transitions::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbNbrTransDel(BclStrToU32(_getItemValue(row, 0)));
    _deleteRow(row);
}

void Cfrm_transitions::onSearchBtn()
{
    QString text;
    if (!_askFor(text, 190))
        return;
    const int id = BclStrToInt(text);
    Transition record;
    if (!read(id, record))
        return PlxWarningNoRecord();
    _editor->Init(&record, id);
    if (_editor->isEdited())
        _store->DbNbrTransSet(_editor->record());
}
