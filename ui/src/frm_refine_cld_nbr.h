// The page of the called number refinement: groups of prefixes, each with the transition for calls that leave to a
// number that begins with it.
#pragma once

#include "cachedb2/numbers.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one prefix of a group and stores it.
class Cdlg_refine_cld_nbr : public Cdlg_storing<Cdb_nbr_cld_refine> {
    Q_OBJECT

public:
    Cdlg_refine_cld_nbr(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new prefix.
    void Init(const Cdb_nbr_cld_refine* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QComboBox* _cmbTransition = nullptr;
};

class Cfrm_refine_cld_nbr : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_refine_cld_nbr(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_nbr_cld_refine& record);
    void setRest(int row, const Cdb_nbr_cld_refine& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& groupId, const QString& prefix, Cdb_nbr_cld_refine& record);

    Cdlg_refine_cld_nbr* _editor;
};
