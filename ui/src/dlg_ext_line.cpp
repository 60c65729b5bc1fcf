#include "dlg_ext_line.h"

#include "cachedb2/fac_mgr.h"
#include "cachedb2/switch_variants.h"
#include "common/combo_fill.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/form_tabs.h"
#include "common/lang_res.h"
#include "common/warning_box.h"

#include <QButtonGroup>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <tuple>

using Line = Cdb_ext_line_info;

namespace {

constexpr int kProvider = 0; // line types
constexpr int kGateway = 1;
constexpr int kChinese = 1;                                  // language code
constexpr int kLongestPassword = sizeof(Line::password) - 1; // bytes

} // namespace

Cdlg_ext_line::Cdlg_ext_line(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpExtLines);
    _setupUI();
    _setupSigAndSlots();
}

void Cdlg_ext_line::_setupUI()
{
    GetLangItem(159, this, "");
    _tabs = new Cform_tabs(this);
    _setupUI_TabBasic();
    _setupUI_TabIncomingCall();
    _setupUI_TabOutgoingCall();
    _setupUI_TabOther();
    alignGroups(_tabs);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(_tabs);
    _addButtonBox(layout);
}

void Cdlg_ext_line::_setupUI_TabBasic()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 162);
    Cform_grid types = addTitledGroup(tab, 166);
    _typeButtons = new QButtonGroup(this);
    _typeButtons->addButton(types.addRadio(167), kProvider);
    _typeButtons->addButton(types.addRadio(168), kGateway);
    bindLineType();

    Cform_grid account = addGroup(tab);
    _form.text(_edtName = account.addEdit(165), &Line::extName);
    _form.text(_edtPassword = account.addPassword(169), &Line::password);
    _form.text(account.addEdit(283), &Line::description);

    Cform_grid server = addGroup(tab);
    _form.text(_edtServerAddr = server.addEdit(170), &Line::serverAddr);
    _form.number(_edtServerPort = server.addEdit(171), &Line::serverPort);
    _form.text(server.addEdit(367), &Line::authName);
}

void Cdlg_ext_line::_setupUI_TabIncomingCall()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 163);
    Cform_grid targets = addTitledGroup(tab, 346);
    auto* const buttons = new QButtonGroup(this);
    buttons->addButton(_rdoAutoAttendant = targets.addRadio(175));
    std::tie(_rdoDestination, _edtDestination) = targets.addRadioEdit(351);
    buttons->addButton(_rdoDestination);
    bindIncomingTarget();
    _form.text(_edtDestination, &Line::destination);

    Cform_grid digits = addGroup(tab);
    _form.flag(digits.addCheck(342), &Line::flags, kLineDtmfInband);
}

void Cdlg_ext_line::_setupUI_TabOutgoingCall()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 164);
    Cform_grid proxy = addGroup(tab);
    _form.flag(_chkProxy = proxy.addCheck(408), &Line::flags, kLineProxy);
    _edtProxyAddr = proxy.addEdit(409);
    _edtProxyPort = proxy.addEdit(410);
    bindProxy();

    Cform_grid requests = addGroup(tab);
    QComboBox* const transport = requests.addCombo(362);
    transport->addItem(QStringLiteral("UDP"), 0U);
    transport->addItem(QStringLiteral("TCP"), 1U);
    _form.choice(transport, &Line::transport);
    _form.text(_edtUriParams = requests.addEdit(472), &Line::uriParams);
    _form.flag(requests.addCheck(173), &Line::flags, kLineCallerAsUser);
    _form.flag(requests.addCheck(340), &Line::flags, kLineEarlyMedia);

    Cform_grid limits = addGroup(tab);
    _form.reference(_cmbTimeCondition = limits.addCombo(426), &Line::timeCondId);
    _form.reference(_cmbRefineGroup = limits.addCombo(407), &Line::cldRefineGroup);
    _form.number(limits.addEdit(125), &Line::noAnsTime);
    _form.number(limits.addEdit(322), &Line::maxOutCalls);
    std::tie(_chkMaxDuration, _edtMaxDuration) = limits.addCheckedEdit(177);
    bindMaxDuration();
    std::tie(_chkNextLine, _cmbNextLine) = limits.addCheckedCombo(176);
    bindNextLine();
}

void Cdlg_ext_line::_setupUI_TabOther()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 432);
    Cform_grid server = addGroup(tab);
    _form.flag(server.addCheck(441), &Line::flags, kLineNoRegister);
    _form.flag(server.addCheck(471), &Line::flags, kLineAssertedIdentity);
    _form.flag(server.addCheck(358), &Line::flags, kLineKeepAlive);
    _form.flag(server.addCheck(150), &Line::flags, kLineRelayMedia);

    Cform_grid limits = addGroup(tab);
    _form.number(limits.addEdit(440), &Line::maxCalls);
}

void Cdlg_ext_line::bindLineType()
{
    _form.bind([this](const Line& record) { _setExtLineTypeButton(static_cast<int>(record.lineType)); },
               [this](Line& record) { record.lineType = static_cast<uint32_t>(_typeButtons->checkedId()); });
}

void Cdlg_ext_line::bindIncomingTarget()
{
    _form.flag(_rdoAutoAttendant, &Line::flags, kLineAutoAttendant);
    // A radio button goes off only when another one goes on.
    _form.bind([this](const Line& record) { _rdoDestination->setChecked(!record.hasFlag(kLineAutoAttendant)); },
               [](Line&) {});
}

void Cdlg_ext_line::bindProxy()
{
    _form.bind(
        [this](const Line& record) {
            _edtProxyAddr->setText(QString::fromUtf8(record.proxyAddr));
            _edtProxyPort->setText(QString::number(record.proxyPort));
        },
        [this](Line& record) {
            const bool isUsed = _chkProxy->isChecked();
            BclCopyQStr(record.proxyAddr, isUsed ? _edtProxyAddr->text() : QString());
            if (isUsed)
                record.proxyPort = BclNumberOf<uint16_t>(_edtProxyPort->text());
        });
}

// A switched-off limit is shown, and so stored, as 0: an empty line would keep the former one.
void Cdlg_ext_line::bindMaxDuration()
{
    _form.bind([this](const Line& record) { _chkMaxDuration->setChecked(record.maxDuration != 0); }, [](Line&) {});
    _form.optionalNumber(_edtMaxDuration, &Line::maxDuration);
}

// A line that is gone shows as none, so that it is not replaced by another one without anybody noticing.
void Cdlg_ext_line::bindNextLine()
{
    _form.bind(
        [this](const Line& record) {
            const bool isSet = !BclStrIsBlank(record.nextLine);
            _chkNextLine->setChecked(isSet);
            if (isSet)
                _cmbNextLine->setCurrentIndex(_cmbNextLine->findData(QString::fromUtf8(record.nextLine)));
        },
        [this](Line& record) {
            const QString next = _cmbNextLine->currentData().toString();
            BclCopyQStr(record.nextLine, _chkNextLine->isChecked() ? next : QString());
        });
}

void Cdlg_ext_line::_setupSigAndSlots()
{
    connect(_typeButtons->button(kGateway), &QAbstractButton::toggled, this, &Cdlg_ext_line::chkFXOGWClick);
    connect(_rdoAutoAttendant, &QAbstractButton::toggled, this, &Cdlg_ext_line::chkAutoAttendantClick);
    connect(_chkNextLine, &QAbstractButton::toggled, this, &Cdlg_ext_line::chkNextLineClick);
    connect(_chkMaxDuration, &QAbstractButton::toggled, this, &Cdlg_ext_line::chkMaxDurationClick);
    connect(_chkProxy, &QAbstractButton::toggled, this, &Cdlg_ext_line::chkOutbandInfoClick);
}

// A gateway tells its address when it registers.
void Cdlg_ext_line::chkFXOGWClick(bool isChecked)
{
    isChecked ? _hideAddressItems() : _showAddressItems();
}

void Cdlg_ext_line::chkAutoAttendantClick(bool isChecked)
{
    SwitchEditControl(_edtDestination, !isChecked);
}

void Cdlg_ext_line::chkNextLineClick(bool isChecked)
{
    SwitchEditControl(_cmbNextLine, isChecked);
}

void Cdlg_ext_line::chkMaxDurationClick(bool isChecked)
{
    SwitchEditControl(_edtMaxDuration, isChecked);
    if (!isChecked)
        _edtMaxDuration->setText(QStringLiteral("0"));
}

void Cdlg_ext_line::chkOutbandInfoClick(bool isChecked)
{
    SwitchEditControl(_edtProxyAddr, isChecked);
    SwitchEditControl(_edtProxyPort, isChecked);
}

// Of a type that has no button, the line is a provider account.
void Cdlg_ext_line::_setExtLineTypeButton(int type)
{
    QAbstractButton* const button = _typeButtons->button(type);
    (button == nullptr ? _typeButtons->button(kProvider) : button)->setChecked(true);
}

void Cdlg_ext_line::_hideAddressItems()
{
    SetRowVisible(_edtServerAddr, false);
    SetRowVisible(_edtServerPort, false);
}

void Cdlg_ext_line::_showAddressItems()
{
    SetRowVisible(_edtServerAddr, true);
    SetRowVisible(_edtServerPort, true);
}

void Cdlg_ext_line::refillChoices()
{
    InitExtLineView(_store, _cmbNextLine);
    InitRefineCldGroupIDView(_store, _cmbRefineGroup);
    InitTimeConditionView(_store, _cmbTimeCondition);
}

void Cdlg_ext_line::Init(const Cdb_ext_line_info* record, Eext_line_op mode)
{
    _mode = mode;
    _tabs->setCurrentIndex(0);
    refillChoices();
    _form.show(record == nullptr ? Line() : *record);
    if (record == nullptr && gVarGuiLang == kChinese)
        _edtUriParams->setText(QStringLiteral("user=phone"));

    _edtName->setEnabled(mode != kLineEdit); // another name would replace another line
    chkFXOGWClick(_typeButtons->checkedId() == kGateway);
    chkAutoAttendantClick(_rdoAutoAttendant->isChecked());
    chkNextLineClick(_chkNextLine->isChecked());
    chkMaxDurationClick(_chkMaxDuration->isChecked());
    chkOutbandInfoClick(_chkProxy->isChecked());
}

Cdb_ext_line_info Cdlg_ext_line::named() const
{
    Line record;
    BclCopyQStr(record.extName, _edtName->text());
    return record;
}

// By the name as it would be stored: a longer text must not replace the line whose name it begins with.
int Cdlg_ext_line::_checkPara()
{
    const auto refuse = [](const QString& text) {
        PlxWarningBox(GetLangItem(77), text);
        return -1;
    };
    const auto isEmpty = [](const QLineEdit* edit) { return BclStrIsBlank(edit->text()); };
    const Line line = named();
    if (isEmpty(_edtName))
        return refuse(GetLangItem(178));
    // Cut to its bound it would be another password.
    if (_edtPassword->text().toLocal8Bit().size() > kLongestPassword)
        return refuse(GetLangItem(455));
    if (_typeButtons->checkedId() == kProvider && (isEmpty(_edtServerAddr) || isEmpty(_edtServerPort)))
        return refuse(GetLangItem(178));
    if (_chkProxy->isChecked() && (isEmpty(_edtProxyAddr) || isEmpty(_edtProxyPort)))
        return refuse(GetLangItem(178));
    if (_store->DbIsLocalUser(line.extName) == 1)
        return refuse(GetLangItem(453));
    if (_mode != kLineEdit && _store->DbExtLineHas(line.extName) == 1)
        return refuse(GetLangItem(180));
    const QString next = _cmbNextLine->currentData().toString();
    if (_chkNextLine->isChecked() && (next.isEmpty() || next == QString::fromUtf8(line.extName)))
        return refuse(QStringLiteral("Invalid 'chain to next line' parameters."));
    return 1;
}

void Cdlg_ext_line::accept()
{
    if (_checkPara() < 0)
        return reject();
    _record = named();
    (void)_store->DbExtLineGet(_record); // what the dialog does not show stays; a new line has its defaults
    _form.read(_record);
    _closeBy(_store->DbExtLineSet(_record));
}
