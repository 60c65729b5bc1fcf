// The page of the routing groups: sets of routes that the called number analysis sends calls to.
#pragma once

#include "cachedb2/routing.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one routing group and stores it.
class Cdlg_route_group : public Cdlg_storing<Cdb_route_group> {
    Q_OBJECT

public:
    Cdlg_route_group(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtGroupId = nullptr;
};

class Cfrm_route_group : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_route_group(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_route_group& record);

    Cdlg_route_group* _editor;
};
