#include "dlg_local_user_add_many.h"

#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/qstr.h"
#include "common/warning_box.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QVBoxLayout>

namespace {

constexpr uint32_t kMostUsers = 300; // in one run
constexpr unsigned kGood = 0;
constexpr unsigned kFaulty = 4;

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

QString Cdlg_local_user_add_many::faultOfInputs() const
{
    if (BclStrIsBlank(_edtStart->text()))
        return QStringLiteral("Please configure 'start number'.");
    if (BclStrIsBlank(_edtTotal->text()))
        return QStringLiteral("Please configure 'Total'.");
    if (!_chkRandom->isChecked() && BclStrIsBlank(_edtPassword->text()))
        return QStringLiteral("Please configure 'Password'.");
    if (BclIsAllDigits09(_edtStart->text().toStdString()) == 0)
        return QStringLiteral("'Start number' must only include '0'~'9' digits");
    if (_edtTotal->text().toUInt() - 1 >= kMostUsers) // 0 becomes the largest number there is
        return QStringLiteral("'Total' is invalid.");
    // Cut to its bound it would be another password.
    if (!_chkRandom->isChecked() && _edtPassword->text().toLocal8Bit().size() > static_cast<int>(Cphone_number::kBound))
        return GetLangItem(455);
    return {};
}

// Numbers are decimal, also behind zeros.
unsigned Cdlg_local_user_add_many::checkInputs()
{
    if (const QString fault = faultOfInputs(); !fault.isEmpty()) {
        PlxWarningBox(QStringLiteral("Invalid parameter"), fault);
        return kFaulty;
    }
    bool isNumber = false;
    _startNumber = _edtStart->text().toUInt(&isNumber);
    _total = isNumber ? _edtTotal->text().toUInt() : 0; // behind the largest number there are no users
    _isRandom = _chkRandom->isChecked() ? 1 : 0;
    if (_isRandom == 0)
        _password.SetNbr(_edtPassword->text().toLocal8Bit().constData());
    return kGood;
}

void Cdlg_local_user_add_many::accept()
{
    checkInputs() == kGood ? Cdlg_common::accept() : reject();
}
