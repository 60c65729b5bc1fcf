// The page of the peer servers: other SIP servers that calls are sent to and taken from.
#pragma once

#include "cachedb2/peer_server.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

class QTabWidget;

// Edits one peer server; its list frame stores it.
class Cdlg_peer_server : public Cdlg_record<Cdb_sip_domain_data> {
    Q_OBJECT

public:
    Cdlg_peer_server(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new peer server.
    void Init(const Cdb_sip_domain_data* record, int sid);
    // After it was accepted.
    [[nodiscard]] unsigned sid() const { return _sid; }

public slots:
    void accept() override;

private:
    void setupBasicTab();
    void setupOutgoingTab();
    void setupIncomingTab();
    void refillChoices();

    QTabWidget* _tabs;
    QLineEdit* _edtSid = nullptr;
    QLineEdit* _edtAddress = nullptr;
    QLineEdit* _edtPort = nullptr;
    QComboBox* _cmbTimeCondition = nullptr;
    QComboBox* _cmbRefineGroup = nullptr;
    QComboBox* _cmbBackupPeer = nullptr;
    QComboBox* _cmbDialPlan = nullptr;
    unsigned _sid = 0; // key of the record, which does not hold it
};

class Cfrm_peer_servers : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_peer_servers(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(unsigned sid, const Cdb_sip_domain_data& record);
    void _setItem(int row, unsigned sid, const Cdb_sip_domain_data& record);
    // True when the user changed the record and said OK; then the dialog holds it.
    [[nodiscard]] bool _isEdited(const Cdb_sip_domain_data* record, unsigned sid);

    Cdlg_peer_server* _editor;
};
