// The page of the caller number refinement: groups of prefixes, each with the transition for callers that begin with
// it.
#pragma once

#include "cachedb2/numbers.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

// Edits one prefix of a group; its list frame stores it.
class Cdlg_refine_clr_nbr : public Cdlg_record<Cdb_nbr_clr_refine_data> {
    Q_OBJECT

public:
    Cdlg_refine_clr_nbr(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new prefix.
    void Init(const Cdb_nbr_clr_refine_data* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtGroupId = nullptr;
    QLineEdit* _edtPrefix = nullptr;
    QComboBox* _cmbTransition = nullptr;
};

class Cfrm_refine_clr_nbr : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_refine_clr_nbr(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_nbr_clr_refine_data& record);
    void setRest(int row, const Cdb_nbr_clr_refine_data& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& groupId, const QString& prefix, Cdb_nbr_clr_refine_data& record);
    [[nodiscard]] bool isEdited(const Cdb_nbr_clr_refine_data* record);

    Cdlg_refine_clr_nbr* _editor;
};
