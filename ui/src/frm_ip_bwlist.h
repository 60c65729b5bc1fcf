// The page of the IP black and white list: addresses whose packets are dropped, or never blocked.
#pragma once

#include "cachedb2/access_lists.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

class QLineEdit;

// Edits one entry; its list frame stores it.
class Cdlg_ip_bwlist : public Cdlg_record<Cdb_ip_bwlist> {
    Q_OBJECT

public:
    Cdlg_ip_bwlist(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new entry.
    void init(const Cdb_ip_bwlist* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtIpAddr = nullptr;
};

class Cfrm_ip_bwlist : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_ip_bwlist(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_ip_bwlist& record);
    void setRest(int row, const Cdb_ip_bwlist& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& ipAddr, Cdb_ip_bwlist& record);

    Cdlg_ip_bwlist* _editor;
};
