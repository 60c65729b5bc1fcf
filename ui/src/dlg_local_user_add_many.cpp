#include "dlg_local_user_add_many.h"

#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/warning_box.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QVBoxLayout>

#include <limits>

namespace {

constexpr uint32_t kMostUsers = 300; // in one run
constexpr unsigned kGood = 0;
constexpr unsigned kFaulty = 4;

// Decimal, also behind zeros. What is too large becomes the largest number, behind which there are no users: not 0,
// which would be others than those that were meant.
uint32_t startNumberOf(const QString& digits)
{
    bool isInRange = false;
    const uint32_t number = digits.toUInt(&isInRange);
    return isInRange ? number : std::numeric_limits<uint32_t>::max();
}

} // namespace

Cdlg_local_user_add_many::Cdlg_local_user_add_many(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpLocalUsers);
    _setupUI();
    connect(_chkRandom, &QCheckBox::toggled, this, &Cdlg_local_user_add_many::chkRandPWDClick);
}

void Cdlg_local_user_add_many::_setupUI()
{
    GetLangItem(388, this, "");
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _setupUI_Widgets(grid);
    _addButtonBox(layout);
}

void Cdlg_local_user_add_many::_setupUI_Widgets(Cform_grid& grid)
{
    _edtStart = grid.addEdit(389);
    _edtTotal = grid.addEdit(390);
    _chkRandom = grid.addCheck(391);
    _edtPassword = grid.addPassword(304);
    _edtPassword->setMaxLength(Cphone_number::kBound); // cut later it would be another password
}

void Cdlg_local_user_add_many::init()
{
    _startNumber = 0;
    _total = 0;
    _isRandom = 1;
    _password.Init();
    for (QLineEdit* const edit : {_edtStart, _edtTotal, _edtPassword})
        edit->clear();
    _chkRandom->setChecked(true);
    chkRandPWDClick(true);
}

void Cdlg_local_user_add_many::chkRandPWDClick(bool isChecked)
{
    SwitchEditControl(_edtPassword, !isChecked);
}

const char* Cdlg_local_user_add_many::faultOfInputs() const
{
    if (BclStrIsBlank(_edtStart->text()))
        return "Please configure 'start number'.";
    if (BclStrIsBlank(_edtTotal->text()))
        return "Please configure 'Total'.";
    if (!_chkRandom->isChecked() && BclStrIsBlank(_edtPassword->text()))
        return "Please configure 'Password'.";
    if (BclIsAllDigits09(_edtStart->text().toStdString()) == 0)
        return "'Start number' must only include '0'~'9' digits";
    if (BclStrToU32(_edtTotal->text()) - 1 >= kMostUsers) // 0 becomes the largest number there is
        return "'Total' is invalid.";
    return nullptr;
}

unsigned Cdlg_local_user_add_many::checkInputs()
{
    if (const char* const fault = faultOfInputs(); fault != nullptr) {
        PlxWarningBox(QStringLiteral("Invalid parameter"), QString::fromLatin1(fault));
        return kFaulty;
    }
    _startNumber = startNumberOf(_edtStart->text());
    _total = BclStrToU32(_edtTotal->text());
    _isRandom = _chkRandom->isChecked() ? 1 : 0;
    if (_isRandom == 0)
        _password.SetNbr(_edtPassword->text().toLocal8Bit().constData());
    return kGood;
}

void Cdlg_local_user_add_many::accept()
{
    checkInputs() == kGood ? Cdlg_common::accept() : reject();
}
