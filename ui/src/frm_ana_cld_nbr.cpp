#include "frm_ana_cld_nbr.h"

#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/display_text.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/translations.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

#include <tuple>
#include <utility>

using Analysis = Cdb_nbr_cld_ana_data;

namespace {

constexpr int kHighestLevel = 6;

constexpr std::pair<Ert_type, int> kRouteTypes[] = {
    {kRtLocalUser, 213}, {kRtExtLine, 214}, {kRtSipTrunk, 215}, {kRtGroup, 395}, {kRtReject, 312},
};

QString routeTypeText(uint32_t type)
{
    for (const auto& [value, item] : kRouteTypes) {
        if (value == type)
            return GetLangItem(item);
    }
    return MessageText(QStringLiteral("Unknown"));
}

} // namespace

Cdlg_ana_cld_nbr::Cdlg_ana_cld_nbr(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_record(store, parent)
{
    setHelpTopicID(kHelpCalledAnalysis);
    GetLangItem(206, this, "");
    setupUi();
}

void Cdlg_ana_cld_nbr::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _cmbDialPlan = grid.addCombo(224);
    _edtPrefix = grid.addEdit(207);
    _edtDescription = grid.addEdit(283);
    _cmbRouteType = grid.addCombo(208);
    _cmbExtLine = grid.addEditableCombo(323);
    _cmbPeerServer = grid.addCombo(217);
    _cmbRtGroup = grid.addCombo(396);
    _cmbLevel = grid.addCombo(218);
    std::tie(_chkMaxDuration, _edtMaxDuration) = grid.addCheckedEdit(219);
    _cmbRefineGroup = grid.addCombo(319);
    _chkCalledChanged = grid.addCheck(210);
    _cmbTransition = grid.addCombo(211);
    _chkTransOption = grid.addCheck(212);
    _addButtonBox(layout);
    fillRouteTypes();
    for (int level = 0; level <= kHighestLevel; ++level)
        _cmbLevel->addItem(QString::number(level));
    connect(_chkCalledChanged, &QCheckBox::toggled, this, &Cdlg_ana_cld_nbr::chkCalledChangedClick);
    connect(_chkMaxDuration, &QCheckBox::toggled, this, &Cdlg_ana_cld_nbr::chkMaxDurationClick);
    connect(_cmbRouteType, qOverload<int>(&QComboBox::currentIndexChanged), this,
            &Cdlg_ana_cld_nbr::cmbRouteTypeChange);
}

void Cdlg_ana_cld_nbr::fillRouteTypes()
{
    for (const auto& [type, item] : kRouteTypes)
        _cmbRouteType->addItem(GetLangItem(item), static_cast<uint32_t>(type));
}

void Cdlg_ana_cld_nbr::chkCalledChangedClick(bool on)
{
    _cmbTransition->setEnabled(on);
    _chkTransOption->setEnabled(on);
}

void Cdlg_ana_cld_nbr::chkMaxDurationClick(bool on)
{
    _edtMaxDuration->setEnabled(on);
}

void Cdlg_ana_cld_nbr::cmbRouteTypeChange(int /*index*/)
{
    _updateView();
}

Ert_type Cdlg_ana_cld_nbr::routeType() const
{
    return static_cast<Ert_type>(ComboBoxGetValU32(_cmbRouteType));
}

void Cdlg_ana_cld_nbr::_updateView()
{
    const Ert_type type = routeType();
    _cmbPeerServer->setEnabled(type == kRtSipTrunk);
    _cmbExtLine->setEnabled(type == kRtExtLine);
    _cmbRtGroup->setEnabled(type == kRtGroup);
    chkCalledChangedClick(_chkCalledChanged->isChecked());
    _hideRtItems();
    _showRtItems(type);
}

void Cdlg_ana_cld_nbr::_hideRtItems()
{
    _hideRtExtLineItems();
    _hideRtSIPTrunkItems();
    _hideRtGroupItems();
}

void Cdlg_ana_cld_nbr::_showRtItems(Ert_type type)
{
    switch (type) {
    case kRtSipTrunk:
        return _showRtSIPTrunkItems();
    case kRtGroup:
        return _showRtGroupItems();
    case kRtExtLine:
        return _showRtExtLineItems();
    case kRtLocalUser:
    case kRtReject:
        return; // no target
    }
}

void Cdlg_ana_cld_nbr::_hideRtExtLineItems()
{
    SetRowVisible(_cmbExtLine, false);
}

void Cdlg_ana_cld_nbr::_showRtExtLineItems()
{
    SetRowVisible(_cmbExtLine, true);
}

void Cdlg_ana_cld_nbr::_hideRtSIPTrunkItems()
{
    SetRowVisible(_cmbPeerServer, false);
}

void Cdlg_ana_cld_nbr::_showRtSIPTrunkItems()
{
    SetRowVisible(_cmbPeerServer, true);
}

void Cdlg_ana_cld_nbr::_hideRtGroupItems()
{
    SetRowVisible(_cmbRtGroup, false);
}

void Cdlg_ana_cld_nbr::_showRtGroupItems()
{
    SetRowVisible(_cmbRtGroup, true);
}

void Cdlg_ana_cld_nbr::refillChoices()
{
    InitDialPlanView(_store, _cmbDialPlan);
    InitExtLineView(_store, _cmbExtLine);
    InitPeerServerView(_store, _cmbPeerServer);
    InitRtGroupView(_store, _cmbRtGroup);
    InitNbrTransitionView(_store, _cmbTransition);
    InitRefineClrGroupIDView(_store, _cmbRefineGroup);
    for (QComboBox* const box : {_cmbDialPlan, _cmbRouteType, _cmbExtLine, _cmbPeerServer, _cmbRtGroup, _cmbLevel,
                                 _cmbRefineGroup, _cmbTransition})
        box->setCurrentIndex(0);
    _cmbExtLine->clearEditText();
}

void Cdlg_ana_cld_nbr::Init(const Cdb_nbr_cld_ana_data* record)
{
    _edited.open(record);
    refillChoices();
    showRecord(_edited.opening);
    _cmbDialPlan->setEnabled(record == nullptr);
    _edtPrefix->setEnabled(record == nullptr);
    _updateView();
}

void Cdlg_ana_cld_nbr::showRecord(const Cdb_nbr_cld_ana_data& record)
{
    ComboBoxSelectText(_cmbDialPlan, QString::fromUtf8(record.dialPlan));
    _edtPrefix->setText(QString::fromUtf8(record.calledPrefix));
    _edtDescription->setText(QString::fromUtf8(record.description));
    ComboBoxSelectData(_cmbRouteType, record.routeType);
    if (!BclStrIsBlank(record.extLine))
        _cmbExtLine->setEditText(QString::fromUtf8(record.extLine));
    if (record.peerServerId != 0)
        ComboBoxSetVal(_cmbPeerServer, record.peerServerId);
    ComboBoxSelectText(_cmbRefineGroup, QString::number(record.clrRefineGroup));
    _chkCalledChanged->setChecked(record.calledChanged == 1);
    ComboBoxSelectData(_cmbTransition, record.transId);
    ComboBoxSelectData(_cmbRtGroup, record.rtGroupId);
    _chkTransOption->setChecked(record.transOption == 1);
    _chkMaxDuration->setChecked(record.maxDuration != 0);
    _edtMaxDuration->setText(record.maxDuration == 0 ? QString() : QString::number(record.maxDuration));
    chkMaxDurationClick(record.maxDuration != 0);
    _cmbLevel->setCurrentIndex(static_cast<int>(record.level));
}

QString Cdlg_ana_cld_nbr::fault() const
{
    if (_edtPrefix->text().isEmpty())
        return QStringLiteral("Invalid called prefix.");
    if (routeType() == kRtSipTrunk && _cmbPeerServer->currentText().isEmpty())
        return QStringLiteral("Please fill peer server id since the route type is 'SIP trunk'.");
    if (routeType() == kRtGroup && (_cmbRtGroup->currentIndex() == 0 || ComboBoxGetValU32(_cmbRtGroup) == 0))
        return QStringLiteral("Please fill 'Routing group ID' since the route type is 'Routing group'.");
    if (_chkCalledChanged->isChecked() && _cmbTransition->currentText().isEmpty())
        return QStringLiteral("Please set transition ID since called shall be changed.");
    return {};
}

// Only the target of the chosen route type is kept.
void Cdlg_ana_cld_nbr::readInputs(Cdb_nbr_cld_ana_data& record) const
{
    record.Init();
    if (const QString plan = _cmbDialPlan->currentText(); !plan.isEmpty()) {
        record.InitV6();
        BclCopyQStr(record.dialPlan, plan);
    }
    BclCopyQStr(record.calledPrefix, _edtPrefix->text());
    BclCopyQStr(record.description, _edtDescription->text());
    record.routeType = routeType();
    if (record.routeType == kRtSipTrunk)
        record.peerServerId = ComboBoxGetValU32(_cmbPeerServer);
    if (record.routeType == kRtGroup)
        record.rtGroupId = ComboBoxGetValU32(_cmbRtGroup);
    if (record.routeType == kRtExtLine) {
        Cbcl_tmp_str line;
        ComboBoxGetValStr(_cmbExtLine, line);
        BclCopyStr(record.extLine, line.c_str());
    }
    record.calledChanged = _chkCalledChanged->isChecked() ? 1 : 0;
    if (record.calledChanged == 1) {
        record.transId = ComboBoxGetValU32(_cmbTransition);
        record.transOption = _chkTransOption->isChecked() ? 1 : 0;
    }
    record.level = static_cast<uint32_t>(qMax(0, _cmbLevel->currentIndex()));
    record.clrRefineGroup = BclStrToU32(_cmbRefineGroup->currentText());
    if (_chkMaxDuration->isChecked())
        record.maxDuration = BclStrToU32(_edtMaxDuration->text());
}

void Cdlg_ana_cld_nbr::accept()
{
    if (const QString wrong = fault(); !wrong.isEmpty())
        return _refuse(QStringLiteral("Parameter Invalid"), wrong);
    readInputs(_edited.work);
    Cdlg_common::accept();
}

Cfrm_ana_cld_nbr::Cfrm_ana_cld_nbr(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_ana_cld_nbr(store, this))
{
    setHelpTopicID(kHelpCalledAnalysis);
    GetLangItem(205, this, "");
    initColumnView();
}

void Cfrm_ana_cld_nbr::initColumnView()
{
    _addColumns({224, 207, 283, 208, 210, 211, 212, 218});
}

uint32_t Cfrm_ana_cld_nbr::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_nbr_cld_ana where serviceType=0");
}

void Cfrm_ana_cld_nbr::loadData()
{
    forEachRecord<Analysis>(
        _store->GetCacheDB(),
        _pageOf("select * from tbl_nbr_cld_ana where serviceType=0 order by dialPlan, calledPrefix"),
        ldb_nbr_cld_ana_get_full_data, [this](const Analysis& record) { _addItem(&record); });
}

void Cfrm_ana_cld_nbr::_addItem(const Cdb_nbr_cld_ana_data* record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->dialPlan));
    _setItemValue(row, 1, QString::fromUtf8(record->calledPrefix));
    _setItemValue(row, 2, QString::fromUtf8(record->description));
    _setItemValue(row, 3, routeTypeText(record->routeType));
    _setItemValue(row, 4, GetBoolString(record->calledChanged == 1 ? 1 : 0));
    _setItemValue(row, 5, GetTransitionText(record->transId));
    _setItemValue(row, 6, GetBoolString(record->transOption == 1 ? 1 : 0));
    _setItemValue(row, 7, QString::number(record->level));
}

// Rows of other services are not this page's.
bool Cfrm_ana_cld_nbr::read(const QString& dialPlan, const QString& prefix, Cdb_nbr_cld_ana_data& record)
{
    BclCopyQStr(record.dialPlan, dialPlan);
    BclCopyQStr(record.calledPrefix, prefix);
    return _store->DbNbrCldAnaGet(record) == kDbOk && record.serviceType == 0;
}

bool Cfrm_ana_cld_nbr::isEdited(const Cdb_nbr_cld_ana_data* record)
{
    _editor->Init(record);
    return _editor->isEdited();
}

void Cfrm_ana_cld_nbr::onAddBtn()
{
    if (!isEdited(nullptr))
        return;
    const Analysis record = _editor->record();
    if (_store->DbNbrCldAnaHas(record.dialPlan, record.calledPrefix) == kDbHas)
        return PlxWarningDuplicate();
    _store->DbNbrCldAnaSet(record);
    _addItem(&record);
}

// The row comes last until the page is loaded again.
void Cfrm_ana_cld_nbr::onEditBtn()
{
    const QStringList key = _selectedKey(2);
    Analysis record;
    if (key.isEmpty() || !read(key[0], key[1], record) || !isEdited(&record))
        return;
    _store->DbNbrCldAnaSet(_editor->record());
    _deleteRow(_rowOfKey(key));
    _addItem(&_editor->record());
    _selectLastRow();
}

void Cfrm_ana_cld_nbr::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbNbrCldAnaDel(_getItemValue(row, 0).toUtf8().constData(), _getItemValue(row, 1).toUtf8().constData());
    _deleteRow(row);
}

void Cfrm_ana_cld_nbr::onSearchBtn()
{
    QString dialPlan;
    QString prefix;
    if (!_askFor(dialPlan, 224, QStringLiteral("default")))
        return;
    if (!_askFor(prefix, 207))
        return;
    Analysis record;
    if (!read(dialPlan, prefix, record))
        return PlxWarningNoRecord();
    if (isEdited(&record))
        _store->DbNbrCldAnaSet(_editor->record());
}
