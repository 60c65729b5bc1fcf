#include "frm_call_recording.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

namespace {

// Values of the flag.
constexpr int kNotRecorded = 1;
constexpr int kRecorded = 2;

} // namespace

Cdlg_call_recording::Cdlg_call_recording(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpCallRecording);
    GetLangItem(392, this, "");
    setupUi();
}

void Cdlg_call_recording::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtCallerNbr = _indexItem(grid.addEdit(228));
    _key.text(_edtCallerNbr, &Cdb_call_record::callerNbr);
    _edtCalledNbr = _indexItem(grid.addEdit(207));
    _key.text(_edtCalledNbr, &Cdb_call_record::calledNbr);
    _form.text(grid.addEdit(283), &Cdb_call_record::name);
    QComboBox* const recording = grid.addCombo(393);
    recording->addItem(GetLangItem(69), kRecorded);
    recording->addItem(GetLangItem(70), kNotRecorded);
    _form.oneOf(recording, &Cdb_call_record::recording);
    _addButtonBox(layout);
}

// A key that exists is refused by the store.
void Cdlg_call_recording::accept()
{
    if (_edtCallerNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure 'caller number prefix'."));
    if (_edtCalledNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure 'called number prefix'."));
    _readInputs();
    _closeBy(_isNew ? _store->DbAddCallRecord(_record) : _store->DbUpdateCallRecord(_record));
}

Cfrm_call_recording::Cfrm_call_recording(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_call_recording(store, this))
{
    setHelpTopicID(kHelpCallRecording);
    GetLangItem(392, this, "");
    initColumnView();
}

void Cfrm_call_recording::initColumnView()
{
    _addColumns({228, 207, 283, 393});
}

uint32_t Cfrm_call_recording::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_call_recording");
}

void Cfrm_call_recording::loadData()
{
    forEachRecord<Cdb_call_record>(
        _store->GetCacheDB(), _pageOf("select * from tbl_call_recording order by callerNbr, calledNbr"),
        ldb_call_recording_get_full_data, [this](const Cdb_call_record& record) { _addItem(record); });
}

void Cfrm_call_recording::_addItem(const Cdb_call_record& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.callerNbr.c_str()));
    _setItemValue(row, 1, QString::fromUtf8(record.calledNbr.c_str()));
    setRest(row, record);
}

void Cfrm_call_recording::setRest(int row, const Cdb_call_record& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.name));
    _setItemValue(row, 3, GetLangItem(record.recording == kRecorded ? 69 : 70));
}

bool Cfrm_call_recording::read(const QString& callerNbr, const QString& calledNbr, Cdb_call_record& record)
{
    record.callerNbr.SetNbr(callerNbr.toUtf8().constData());
    record.calledNbr.SetNbr(calledNbr.toUtf8().constData());
    return _store->DbCallRecordGet(record) == kDbOk;
}

void Cfrm_call_recording::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_call_recording::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    Cdb_call_record record;
    if (key.isEmpty() || !read(key[0], key[1], record))
        return;
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_call_recording::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (key.isEmpty())
        return;
    if (_store->DbCallRecordDel(key[0].toUtf8().constData(), key[1].toUtf8().constData()) == kDbOk)
        _deleteRow(_selectedRow());
}

void Cfrm_call_recording::onSearchBtn()
{
    QString callerNbr;
    QString calledNbr;
    if (!_askFor(callerNbr, 228) || !_askFor(calledNbr, 207))
        return;
    Cdb_call_record record;
    if (!read(callerNbr, calledNbr, record))
        return PlxWarningNoRecord();
    _editor->Init(&record);
    _editor->exec();
}
