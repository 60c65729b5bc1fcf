// The page of the hunting group detection: which calls go to which group.
#pragma once

#include "cachedb2/hunting_groups.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one rule and stores it.
class Cdlg_hg_dect : public Cdlg_storing<Cdb_hunting_group_detect_data> {
    Q_OBJECT

public:
    Cdlg_hg_dect(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new rule.
    void Init(const Cdb_hunting_group_detect_data* record);

public slots:
    void accept() override;

private:
    void setupUi();
    void bindGroup();

    QComboBox* _cmbDialPlan = nullptr;
    QLineEdit* _edtCalledNbr = nullptr;
    QComboBox* _cmbGroup = nullptr;
};

class Cfrm_hg_dect : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_hg_dect(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_hunting_group_detect_data& record);
    // A row shows all of its record.
    [[nodiscard]] Cdb_hunting_group_detect_data recordOf(int row) const;

    Cdlg_hg_dect* _editor;
};
