// The page of the caller number analysis: the dial plan and the number of callers with a prefix.
#pragma once

#include "cachedb2/numbers.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

// Edits one row of the analysis; its list frame stores it.
class Cdlg_ana_clr_nbr : public Cdlg_record<Cdb_nbr_clr_ana_data> {
    Q_OBJECT

public:
    Cdlg_ana_clr_nbr(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new row.
    void Init(const Cdb_nbr_clr_ana_data* record);

public slots:
    void accept() override;

private:
    void setupUi();
    void readInputs(Cdb_nbr_clr_ana_data& record) const;

    QLineEdit* _edtPrefix = nullptr;
    QComboBox* _cmbTransition = nullptr;
    QComboBox* _cmbDialPlan = nullptr;
};

class Cfrm_ana_clr_nbr : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_ana_clr_nbr(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_nbr_clr_ana_data* record);
    void setRest(int row, const Cdb_nbr_clr_ana_data& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& prefix, Cdb_nbr_clr_ana_data& record);
    [[nodiscard]] bool isEdited(const Cdb_nbr_clr_ana_data* record);

    Cdlg_ana_clr_nbr* _editor;
};
