// The page of the Lua triggers: called numbers whose calls a Lua module may change, answer or reject.
#pragma once

#include "cachedb2/triggers.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

class QComboBox;
class QLineEdit;

// Edits one trigger and stores it.
class Cdlg_lua_trigger : public Cdlg_storing<Cdb_lua_trigger> {
    Q_OBJECT

public:
    Cdlg_lua_trigger(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new trigger.
    void Init(const Cdb_lua_trigger* record);

public slots:
    void accept() override;

private:
    void setupUi();

    QComboBox* _cmbDialPlan = nullptr;
    QLineEdit* _edtCalledNbr = nullptr;
    QLineEdit* _edtModuleName = nullptr;
};

class Cfrm_lua_trigger : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_lua_trigger(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_lua_trigger& record);

    Cdlg_lua_trigger* _editor;
};
