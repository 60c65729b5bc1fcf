#include "frm_ext_lines.h"

#include "bcl2/event_bus.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/event_ids.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/row_finder.h"
#include "common/warning_box.h"
#include "dlg_ext_line.h"

#include <QIcon>
#include <QStandardItemModel>

using Line = Cdb_ext_line_info;

namespace {

enum Column : int { kName, kDescription, kAddress, kPort, kTransport, kDestination };

void spfExtLineUpdated(void* context, void* name, void* state)
{
    static_cast<Cfrm_ext_lines*>(context)->showExtLineState(static_cast<const char*>(name),
                                                            *static_cast<const uint8_t*>(state));
}

} // namespace

Cfrm_ext_lines::Cfrm_ext_lines(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_ext_line(store, this))
{
    BclSubEvent(kEvtLineState, this, spfExtLineUpdated);
    setHelpTopicID(kHelpExtLines);
    getUIResource();
    initColumnView();
    establishSigAndSlots();
}

void Cfrm_ext_lines::getUIResource()
{
    GetLangItem(159, this, "");
}

void Cfrm_ext_lines::initColumnView()
{
    _addColumns({165, 283, 170, 171, 362, 351});
    _rows = new Crow_finder(_model);
}

void Cfrm_ext_lines::establishSigAndSlots()
{
    connect(this, &Cfrm_ext_lines::sigExtLineStateUpdate, this, &Cfrm_ext_lines::slotExtLineStateUpdate);
}

void Cfrm_ext_lines::showExtLineState(const char* name, uint8_t state)
{
    emit sigExtLineStateUpdate(QString::fromUtf8(name), state);
}

void Cfrm_ext_lines::slotExtLineStateUpdate(const QString& name, int state)
{
    if (QStandardItem* const line = _findExtLine(name); line != nullptr)
        _setExtLineStateIcon(line, static_cast<unsigned>(state));
}

QStandardItem* Cfrm_ext_lines::_findExtLine(const QString& name)
{
    return _rows->find(name);
}

void Cfrm_ext_lines::_setExtLineStateIcon(QStandardItem* item, unsigned state)
{
    item->setIcon(
        QIcon(state == 0 ? QStringLiteral(":/images/extline_off.png") : QStringLiteral(":/images/extline_on.png")));
}

uint32_t Cfrm_ext_lines::getRecordCnt()
{
    return _store->DbExtLineGetCnt();
}

void Cfrm_ext_lines::loadData()
{
    forEachRecord<Line>(_store->GetCacheDB(), _pageOf("select * from tbl_ext_line"), cdb_ext_line_get_full_data,
                        [this](const Line& line) { _addExtline(line); });
}

void Cfrm_ext_lines::_addExtline(const Line& line)
{
    const int row = _appendRow();
    _setItemValue(row, kName, QString::fromUtf8(line.extName));
    _setItemValue(row, kDescription, QString::fromUtf8(line.description));
    _setItemValue(row, kAddress, QString::fromUtf8(line.serverAddr));
    _setItemValue(row, kPort, QString::number(line.serverPort));
    _setTransport(row, line.transport);
    _setItemValue(row, kDestination, QString::fromUtf8(line.destination));
    _setExtLineStateIcon(_model->item(row), line.state);
}

void Cfrm_ext_lines::_setTransport(int row, uint32_t transport)
{
    _setItemValue(row, kTransport, translateSIPTransport(static_cast<unsigned char>(transport)));
}

bool Cfrm_ext_lines::_isEdited(const Line& line)
{
    _editor->Init(&line, kLineEdit);
    return _editor->exec() == QDialog::Accepted;
}

void Cfrm_ext_lines::onAddBtn()
{
    _editor->Init(nullptr, kLineAdd);
    if (_editor->exec() == QDialog::Accepted)
        _addExtline(_editor->record());
}

// Address and port stay as they were loaded until the next reload.
void Cfrm_ext_lines::onEditBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    Line line;
    BclCopyQStr(line.extName, key.first());
    if (_store->DbExtLineGet(line) != kDbOk || !_isEdited(line))
        return;
    const int row = _rowOfKey(key);
    _setItemValue(row, kDescription, QString::fromUtf8(_editor->record().description));
    _setItemValue(row, kDestination, QString::fromUtf8(_editor->record().destination));
    _setTransport(row, _editor->record().transport);
}

void Cfrm_ext_lines::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbExtLineDel(_getItemValue(row, kName).toUtf8().constData()) == kDbOk)
        _deleteRow(row);
}

void Cfrm_ext_lines::onSearchBtn()
{
    QString name;
    if (!_askFor(name, 165))
        return;
    Line line;
    BclCopyQStr(line.extName, name);
    // A longer text is not the line whose name it begins with.
    if (QString::fromUtf8(line.extName) != name || _store->DbExtLineGet(line) != kDbOk)
        return PlxWarningNoRecord();
    if (!_isEdited(line))
        return;
    if (const QStandardItem* const shown = _findExtLine(name); shown != nullptr) {
        _setItemValue(shown->row(), kDestination, QString::fromUtf8(_editor->record().destination));
        _setTransport(shown->row(), _editor->record().transport);
    }
}
