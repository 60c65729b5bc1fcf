// The tabs of the editor of local users: what stands where, and which field of the record it shows.
#include "bcl2/date.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/form_tabs.h"
#include "common/lang_res.h"
#include "dlg_local_user.h"

#include <QButtonGroup>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <tuple>

using User = Cdb_usr_info;

void Cdlg_local_user::_setupUI()
{
    GetLangItem(110, this, "");
    _tabs = new Cform_tabs(this);
    _setupUI_TabBasic();
    _setupUI_TabForward();
    _setupUI_TabSuppServ();
    _setupUI_TabFollowMe();
    _setupUI_TabAdvServ();
    _setupUI_TabBasicCall();
    _setupUI_TabMedia();
    alignGroups(_tabs);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(_tabs);
    _addButtonBox(layout);
}

void Cdlg_local_user::_setupUI_TabBasic()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 162);
    Cform_grid account = addGroup(tab);
    _form.text(_edtName = account.addEdit(118), &User::usrName);
    _form.text(_edtPassword = account.addPassword(119), &User::password);
    _form.text(account.addEdit(283), &User::description);

    Cform_grid address = addGroup(tab);
    bindFlag(_chkIPAuth = address.addCheck(430), kUsrIpAuth);
    _edtIPAddr = address.addEdit(416);
    _edtIPPort = address.addEdit(431);
}

void Cdlg_local_user::_setupUI_TabForward()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 295);
    Cform_grid forwards = addGroup(tab);
    const auto add = [&](int item, Eusr_flag flag, auto number, auto set, auto clear) {
        const auto [box, edit] = forwards.addCheckedEdit(item);
        bindFlag(box, flag);
        _forwards.push_back({number, set, clear, box, edit});
    };
    add(374, kUsrForwardAll, &User::cfuNbr, &User::SetCFUNbr, &User::ClrCFUNbr);
    add(122, kUsrForwardNotRegistered, &User::cfncNbr, &User::SetCFNCNbr, &User::ClrCFNCNbr);
    add(123, kUsrForwardBusy, &User::cfbNbr, &User::SetCFBNbr, &User::ClrCFBNbr);
    add(124, kUsrForwardNoAnswer, &User::cfnaNbr, &User::SetCFNANbr, &User::ClrCFNANbr);

    Cform_grid mail = addGroup(tab);
    bindFlag(_chkVMS = mail.addCheck(126), kUsrVoiceMail);
    _form.text(_edtEmail = mail.addEdit(120), &User::email);
}

void Cdlg_local_user::_setupUI_TabSuppServ()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 121);
    Cform_grid grid = addGroup(tab);
    bindFlag(grid.addCheck(267), kUsrTransfer);
    bindFlag(grid.addCheck(132), kUsrCallWaiting);
    _form.number(grid.addEdit(131), &User::pickupGroup);
    bindCallWaitingLimit(grid.addEdit(147));

    const QList<QCheckBox*> boxes = addCheckGroup(tab, 0, {274, 275, 394, 436, 437, 438}, 2);
    bindFlag(boxes[0], kUsrHideNumber);
    bindFlag(boxes[1], kUsrRejectAnonymous);
    bindFlag(boxes[2], kUsrRecordCalls);
    bindFlag(boxes[3], kUsrDoNotDisturb);
    bindFlag(boxes[4], kUsrMessages);
    bindFlag(boxes[5], kUsrMissedCallMail);
}

void Cdlg_local_user::_setupUI_TabFollowMe()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 134);
    Cform_grid types = addTitledGroup(tab, 135);
    _fmTypeButtons = new QButtonGroup(this);
    _fmTypeButtons->addButton(types.addRadio(136), 1);
    _fmTypeButtons->addButton(types.addRadio(137), 2);
    _fmTypeButtons->addButton(types.addRadio(138), 3);
    bindFollowMeType();

    Cform_grid numbers = addGroup(tab);
    for (const int item : {139, 140, 141, 142})
        _fmInputs.push_back(numbers.addEdit(item));
    _form.optionalNumber(_fmInputs[0], &User::followMeTime);
    _form.text(_fmInputs[1], &User::followMeNbr1);
    _form.text(_fmInputs[2], &User::followMeNbr2);
    _form.text(_fmInputs[3], &User::followMeNbr3);
}

void Cdlg_local_user::_setupUI_TabAdvServ()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 143);
    Cform_grid charging = addGroup(tab);
    bindFlag(_chkPrepaid = charging.addCheck(145), kUsrPrepaid);
    bindFlag(charging.addCheck(144), kUsrCallShop);

    Cform_grid conference = addGroup(tab);
    bindFlag(conference.addCheck(146), kUsrConference);
    bindLimit(conference.addEdit(276), &User::maxConfParties);
}

void Cdlg_local_user::_setupUI_TabBasicCall()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 151);
    Cform_grid grid = addGroup(tab);
    _edtExpiryDate = grid.addEdit(338);
    _edtExpiryDate->setInputMask(QStringLiteral("9999-99-99"));
    _edtExpiryDate->setPlaceholderText(QStringLiteral("YYYY-MM-DD"));
    bindExpiryDate();
    _form.choiceText(_cmbDialPlan = grid.addCombo(224), &User::dialPlan);
    _form.reference(_cmbTimeCondition = grid.addCombo(426), &User::timeCondId);
    _form.text(grid.addEdit(320), &User::dispName);
    _edtNoAnsTime = grid.addEdit(125);
    bindNoAnswerTime();

    Cform_grid limits = addGroup(tab);
    std::tie(_chkSpecExtLine, _cmbExtLine) = limits.addCheckedCombo(128);
    bindSpecialLine();
    std::tie(_chkMaxDuration, _edtMaxDuration) = limits.addCheckedEdit(130);
    bindMaxDuration();
    bindLimit(limits.addEdit(440), &User::maxCalls);
    bindLimit(limits.addEdit(322), &User::maxOutCalls);
    _setupUI_CallLevels(tab);
}

void Cdlg_local_user::_setupUI_CallLevels(QBoxLayout* tab)
{
    unsigned level = 0;
    for (QCheckBox* const box : addCheckGroup(tab, 152, {153, 154, 155, 156, 157, 158}, 2)) {
        ++level;
        _form.bind([=](const User& record) { box->setChecked(record.levels.Has(level)); },
                   [=](User& record) { box->isChecked() ? record.levels.Set(level) : record.levels.Clear(level); });
    }
}

void Cdlg_local_user::_setupUI_TabMedia()
{
    QBoxLayout* const tab = addGroupTab(_tabs, 148);
    Cform_grid streams = addGroup(tab);
    bindFlag(streams.addCheck(149), kUsrVideo);
    bindFlag(streams.addCheck(150), kUsrRelayMedia);

    Cform_grid digits = addGroup(tab);
    bindFlag(digits.addCheck(341), kUsrDtmfInfo);
    bindFlag(digits.addCheck(342), kUsrDtmfInband);
}

void Cdlg_local_user::bindFlag(QCheckBox* box, Eusr_flag flag)
{
    _form.flag(box, &User::flags, flag);
}

void Cdlg_local_user::bindLimit(QLineEdit* edit, int32_t Cdb_usr_info::*field)
{
    _form.optionalNumber(edit, field);
}

void Cdlg_local_user::bindNoAnswerTime()
{
    _form.bind([this](const User& record) { _edtNoAnsTime->setText(QString::number(record.noAnsTime)); },
               [this](User& record) {
                   record.noAnsTime = BclStrToU32(_edtNoAnsTime->text());
                   record.refineNoAnsTimer();
               });
}

void Cdlg_local_user::bindExpiryDate()
{
    _form.bind(
        [this](const User& record) {
            Cbcl_tmp_str date;
            BclIntToDate(record.expiryDate, date);
            _edtExpiryDate->setText(QString::fromUtf8(date.c_str()));
        },
        [this](User& record) { record.expiryDate = BclDateToInt(_edtExpiryDate->text().toUtf8().constData()); });
}

// The groups of fields that came with later versions begin with their defaults.
void Cdlg_local_user::bindCallWaitingLimit(QLineEdit* edit)
{
    _form.bind([=](const User& record) { edit->setText(QString::number(record.callWaitingLimit)); },
               [=](User& record) {
                   record.InitV8();
                   record.callWaitingLimit = BclNumberOf<uint8_t>(edit->text());
                   record.InitV13();
               });
}

void Cdlg_local_user::bindFollowMeType()
{
    _form.bind(
        [this](const User& record) {
            QAbstractButton* const button = _fmTypeButtons->button(record.followMeType);
            (button == nullptr ? _fmTypeButtons->button(1) : button)->setChecked(true);
        },
        [this](User& record) { record.followMeType = static_cast<uint8_t>(_fmTypeButtons->checkedId()); });
}

// A line that is gone shows as none, so that it is not replaced by another one without anybody noticing.
void Cdlg_local_user::bindSpecialLine()
{
    _form.bind(
        [this](const User& record) {
            const bool isSet = !BclStrIsBlank(record.extLine);
            _chkSpecExtLine->setChecked(isSet);
            _cmbExtLine->setCurrentIndex(isSet ? _cmbExtLine->findData(QString::fromUtf8(record.extLine)) : 0);
        },
        [this](User& record) {
            const QString line = _cmbExtLine->currentData().toString();
            BclCopyQStr(record.extLine, _chkSpecExtLine->isChecked() ? line : QString());
        });
}

void Cdlg_local_user::bindMaxDuration()
{
    _form.bind(
        [this](const User& record) {
            _chkMaxDuration->setChecked(record.maxDuration != 0);
            _edtMaxDuration->setText(record.maxDuration == 0 ? QString() : QString::number(record.maxDuration));
        },
        [this](User& record) {
            if (_chkMaxDuration->isChecked())
                record.maxDuration = BclStrToInt(_edtMaxDuration->text()); // an empty text is no limit, too
        });
}

void Cdlg_local_user::_setupSigAndSlots()
{
    const auto follow = [this](QCheckBox* box, void (Cdlg_local_user::*slot)(bool)) {
        connect(box, &QCheckBox::toggled, this, slot);
    };
    follow(_forwards[0].box, &Cdlg_local_user::chkCFUClick);
    follow(_forwards[1].box, &Cdlg_local_user::chkCFNCClick);
    follow(_forwards[2].box, &Cdlg_local_user::chkCFBClick);
    follow(_forwards[3].box, &Cdlg_local_user::chkCFNAClick);
    follow(_chkVMS, &Cdlg_local_user::chkVMSClick);
    follow(_chkIPAuth, &Cdlg_local_user::chkIPAuthClick);
    follow(_chkSpecExtLine, &Cdlg_local_user::chkSpecExtLineClick);
    follow(_chkMaxDuration, &Cdlg_local_user::chkMaxDurationClick);
    connect(_fmTypeButtons, &QButtonGroup::idToggled, this, [this](int type, bool isOn) {
        if (isOn)
            fmTypeButtonsClick(type);
    });
}

void Cdlg_local_user::chkCFUClick(bool isChecked)
{
    SwitchEditControl(_forwards[0].edit, isChecked);
}

void Cdlg_local_user::chkCFNCClick(bool isChecked)
{
    SwitchEditControl(_forwards[1].edit, isChecked);
}

void Cdlg_local_user::chkCFBClick(bool isChecked)
{
    SwitchEditControl(_forwards[2].edit, isChecked);
}

void Cdlg_local_user::chkCFNAClick(bool isChecked)
{
    SwitchEditControl(_forwards[3].edit, isChecked);
}

void Cdlg_local_user::chkVMSClick(bool isChecked)
{
    SwitchEditControl(_edtEmail, isChecked);
}

void Cdlg_local_user::chkIPAuthClick(bool isChecked)
{
    SwitchEditControl(_edtIPAddr, isChecked);
    SwitchEditControl(_edtIPPort, isChecked);
}

void Cdlg_local_user::chkSpecExtLineClick(bool isChecked)
{
    SwitchEditControl(_cmbExtLine, isChecked);
}

void Cdlg_local_user::chkMaxDurationClick(bool isChecked)
{
    SwitchEditControl(_edtMaxDuration, isChecked);
}

void Cdlg_local_user::fmTypeButtonsClick(int type)
{
    for (QLineEdit* const edit : _fmInputs)
        SwitchEditControl(edit, type != 1);
}
