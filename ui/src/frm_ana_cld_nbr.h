// The page of the called number analysis, the centre of the dial plan: where the calls to a called prefix go.
#pragma once

#include "cachedb2/numbers.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

// Edits one row of the analysis; its list frame stores it.
class Cdlg_ana_cld_nbr : public Cdlg_record<Cdb_nbr_cld_ana_data> {
    Q_OBJECT

public:
    Cdlg_ana_cld_nbr(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new row.
    void Init(const Cdb_nbr_cld_ana_data* record);

public slots:
    void accept() override;
    void chkCalledChangedClick(bool on);
    void chkMaxDurationClick(bool on);
    void cmbRouteTypeChange(int index);

private:
    void setupUi();
    void fillRouteTypes();
    void refillChoices();
    void showRecord(const Cdb_nbr_cld_ana_data& record);
    void readInputs(Cdb_nbr_cld_ana_data& record) const;
    // What is wrong with the inputs; empty: nothing is.
    [[nodiscard]] QString fault() const;
    [[nodiscard]] Ert_type routeType() const;

    // Enables and shows what the route type and the check boxes have use for.
    void _updateView();
    void _hideRtItems();
    void _showRtItems(Ert_type type);
    void _hideRtExtLineItems();
    void _showRtExtLineItems();
    void _hideRtSIPTrunkItems();
    void _showRtSIPTrunkItems();
    void _hideRtGroupItems();
    void _showRtGroupItems();

    QComboBox* _cmbDialPlan = nullptr;
    QLineEdit* _edtPrefix = nullptr;
    QLineEdit* _edtDescription = nullptr;
    QComboBox* _cmbRouteType = nullptr;
    QComboBox* _cmbExtLine = nullptr;
    QComboBox* _cmbPeerServer = nullptr;
    QComboBox* _cmbRtGroup = nullptr;
    QComboBox* _cmbLevel = nullptr;
    QCheckBox* _chkMaxDuration = nullptr;
    QLineEdit* _edtMaxDuration = nullptr;
    QComboBox* _cmbRefineGroup = nullptr;
    QCheckBox* _chkCalledChanged = nullptr;
    QComboBox* _cmbTransition = nullptr;
    QCheckBox* _chkTransOption = nullptr;
};

class Cfrm_ana_cld_nbr : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_ana_cld_nbr(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_nbr_cld_ana_data* record);
    // The record with this key; false: there is none.
    [[nodiscard]] bool read(const QString& dialPlan, const QString& prefix, Cdb_nbr_cld_ana_data& record);
    [[nodiscard]] bool isEdited(const Cdb_nbr_cld_ana_data* record);

    Cdlg_ana_cld_nbr* _editor;
};
