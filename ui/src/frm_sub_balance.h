// The page of the subscriber balances: what local users whose calls are charged have left.
#pragma once

#include "common/dlg_keyed.h"
#include "common/frm_keyed.h"
#include "dbproxy2/prepaid.h"

// Edits one balance.
class Cdlg_sub_balance : public Cdlg_keyed<Ctbl_sub_balance> {
    Q_OBJECT

public:
    Cdlg_sub_balance(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
};

class Cfrm_sub_balance : public Cfrm_keyed<Ctbl_sub_balance, Cdlg_sub_balance> {
    Q_OBJECT

public:
    Cfrm_sub_balance(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;
    [[nodiscard]] bool has(const Ctbl_sub_balance& record) override;
    [[nodiscard]] bool read(const QStringList& key, Ctbl_sub_balance& record) override;
    void add(const Ctbl_sub_balance& record) override;
    void write(Ctbl_sub_balance& record) override;
    void addInfo(const Ctbl_sub_balance* record) override;
    void setRest(int row, const Ctbl_sub_balance& record) override;

private:
    void initColumnView();
};
