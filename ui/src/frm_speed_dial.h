// The page of the speed dials: short numbers that a caller may dial in the place of long ones.
#pragma once

#include "cachedb2/speed_dial.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

class QLineEdit;

// Edits one short number and stores it.
class Cdlg_speed_dial : public Cdlg_storing<Cdb_speed_dial_data> {
    Q_OBJECT

public:
    Cdlg_speed_dial(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtCallerNbr = nullptr;
    QLineEdit* _edtDialedNbr = nullptr;
    QLineEdit* _edtDestination = nullptr;
};

class Cfrm_speed_dial : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_speed_dial(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_speed_dial_data& record);
    void setRest(int row, const Cdb_speed_dial_data& record); // all cells but the key's

    Cdlg_speed_dial* _editor;
};
