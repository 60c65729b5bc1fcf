// The page of the hunting group detection: which calls go to which group.
#pragma once

#include "cachedb2/hunting_groups.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QComboBox;
class QLineEdit;

// Edits one rule and stores it.
class Cdlg_hg_dect : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_hg_dect(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new rule.
    void Init(const Cdb_hunting_group_detect_data* record);
    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_hunting_group_detect_data& record() const { return _record; }

public slots:
    void accept() override;

private:
    enum class Mode { Add, Edit };

    void setupUi();

    QComboBox* _cmbDialPlan = nullptr;
    QLineEdit* _edtCalledNbr = nullptr;
    QComboBox* _cmbGroup = nullptr;
    Cdb_hunting_group_detect_data _record;
    Mode _mode = Mode::Add;
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
