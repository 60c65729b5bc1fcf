// The page of the call recording: which calls are recorded, by the prefixes of their numbers.
#pragma once

#include "cachedb2/call_record.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

class QLineEdit;

// Edits one rule and stores it.
class Cdlg_call_recording : public Cdlg_storing<Cdb_call_record> {
    Q_OBJECT

public:
    Cdlg_call_recording(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();

    QLineEdit* _edtCallerNbr = nullptr;
    QLineEdit* _edtCalledNbr = nullptr;
};

class Cfrm_call_recording : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_call_recording(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_call_record& record);
    void setRest(int row, const Cdb_call_record& record); // all cells but the key's
    [[nodiscard]] bool read(const QString& callerNbr, const QString& calledNbr, Cdb_call_record& record);

    Cdlg_call_recording* _editor;
};
