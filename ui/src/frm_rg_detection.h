// The page of the ring group detection: which calls ring which group.
#pragma once

#include "cachedb2/ring_groups.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one rule and stores it.
class Cdlg_rg_detection : public Cdlg_storing<Cdb_rg_detection> {
    Q_OBJECT

public:
    Cdlg_rg_detection(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new rule.
    void init(const Cdb_rg_detection* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QComboBox* _cmbDialPlan = nullptr;
};

class Cfrm_rg_detection : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_rg_detection(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void addItem(const Cdb_rg_detection& record);
    void setRest(int row, const Cdb_rg_detection& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& dialPlan, const QString& calledNbr, Cdb_rg_detection& record);

    Cdlg_rg_detection* _editor;
};
