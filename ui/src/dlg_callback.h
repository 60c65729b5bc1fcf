// The dialog over the settings of the callback service.
#pragma once

#include "cachedb2/callback.h"
#include "common/dlg_common.h"
#include "common/record_form.h"

// Shows the one record of the service anew each time, and saves it.
class Cdlg_callback : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_callback(Cdb_fac_mgr* store, QWidget* parent);

    void Init(); // before each run

public slots:
    void accept() override;

private:
    void setupUi();

    Crecord_form<Cdb_cb_serv_data> _form;
};
