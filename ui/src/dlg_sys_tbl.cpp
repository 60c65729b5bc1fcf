#include "dlg_sys_tbl.h"

#include "bcl2/log.h"
#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/form_tabs.h"
#include "common/lang_res.h"

#include <QTabWidget>
#include <QVBoxLayout>

#include <limits>

using System = Cdb_sys_data;
using Form = Crecord_form<Cdb_sys_data>;

namespace {

// Ports as people write them: 010 is 10. What is no number is 0.
void bindDecimal(Form& form, QLineEdit* edit, int32_t System::*field)
{
    form.bind([=](const System& record) { edit->setText(QString::number(record.*field)); },
              [=](System& record) { record.*field = edit->text().toInt(); });
}

// A number that is no port would become another one in its field: the former port stays, and the log says why.
void bindPort(Form& form, QLineEdit* edit, uint16_t System::*field)
{
    form.bind([=](const System& record) { edit->setText(QString::number(record.*field)); },
              [=](System& record) {
                  const int port = edit->text().toInt();
                  if (port >= 0 && port <= std::numeric_limits<uint16_t>::max())
                      record.*field = static_cast<uint16_t>(port);
                  else
                      BclLog("%s %d: ports are 0 to 65535, %u stays.", edit->accessibleName().toUtf8().constData(),
                             port, unsigned{record.*field});
              });
}

void bindUnsigned(Form& form, QLineEdit* edit, uint32_t System::*field)
{
    form.bind([=](const System& record) { edit->setText(QString::number(record.*field)); },
              [=](System& record) { record.*field = BclStrToU32(edit->text()); });
}

// RTP takes even ports, RTCP the odd one above each (RFC 3550 section 11).
int32_t evenPort(int32_t port)
{
    if (port % 2 == 0)
        return port;
    return port == std::numeric_limits<int32_t>::max() ? port - 1 : port + 1;
}

void bindEvenPort(Form& form, QLineEdit* edit, int32_t System::*field)
{
    form.bind([=](const System& record) { edit->setText(QString::number(record.*field)); },
              [=](System& record) { record.*field = evenPort(edit->text().toInt()); });
}

// An empty line keeps the password that is stored.
void bindKeptPassword(Form& form, QLineEdit* edit)
{
    form.bind([=](const System& record) { edit->setText(QString::fromUtf8(record.evtChannelPassword)); },
              [=](System& record) {
                  if (!BclStrIsBlank(edit->text()))
                      BclCopyQStr(record.evtChannelPassword, edit->text());
              });
}

void bindSwitch(Form& form, QCheckBox* box, uint8_t System::*field)
{
    form.bind([=](const System& record) { box->setChecked(record.*field == 1); },
              [=](System& record) { record.*field = box->isChecked() ? 1 : 0; });
}

void bindFirstCharacter(Form& form, QLineEdit* edit, char System::*field)
{
    form.bind(
        [=](const System& record) {
            edit->setText(record.*field == '\0' ? QString() : QString(QLatin1Char(record.*field)));
        },
        [=](System& record) { record.*field = edit->text().toLocal8Bit().append('\0').at(0); });
}

} // namespace

Cdlg_sys_tbl::Cdlg_sys_tbl(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpSystem);
    _setupUI();
}

void Cdlg_sys_tbl::_setupUI()
{
    GetLangItem(57, this, "");
    _tabs = new Cform_tabs(this);
    _setupUI_TabGen();
    _setupUI_TabSIP();
    _setupUI_TabCall();
    _setupUI_TabSTUN();
    _setupUI_TabDB();
    _setupUI_TabSMTP();
    alignGroups(_tabs);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(_tabs);
    _addButtonBox(layout);
}

void Cdlg_sys_tbl::_setupUI_TabGen()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 162));
    bindKeptPassword(_general, grid.addPassword(310));
    bindEvenPort(_general, grid.addEdit(81), &System::rtpPortFirst);
    _general.number(grid.addEdit(336), &System::rtpPortLast);
    bindUnsigned(_general, grid.addEdit(414), &System::evtChannelPort);
    _cmbVoiceLang = grid.addCombo(343);
    _cmbVoiceLang->addItem(GetLangItem(344), 0U);
    _cmbVoiceLang->addItem(GetLangItem(345), 1U);
    bindSwitch(_upnp, grid.addCheck(454), &System::isUpnp);
}

void Cdlg_sys_tbl::_setupUI_TabSIP()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 60));
    _sip.text(grid.addEdit(89), &System::localAddr);
    _sip.text(grid.addEdit(413), &System::publicAddr);
    _sip.text(grid.addEdit(450), &System::sipDomain);
    bindDecimal(_sip, grid.addEdit(90), &System::udpPort);
    bindPort(_sip, grid.addEdit(399), &System::tcpPort);
    bindPort(_sip, grid.addEdit(400), &System::tlsPort);
    QLineEdit* const realm = grid.addEdit(451);
    _sip.bind([=](const System& record) { realm->setText(QString::fromUtf8(record.realm)); },
              [=](System& record) { record.SetRealm(realm->text().toLocal8Bit().constData()); });
}

void Cdlg_sys_tbl::_setupUI_TabCall()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 151));
    bindFirstCharacter(_call, grid.addEdit(80), &System::servicePrefix);
    QComboBox* const route = grid.addCombo(473);
    route->addItem(GetLangItem(213), 0U);
    route->addItem(GetLangItem(214), 1U);
    _call.choice(route, &System::defaultRoute);
    const auto addFlag = [&](int item, Esys_flag flag) { _call.flag(grid.addCheck(item), &System::callFlags, flag); };
    addFlag(82, kSysRelayMedia);
    addFlag(83, kSysAuthCalls);
    addFlag(84, kSysAcceptUnknown);
    addFlag(85, kSysAnnounce);
    addFlag(86, kSysTransit);
    addFlag(87, kSysStoreCdr);
    addFlag(88, kSysSessionTimers);
}

void Cdlg_sys_tbl::_setupUI_TabSTUN()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 61));
    _stun.text(grid.addEdit(92), &System::stunAddr1);
    bindDecimal(_stun, grid.addEdit(93), &System::stunPort1);
    _stun.text(grid.addEdit(94), &System::stunAddr2);
    bindDecimal(_stun, grid.addEdit(95), &System::stunPort2);
}

void Cdlg_sys_tbl::_setupUI_TabDB()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, 63));
    _dbServer.text(grid.addEdit(101), &System::dbAddr);
    bindDecimal(_dbServer, grid.addEdit(102), &System::dbPort);
    _dbServer.text(grid.addEdit(103), &System::dbUser);
    _dbServer.text(grid.addPassword(104), &System::dbPassword);
    _dbName.text(grid.addEdit(105), &System::dbName);
}

void Cdlg_sys_tbl::_setupUI_TabSMTP()
{
    Cform_grid grid = addGroup(addGroupTab(_tabs, QStringLiteral("SMTP")));
    _smtp.text(grid.addEdit(106), &System::smtpAddr);
    _smtp.text(grid.addEdit(107), &System::smtpUser);
    _smtp.text(grid.addPassword(108), &System::smtpPassword);
    bindSwitch(_smtpTls, grid.addCheck(109), &System::isSmtpTls);
}

void Cdlg_sys_tbl::onShow()
{
    const Cdb_sys_tbl* const record = _store->DbGetSysTbl();
    if (record == nullptr)
        return;
    for (const Form* const form : {&_general, &_upnp, &_sip, &_dbServer, &_dbName, &_smtp, &_smtpTls, &_call, &_stun})
        form->show(*record);
    _cmbVoiceLang->setCurrentIndex(_cmbVoiceLang->findData(_store->DbGetSrfAnnLang()));
}

// What the store cannot write is in its log.
void Cdlg_sys_tbl::accept()
{
    if (Cdb_sys_tbl* const record = _store->DbGetSysTbl(); record != nullptr) {
        save(*record);
        _saveVoiceLang();
        (void)_store->DbSysDNSGet();
        (void)_store->searchUPnP();
    }
    Cdlg_common::accept();
}

void Cdlg_sys_tbl::save(Cdb_sys_tbl& record) const
{
    record.InitV18();
    _general.read(record);
    record.InitV24();
    _upnp.read(record);
    _sip.read(record);
    record.InitV17();
    record.InitV11();
    _dbServer.read(record);
    record.InitV14();
    _dbName.read(record);
    record.InitV15();
    _smtp.read(record);
    record.InitV16();
    _smtpTls.read(record);
    _call.read(record);
    _stun.read(record);
    record.InitV13();
    record.SetModified();
    (void)record.SaveDB();
}

// A language that the box does not offer stays.
void Cdlg_sys_tbl::_saveVoiceLang()
{
    const unsigned language = ComboBoxGetValU32(_cmbVoiceLang);
    if (_cmbVoiceLang->currentIndex() >= 0 && language != _store->DbGetSrfAnnLang())
        (void)_store->DbSetSrfAnnLang(language);
}
