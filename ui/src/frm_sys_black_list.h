// The page of the system black list: callers and called numbers whose calls are refused.
#pragma once

#include "cachedb2/access_lists.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one entry and stores it.
class Cdlg_sys_black_list : public Cdlg_storing<Cdb_sys_black_item> {
    Q_OBJECT

public:
    Cdlg_sys_black_list(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
};

class Cfrm_sys_black_list : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_sys_black_list(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_sys_black_item& record);
    void setRest(int row, const Cdb_sys_black_item& record); // all cells but the key's

    Cdlg_sys_black_list* _editor;
};
