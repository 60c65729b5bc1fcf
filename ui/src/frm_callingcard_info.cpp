#include "frm_callingcard_info.h"

#include "bcl2/date.h"
#include "cachedb2/remote_tables.h"
#include "common/form_grid.h"
#include "common/read_rows.h"

#include <QVBoxLayout>

#include <tuple>

using Card = Ctbl_callingcard_balance;

Cdlg_callingcard_info::Cdlg_callingcard_info(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_keyed(store, parent)
{
    setHelpTopicID(kHelpCallingCard);
    GetLangItem(257, this, "");
    setupUi();
    connect(_chkDialPlan, &QCheckBox::clicked, this, &Cdlg_callingcard_info::chkDialPlanClick);
}

void Cdlg_callingcard_info::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _key.text(_keyLine(grid.addEdit(258)), &Card::cCard);
    _form.text(_requiredLine(grid.addEdit(259)), &Card::cPin);
    _form.number(_requiredLine(grid.addEdit(260)), &Card::nBalance);
    _edtMaxCalls = _line(grid.addEdit(334));
    bindMaxCalls();
    _edtExpiry = _line(grid.addEdit(335));
    bindExpiry();
    std::tie(_chkDialPlan, _edtDialPlan) = grid.addCheckedEdit(291);
    bindDialPlan();
    _addButtonBox(layout);
}

// An empty line is the default.
void Cdlg_callingcard_info::bindMaxCalls()
{
    _form.bind([this](const Card& record) { _edtMaxCalls->setText(QString::number(record.nMaxCalls)); },
               [this](Card& record) {
                   const QString text = _edtMaxCalls->text();
                   if (text.isEmpty())
                       record.nMaxCalls = Card().nMaxCalls;
                   else if (text != QString::number(record.nMaxCalls))
                       record.nMaxCalls = BclStrToU32(text);
               });
}

void Cdlg_callingcard_info::bindExpiry()
{
    _edtExpiry->setInputMask(QStringLiteral("9999-99-99"));
    _form.bind(
        [this](const Card& record) {
            Cbcl_tmp_str date;
            BclIntToDate(record.nExpiry, date);
            _edtExpiry->setText(QString::fromUtf8(date.c_str()));
        },
        [this](Card& record) {
            if (_edtExpiry->text() != _shownExpiry) // a number that is no date stays
                record.nExpiry = BclDateToInt(_edtExpiry->text().toUtf8().constData());
        });
}

// Without its check the card has no plan of its own.
void Cdlg_callingcard_info::bindDialPlan()
{
    _form.bind(
        [this](const Card& record) {
            _chkDialPlan->setChecked(record.nDialPlanInd != 0);
            _edtDialPlan->setText(QString::fromUtf8(record.cDialPlan));
            chkDialPlanClick();
        },
        [this](Card& record) {
            const bool hasPlan = _chkDialPlan->isChecked();
            const bool isSwitched = hasPlan != (record.nDialPlanInd != 0);
            if (isSwitched) // else an odd one stays
                record.setDialPlanInd(hasPlan ? 1 : 0);
            if (isSwitched || _edtDialPlan->text() != QString::fromUtf8(record.cDialPlan))
                BclCopyQStr(record.cDialPlan, hasPlan ? _edtDialPlan->text() : QString());
        });
}

void Cdlg_callingcard_info::Init(const Ctbl_callingcard_balance* record)
{
    Cdlg_keyed::Init(record);
    _shownExpiry = _edtExpiry->text();
    if (record != nullptr)
        return;
    _edtMaxCalls->setText(QString::number(Card().nMaxCalls));
    _edtDialPlan->clear();
    _chkDialPlan->setChecked(false);
    chkDialPlanClick();
}

bool Cdlg_callingcard_info::isBalanceChanged() const
{
    return _edited.work.nBalance != _edited.opening.nBalance;
}

void Cdlg_callingcard_info::chkDialPlanClick()
{
    SwitchEditControl(_edtDialPlan, _chkDialPlan->isChecked());
}

void Cdlg_callingcard_info::accept()
{
    if (_refusesEmptyLines())
        return;
    _readInputs();
    Cdlg_common::accept();
}

Cfrm_callingcard_info::Cfrm_callingcard_info(Cdb_fac_mgr* store, QWidget* parent) : Cfrm_keyed(store, parent)
{
    setHelpTopicID(kHelpCallingCard);
    GetLangItem(261, this, "");
    initColumnView();
}

void Cfrm_callingcard_info::initColumnView()
{
    _addColumns({258, 260});
}

uint32_t Cfrm_callingcard_info::getRecordCnt()
{
    return countRemoteRows(_store, "select count(*) from tbl_callingcard_balance");
}

// The two blanks belong to the statement.
void Cfrm_callingcard_info::loadData()
{
    forEachRemoteRow(_store, _pageOf("select cCard, nBalance from tbl_callingcard_balance  order by cCard"),
                     [this](const Cdb_proxy& row) {
                         Card record;
                         BclCopyStr(record.cCard, row.getRow(0));
                         record.nBalance = row.getRowIntVal(1);
                         addInfo(&record);
                     });
}

void Cfrm_callingcard_info::addInfo(const Ctbl_callingcard_balance* record)
{
    if (record == nullptr)
        return;
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record->cCard));
    setRest(row, *record);
}

void Cfrm_callingcard_info::setRest(int row, const Ctbl_callingcard_balance& record)
{
    _setItemValue(row, 1, record.nBalance);
}

bool Cfrm_callingcard_info::has(const Ctbl_callingcard_balance& record)
{
    Card found = record;
    return tbl_callingcard_balance_get(_store, found) == kDbOk;
}

bool Cfrm_callingcard_info::read(const QStringList& key, Ctbl_callingcard_balance& record)
{
    BclCopyQStr(record.cCard, key.first());
    return tbl_callingcard_balance_get(_store, record) == kDbOk;
}

void Cfrm_callingcard_info::add(const Ctbl_callingcard_balance& record)
{
    tbl_callingcard_balance_add(_store, record);
}

void Cfrm_callingcard_info::write(Ctbl_callingcard_balance& record)
{
    if (_editor->isBalanceChanged())
        tbl_callingcard_balance_set(_store, record);
    else
        tbl_callingcard_balance_set_rest(_store, record); // a call may have spent of it since the editor was opened
}

void Cfrm_callingcard_info::warnUnreadable()
{
    PlxWarningNoRecord();
}

void Cfrm_callingcard_info::onSearchBtn()
{
    _search(258);
}

// The row goes whatever the store says.
void Cfrm_callingcard_info::onDeleteBtn()
{
    const QStringList key = _selectedKey();
    if (key.isEmpty())
        return;
    tbl_callingcard_balance_del(_store, key.first().toUtf8().constData());
    _deleteRow(_selectedRow());
}
