#include "frm_route.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/combo_value.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/read_rows.h"
#include "common/translations.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

constexpr int kInputColumns = 4;

QString typeText(unsigned type)
{
    switch (type) {
    case kRouteExtLine:
        return GetLangItem(214);
    case kRouteTrunk:
        return GetLangItem(215);
    default:
        return MessageText(QStringLiteral("Unknown"));
    }
}

} // namespace

Cdlg_route::Cdlg_route(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpRoutingGroup);
    GetLangItem(398, this, "");
    setupUi();
}

void Cdlg_route::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout, kInputColumns);
    _cmbGroup = grid.addCombo(396);
    // The types are the numbers of their buttons.
    _type = grid.addRadios(208, {{214, kRouteExtLine}, {215, kRouteTrunk}});
    _cmbExtLine = grid.addEditableCombo(323);
    _cmbPeerServer = grid.addEditableCombo(217);
    _addButtonBox(layout);
    connect(_type->button(kRouteTrunk), &QAbstractButton::toggled, this, &Cdlg_route::chkRtTrunkClick);
}

void Cdlg_route::Init()
{
    InitRtGroupView(_store, _cmbGroup);
    InitExtLineView(_store, _cmbExtLine);
    InitPeerServerView(_store, _cmbPeerServer);
    _type->button(kRouteExtLine)->setChecked(true);
    updateView();
}

void Cdlg_route::updateView()
{
    showTarget(_type->checkedId() != kRouteExtLine);
}

void Cdlg_route::chkRtTrunkClick(bool checked)
{
    showTarget(checked);
}

void Cdlg_route::showTarget(bool isTrunk)
{
    hideExtLineItems();
    hideTrunkItems();
    isTrunk ? showTrunkItems() : showExtLineItems();
}

void Cdlg_route::hideExtLineItems()
{
    SetRowVisible(_cmbExtLine, false);
    DisableEditControl(_cmbExtLine);
}

void Cdlg_route::showExtLineItems()
{
    SetRowVisible(_cmbExtLine, true);
    EnableEditControl(_cmbExtLine);
}

void Cdlg_route::hideTrunkItems()
{
    SetRowVisible(_cmbPeerServer, false);
    DisableEditControl(_cmbPeerServer);
}

void Cdlg_route::showTrunkItems()
{
    SetRowVisible(_cmbPeerServer, true);
    EnableEditControl(_cmbPeerServer);
}

bool Cdlg_route::readInputs()
{
    _record.init();
    _record.groupID = ComboBoxGetValU32(_cmbGroup);
    _record.routeType = static_cast<uint8_t>(_type->checkedId());
    if (_record.routeType == kRouteExtLine) {
        Cbcl_tmp_str line;
        ComboBoxGetValStr(_cmbExtLine, line);
        _record.extLine.SetNbr(line.c_str());
    } else if (_record.routeType == kRouteTrunk) {
        _record.peerServerId = ComboBoxGetValU32(_cmbPeerServer);
    }
    return _record.groupID != 0 && (!_record.extLine.IsEmpty() || _record.peerServerId != 0);
}

void Cdlg_route::accept()
{
    readInputs() ? _closeBy(_store->DbRouteAdd(_record)) : reject();
}

Cfrm_route::Cfrm_route(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_route(store, this))
{
    setHelpTopicID(kHelpRoutingGroup);
    GetLangItem(398, this, "");
    _hideEditButton();
    _hideSearchButton();
    initColumnView();
}

void Cfrm_route::initColumnView()
{
    _addColumns({396, 208, 214, 215});
}

uint32_t Cfrm_route::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_route");
}

void Cfrm_route::loadData()
{
    forEachRecord<Cdb_route>(_store->GetCacheDB(), _pageOf("select * from tbl_route order by groupID, routeType"),
                             ldb_route_get_full_data, [this](const Cdb_route& record) { _addItem(record); });
}

void Cfrm_route::_addItem(const Cdb_route& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, record.groupID);
    _setItemValue(row, 1, typeText(record.routeType));
    _setItemValue(row, 2, QString::fromUtf8(record.extLine.c_str()));
    _setItemValue(row, 3, record.peerServerId);
}

// A type that the page has no name for counts as a trunk.
Cdb_route Cfrm_route::recordOf(int row) const
{
    Cdb_route record;
    record.groupID = BclStrToU32(_getItemValue(row, 0));
    record.routeType = _getItemValue(row, 1) == typeText(kRouteExtLine) ? kRouteExtLine : kRouteTrunk;
    record.extLine.SetNbr(_getItemValue(row, 2).toUtf8().constData());
    record.peerServerId = BclStrToU32(_getItemValue(row, 3));
    return record;
}

void Cfrm_route::onAddBtn()
{
    _editor->Init();
    if (_editor->exec() == QDialog::Accepted)
        _addItem(_editor->record());
}

void Cfrm_route::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row >= 0 && _store->DbRouteDel(recordOf(row)) == kDbOk)
        _deleteRow(row);
}
