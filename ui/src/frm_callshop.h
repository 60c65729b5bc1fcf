// The page of the call shop rates: what calls of the booths cost, by the prefix of the called number.
#pragma once

#include "cachedb2/call_shop.h"
#include "common/dlg_storing.h"
#include "common/frm_list.h"

// Edits one rate and stores it.
class Cdlg_callshop : public Cdlg_storing<Cdb_call_shop_fee_rate_info> {
    Q_OBJECT

public:
    Cdlg_callshop(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
    // Shows and reads a number over its whole range.
    void addNumber(QLineEdit* edit, uint32_t Cdb_call_shop_fee_rate_info::*field);

    QList<QLineEdit*> _inputs;
};

class Cfrm_callshop : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_callshop(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_call_shop_fee_rate_info& record);
    void setRest(int row, const Cdb_call_shop_fee_rate_info& record); // all cells but the key's

    Cdlg_callshop* _editor;
};
