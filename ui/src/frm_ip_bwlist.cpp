#include "frm_ip_bwlist.h"

#include "cachedb2/fac_mgr.h"
#include "common/display_text.h"
#include "common/enabling.h"
#include "common/form_grid.h"
#include "common/lang_res.h"
#include "common/read_rows.h"
#include "common/warning_box.h"

#include <QVBoxLayout>

namespace {

// Values of the action.
constexpr unsigned char kDeny = 0;
constexpr unsigned char kAllow = 1;

} // namespace

Cdlg_ip_bwlist::Cdlg_ip_bwlist(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_record(store, parent)
{
    setHelpTopicID(kHelpIpLists);
    GetLangItem(444, this, "");
    setupUi();
}

void Cdlg_ip_bwlist::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _edtIpAddr = grid.addEdit(416);
    _form.text(_edtIpAddr, &Cdb_ip_bwlist::ipAddr);
    _form.text(grid.addEdit(283), &Cdb_ip_bwlist::name);
    QComboBox* const action = grid.addCombo(445);
    for (const unsigned char value : {kDeny, kAllow})
        action->addItem(actionToStr(value), value);
    _form.choice(action, &Cdb_ip_bwlist::action);
    _addButtonBox(layout);
}

void Cdlg_ip_bwlist::init(const Cdb_ip_bwlist* record)
{
    _edited.open(record);
    _form.show(_edited.opening);
    _edtIpAddr->setEnabled(record == nullptr);
}

// Whether it is an address is not asked.
void Cdlg_ip_bwlist::accept()
{
    if (_edtIpAddr->text().isEmpty())
        return _refuse(QStringLiteral("Invalid IP address."), QStringLiteral("Parameter Invalid"));
    _edited.work.init();
    _form.read(_edited.work);
    Cdlg_common::accept();
}

Cfrm_ip_bwlist::Cfrm_ip_bwlist(Cdb_fac_mgr* store, QWidget* parent)
    : Cfrm_list(store, parent), _editor(new Cdlg_ip_bwlist(store, this))
{
    setHelpTopicID(kHelpIpLists);
    GetLangItem(444, this, "");
    initColumnView();
}

void Cfrm_ip_bwlist::initColumnView()
{
    _addColumns({416, 283, 445});
}

uint32_t Cfrm_ip_bwlist::getRecordCnt()
{
    return countRows(_store->GetCacheDB(), "select count(*) from tbl_ip_bwlist");
}

void Cfrm_ip_bwlist::loadData()
{
    forEachRecord<Cdb_ip_bwlist>(_store->GetCacheDB(), _pageOf("select * from tbl_ip_bwlist order by ipAddr"),
                                 ldb_ip_bwlist_get_full_data,
                                 [this](const Cdb_ip_bwlist& record) { _addItem(record); });
}

void Cfrm_ip_bwlist::_addItem(const Cdb_ip_bwlist& record)
{
    const int row = _appendRow();
    _setItemValue(row, 0, QString::fromUtf8(record.ipAddr));
    setRest(row, record);
}

void Cfrm_ip_bwlist::setRest(int row, const Cdb_ip_bwlist& record)
{
    _setItemValue(row, 1, QString::fromUtf8(record.name));
    _setItemValue(row, 2, actionToStr(record.action == kAllow ? kAllow : kDeny));
}

bool Cfrm_ip_bwlist::read(const QString& ipAddr, Cdb_ip_bwlist& record)
{
    BclCopyQStr(record.ipAddr, ipAddr);
    return _store->DbIPBWListGet(record) == kDbOk;
}

// Here and below: stored at every OK, and shown whatever the store says.
void Cfrm_ip_bwlist::onAddBtn()
{
    _editor->init(nullptr);
    if (_editor->exec() != QDialog::Accepted)
        return;
    _store->DbIPBWListSet(_editor->record());
    _addItem(_editor->record());
}

void Cfrm_ip_bwlist::onEditBtn()
{
    const QStringList key = _selectedKey();
    Cdb_ip_bwlist record;
    if (key.isEmpty() || !read(key.first(), record))
        return;
    _editor->init(&record);
    if (_editor->exec() != QDialog::Accepted)
        return;
    _store->DbIPBWListSet(_editor->record());
    setRest(_rowOfKey(key), _editor->record());
}

void Cfrm_ip_bwlist::onDeleteBtn()
{
    const int row = _selectedRow();
    if (row < 0)
        return;
    _store->DbIPBWListDel(_getItemValue(row, 0).toUtf8().constData());
    _deleteRow(row);
}

void Cfrm_ip_bwlist::onSearchBtn()
{
    QString ipAddr;
    if (!_askFor(ipAddr, 416))
        return;
    Cdb_ip_bwlist record;
    if (!read(ipAddr, record))
        return PlxWarningNoRecord();
    _editor->init(&record);
    if (_editor->exec() == QDialog::Accepted)
        _store->DbIPBWListSet(_editor->record());
}
