// The page of the time conditions: daily spans of time on chosen days of the week.
#pragma once

#include "cachedb2/time_condition.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one time condition and stores it.
class Cdlg_time_cond : public Cdlg_storing<Cdb_time_cond> {
    Q_OBJECT

public:
    Cdlg_time_cond(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new time condition.
    void init(const Cdb_time_cond* record);

public slots:
    void accept() override;

private:
    void setupUi();
    void enableIndexItems() { _enableIndexItems(); }
    void disableIndexItems() { _disableIndexItems(); }
    void addTime(QLineEdit* edit, uint8_t Cdb_time_cond::*hour, uint8_t Cdb_time_cond::*minute);

    QLineEdit* _edtId = nullptr;
};

// Shows the whole table at once.
class Cfrm_time_cond : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_time_cond(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void addItem(const Cdb_time_cond* record);
    void setItem(int row, const Cdb_time_cond* record);

    Cdlg_time_cond* _editor;
};
