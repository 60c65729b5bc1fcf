// The page of the event channel authorization: addresses that may connect to the event channel.
#pragma once

#include "cachedb2/access_lists.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QLineEdit;

// Takes one address and stores it. It is not prepared: what was typed last stands there again.
class Cdlg_evt_channel_auth : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_evt_channel_auth(Cdb_fac_mgr* store, QWidget* parent);

    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_evt_channel_auth& record() const { return _record; }

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtIpAddr = nullptr;
    Cdb_evt_channel_auth _record;
};

class Cfrm_evt_channel_auth : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_evt_channel_auth(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_evt_channel_auth& record);

    Cdlg_evt_channel_auth* _editor;
};
