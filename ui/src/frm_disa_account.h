// The page of the DISA accounts: by which callers from outside dial as a local user.
#pragma once

#include "cachedb2/remote_tables.h"
#include "common/dlg_replacing.h"
#include "common/frm_list.h"

// Edits one account and stores it.
class Cdlg_disa_account : public Cdlg_replacing<Ctbl_disa_account> {
    Q_OBJECT

public:
    Cdlg_disa_account(Cdb_fac_mgr* store, QWidget* parent);

protected:
    [[nodiscard]] unsigned addToStore(const Ctbl_disa_account& record) override;
    [[nodiscard]] unsigned deleteFromStore(const Ctbl_disa_account& record) override;

private:
    void setupUi();
};

class Cfrm_disa_account : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_disa_account(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addRow(const char* account, const char* extension);
    void _addInfo(const Ctbl_disa_account& record);

    Cdlg_disa_account* _editor;
};
