// The page of the caller ID rewriting: what a caller is shown as.
#pragma once

#include "cachedb2/access_lists.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

class QLineEdit;

// Edits the rule of one caller and stores it.
class Cdlg_clr_rewriting : public Cdlg_storing<Cdb_clr_rewriting_info> {
    Q_OBJECT

public:
    Cdlg_clr_rewriting(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtCallerNbr = nullptr;
};

class Cfrm_clr_rewriting : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_clr_rewriting(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_clr_rewriting_info& record);
    void setRest(int row, const Cdb_clr_rewriting_info& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& callerNbr, Cdb_clr_rewriting_info& record);

    Cdlg_clr_rewriting* _editor;
};
