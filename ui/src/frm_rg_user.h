// The page of the ring group members: the users who ring together. A member is added and deleted, never changed.
#pragma once

#include "cachedb2/ring_groups.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QLineEdit;

// Asks for a new member and stores it.
class Cdlg_rg_user : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_rg_user(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog.
    void init();
    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_rg_user& record() const { return _record; }

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtGroupId = nullptr;
    QLineEdit* _edtUser = nullptr;
    Cdb_rg_user _record;
};

class Cfrm_rg_user : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_rg_user(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void addItem(const Cdb_rg_user& record);

    Cdlg_rg_user* _editor;
};
