#include "frm_speed_dial.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

using SpeedDial = Cdb_speed_dial_data;

namespace {

// Nothing but its key.
SpeedDial keyed(const QString& callerNbr, const QString& dialedNbr)
{
    SpeedDial record;
    record.callerNbr.SetNbr(callerNbr.toUtf8().constData());
    record.dialedNbr.SetNbr(dialedNbr.toUtf8().constData());
    return record;
}

} // namespace

Cdlg_speed_dial::Cdlg_speed_dial(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_storing(store, parent)
{
    setHelpTopicID(kHelpSpeedDial);
    GetLangItem(352, this, "");
    setupUi();
}

void Cdlg_speed_dial::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtCallerNbr = _indexItem(grid.addEdit(232));
    _key.text(_edtCallerNbr, &SpeedDial::callerNbr);
    _edtDialedNbr = _indexItem(grid.addEdit(350));
    _key.text(_edtDialedNbr, &SpeedDial::dialedNbr);
    _form.text(grid.addEdit(283), &SpeedDial::name);
    _edtDestination = grid.addEdit(351);
    _form.text(_edtDestination, &SpeedDial::destination);
    _addButtonBox(layout);
}

// A key that exists is refused by the store.
void Cdlg_speed_dial::accept()
{
    if (_edtCallerNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure caller number."));
    if (_edtDialedNbr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure dialed number."));
    if (_edtDestination->text().isEmpty())
        return _refuse(QStringLiteral("Invalid parameter"), QStringLiteral("Please configure destination number."));
    _readInputs();
    _closeBy(_isNew ? _store->DbAddSpeedDial(_record) : _store->DbUpdateSpeedDial(_record));
}

Cfrm_speed_dial::Cfrm_speed_dial(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_speed_dial(store, this))
{
    setHelpTopicID(kHelpSpeedDial);
    GetLangItem(352, this, "");
    _hideSearchButton();
    initColumnView();
}

void Cfrm_speed_dial::initColumnView()
{
    _addColumns({232, 350, 283, 351});
}

uint32_t Cfrm_speed_dial::getRecordCnt()
{
    return _store->DbGetSpeedDialCnt();
}

// The two blanks belong to the statement.
void Cfrm_speed_dial::loadData()
{
    forEachRecord<SpeedDial>(_store->GetCacheDB(),
                             _pageOf("select * from tbl_speed_dial  order by callerNbr, dialedNbr"),
                             ldb_speed_dial_get_full_data, [this](const SpeedDial& record) { _addItem(record); });
}

void Cfrm_speed_dial::_addItem(const Cdb_speed_dial_data& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.callerNbr.c_str()));
    _setItemValue(row, 1, QString::fromUtf8(record.dialedNbr.c_str()));
    setRest(row, record);
}

void Cfrm_speed_dial::setRest(int row, const Cdb_speed_dial_data& record)
{
    _setItemValue(row, 2, QString::fromUtf8(record.name));
    _setItemValue(row, 3, QString::fromUtf8(record.destination.c_str()));
}

void Cfrm_speed_dial::onAddBtn()
{
    _editor->Init(nullptr);
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

// The record is what the row shows; the store is not asked for it.
void Cfrm_speed_dial::onEditBtn()
{
    const QStringList cells = _selectedKey(4);
    if (cells.isEmpty())
        return;
    SpeedDial record = keyed(cells[0], cells[1]);
    BclCopyQStr(record.name, cells[2]);
    record.destination.SetNbr(cells[3].toUtf8().constData());
    _editor->Init(&record);
    if (_editor->exec() == QDialog::Accepted)
        setRest(_rowOfKey(cells.mid(0, 2)), _editor->record());
}

void Cfrm_speed_dial::onDeleteBtn()
{
    const QStringList key = _selectedKey(2);
    if (!key.isEmpty() && _store->DbDelSpeedDial(keyed(key[0], key[1])) == kDbOk)
        _deleteRow(_selectedRow());
}
