// The page of the IVR triggers: called numbers that are answered by an IVR-XML file.
#pragma once

#include "cachedb2/triggers.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

class QComboBox;
class QLineEdit;

// Edits one trigger and stores it.
class Cdlg_ivr_trigger : public Cdlg_storing<Cdb_ivr_trigger_data> {
    Q_OBJECT

public:
    Cdlg_ivr_trigger(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new trigger.
    void Init(const Cdb_ivr_trigger_data* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QComboBox* _cmbDialPlan = nullptr;
    QLineEdit* _edtCalledNbr = nullptr;
    QLineEdit* _edtFileName = nullptr;
};

class Cfrm_ivr_trigger : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_ivr_trigger(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_ivr_trigger_data& record);

    Cdlg_ivr_trigger* _editor;
};
