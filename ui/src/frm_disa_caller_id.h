// The page of the DISA caller IDs: callers from outside who need not say which account is theirs.
#pragma once

#include "cachedb2/remote_tables.h"
#include "common/dlg_replacing.h"
#include "common/frm_list.h"

// Edits one caller ID and stores it.
class Cdlg_disa_caller_id : public Cdlg_replacing<Ctbl_disa_caller_id> {
    Q_OBJECT

public:
    Cdlg_disa_caller_id(Cdb_fac_mgr* store, QWidget* parent);

protected:
    [[nodiscard]] unsigned addToStore(const Ctbl_disa_caller_id& record) override;
    [[nodiscard]] unsigned deleteFromStore(const Ctbl_disa_caller_id& record) override;

private:
    void setupUi();
};

class Cfrm_disa_caller_id : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_disa_caller_id(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addRow(const char* callerId, const char* account);
    void _addInfo(const Ctbl_disa_caller_id& record);

    Cdlg_disa_caller_id* _editor;
};
