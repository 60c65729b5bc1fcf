#include "dlg_local_user.h"

#include "bcl2/log.h"
#include "bcl2/uaddr.h"
#include "cachedb2/fac_mgr.h"
#include "common/combo_fill.h"
#include "common/enabling.h"
#include "common/lang_res.h"

#include <QButtonGroup>
#include <QTabWidget>

using User = Cdb_usr_info;

namespace {

constexpr int kLongestPassword = sizeof(User::password) - 1; // bytes
constexpr uint32_t kLongestNoAnswerTime = 3599;              // s
constexpr int kEmptyDate = 2;                                // characters that the mask of the date has of itself
constexpr int kWholeDate = 10;

// For who looks in the log why an editor closed.
void logInvalid(const char* what, int line)
{
    BclLog("invalid ip %s (%s_%d)", what, __FILE_NAME__, line);
}

} // namespace

Cdlg_local_user::Cdlg_local_user(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpLocalUsers);
    _setupUI();
    _setupSigAndSlots();
}

void Cdlg_local_user::refillChoices()
{
    InitDialPlanView(_store, _cmbDialPlan);
    InitExtLineView(_store, _cmbExtLine);
    InitTimeConditionView(_store, _cmbTimeCondition);
}

void Cdlg_local_user::Init(const Cdb_usr_info* record, Eusr_op mode)
{
    refillChoices();
    _mode = mode;
    _isStored = false;
    _edited.open(record);
    const User& shown = _edited.opening;
    _form.show(shown);
    for (const Forward& forward : _forwards)
        forward.edit->setText(QString::fromUtf8((shown.*forward.number).c_str()));
    _edtIPAddr->setText(QString::fromUtf8(shown.ipAddr));
    const bool hasPort = shown.ipPort != 0 || shown.hasFlag(kUsrIpAuth);
    _edtIPPort->setText(hasPort ? QString::number(shown.ipPort) : QString());

    _edtName->setEnabled(mode == kUsrAdd);
    _chkPrepaid->setEnabled(_store->IsRemoteDbActive() != 0);
    for (const Forward& forward : _forwards)
        SwitchEditControl(forward.edit, forward.box->isChecked());
    chkVMSClick(_chkVMS->isChecked());
    chkIPAuthClick(_chkIPAuth->isChecked());
    chkSpecExtLineClick(_chkSpecExtLine->isChecked());
    chkMaxDurationClick(_chkMaxDuration->isChecked());
    fmTypeButtonsClick(_fmTypeButtons->checkedId());
    _tabs->setCurrentIndex(0);
}

bool Cdlg_local_user::refuse(const QString& text)
{
    _refuseParam(text);
    return false;
}

void Cdlg_local_user::accept()
{
    const bool isGood = isNameFree() && isPasswordGood() && isSpecialLineGood() && isExpiryDateGood() &&
                        isNoAnswerTimeGood() && isVoiceMailGood() && isIpAuthGood();
    if (!isGood)
        return;
    _isStored = false;
    User& work = _edited.work;
    work.Init();
    _form.read(work);
    readForwards(work);
    User stored;
    if (_store->DbGetUsrInfo(work.usrName, stored) == kDbOk)
        work.restorePreStatus(stored);
    readIpAuth(work);
    store();
    Cdlg_common::accept();
}

void Cdlg_local_user::store()
{
    if (_edited.isChanged())
        _isStored = _store->DbSetLocalUserData(_edited.work) == kDbOk;
}

// By the name as it would be stored: a longer text must not replace the user whose name it begins with.
bool Cdlg_local_user::isNameFree()
{
    User named;
    BclCopyQStr(named.usrName, _edtName->text());
    if (_mode != kUsrAdd || BclStrIsBlank(named.usrName))
        return true;
    User stored;
    if (_store->DbGetUsrInfo(named.usrName, stored) == kDbOk) {
        reject();
        return false;
    }
    return _store->DbExtLineHas(named.usrName) != 1 || refuse(GetLangItem(452));
}

// Cut to its bound it would be another password.
bool Cdlg_local_user::isPasswordGood()
{
    return _edtPassword->text().toLocal8Bit().size() <= kLongestPassword || refuse(GetLangItem(455));
}

bool Cdlg_local_user::isSpecialLineGood()
{
    const bool isChosen = !BclStrIsBlank(_cmbExtLine->currentText());
    return !_chkSpecExtLine->isChecked() || isChosen || refuse(GetLangItem(112));
}

bool Cdlg_local_user::isExpiryDateGood()
{
    if (_edtExpiryDate->text().length() == kEmptyDate)
        _edtExpiryDate->setText(QStringLiteral("0000-00-00"));
    return _edtExpiryDate->text().length() == kWholeDate || refuse(GetLangItem(339));
}

bool Cdlg_local_user::isNoAnswerTimeGood()
{
    return BclStrToU32(_edtNoAnsTime->text()) <= kLongestNoAnswerTime || refuse(GetLangItem(113));
}

bool Cdlg_local_user::isVoiceMailGood()
{
    if (!_chkVMS->isChecked() || _store->DbGetVmsMode() != 0)
        return true;
    if (BclStrIsBlank(_edtEmail->text()))
        return refuse(QStringLiteral("Please input user e-mail address to receive voice mail."));
    return !BclStrIsBlank(_store->DbGetSmtpServer()) ||
           refuse(QStringLiteral("Please configure SMTP server information to send voice mail."));
}

// These close the dialog without a box.
bool Cdlg_local_user::isIpAuthGood()
{
    if (!_chkIPAuth->isChecked())
        return true;
    if (BclStrIsBlank(_edtIPAddr->text()))
        logInvalid("address", __LINE__);
    else if (BclIsIPFormat(_edtIPAddr->text().toLocal8Bit().constData()) == 0)
        logInvalid("address format", __LINE__);
    else if (BclStrIsBlank(_edtIPPort->text()))
        logInvalid("port", __LINE__);
    else
        return true;
    reject();
    return false;
}

// A forward to oneself would never end: it is not stored.
void Cdlg_local_user::readForwards(Cdb_usr_info& record) const
{
    for (const Forward& forward : _forwards) {
        (record.*forward.set)(forward.edit->text().toLocal8Bit().constData());
        const bool isOneself = (record.*forward.number).view() == BclFieldText(record.usrName);
        if (!forward.box->isChecked() || isOneself)
            (record.*forward.clear)();
    }
}

void Cdlg_local_user::readIpAuth(Cdb_usr_info& record) const
{
    if (!record.hasFlag(kUsrIpAuth))
        return;
    BclCopyQStr(record.ipAddr, _edtIPAddr->text());
    record.ipPort = BclStrToU32(_edtIPPort->text());
}
