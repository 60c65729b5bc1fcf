// The dialog over the system settings.
#pragma once

#include "cachedb2/sys_tbl.h"
#include "common/dlg_common.h"
#include "common/record_form.h"

class QTabWidget;

// Shows the one record of the settings anew each time, and saves it; the running server follows.
class Cdlg_sys_tbl : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_sys_tbl(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

protected:
    void onShow() override;

private:
    using Form = Crecord_form<Cdb_sys_data>;

    void _setupUI();
    void _setupUI_TabGen();
    void _setupUI_TabSIP();
    void _setupUI_TabCall();
    void _setupUI_TabSTUN();
    void _setupUI_TabDB();
    void _setupUI_TabSMTP();

    void save(Cdb_sys_tbl& record) const;
    void _saveVoiceLang();

    QTabWidget* _tabs = nullptr;
    QComboBox* _cmbVoiceLang = nullptr;
    // As they are saved: between some of them, fields are reset that belong together.
    Form _general;
    Form _upnp;
    Form _sip;
    Form _dbServer;
    Form _dbName;
    Form _smtp;
    Form _smtpTls;
    Form _call;
    Form _stun;
};
