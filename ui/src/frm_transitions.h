// The page of the number transitions: rules that add, replace or delete digits of a number.
#pragma once

#include "cachedb2/numbers.h"
#include "common/dlg_record.h"
#include "common/frm_list.h"

class QButtonGroup;

// Edits one transition; its list frame stores it.
class Cdlg_transition : public Cdlg_record<Cdb_nbr_trans_data> {
    Q_OBJECT

public:
    Cdlg_transition(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new transition.
    void Init(const Cdb_nbr_trans_data* record, int id);

public slots:
    void accept() override;
    void transTypeButtonsClick(int id);

private:
    void setupUi();
    void _setTransTypeButton(int id);
    // Each type leaves the inputs that it has no use for empty and disabled.
    void _initAddTypeView();
    void _initReplaceTypeView();
    void _initDeleteTypeView();
    // Language item of the first thing that is wrong; 0: nothing is. Fills the record.
    [[nodiscard]] int readInputs();

    QLineEdit* _edtId = nullptr;
    QLineEdit* _edtDescription = nullptr;
    QButtonGroup* _type = nullptr;
    QLineEdit* _edtStart = nullptr;
    QLineEdit* _edtLength = nullptr;
    QLineEdit* _edtDigits = nullptr;
};

class Cfrm_transitions : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_transitions(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(int id, const Cdb_nbr_trans_data* record);
    // False: there is no usable record of this number.
    [[nodiscard]] bool read(int id, Cdb_nbr_trans_data& record);

    Cdlg_transition* _editor;
};
