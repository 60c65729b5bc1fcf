// The page of the prepaid rates: what calls cost that are charged to a balance or a calling card.
#pragma once

#include "common/dlg_keyed.h"
#include "common/frm_keyed.h"
#include "dbproxy2/prepaid.h"

// Edits one rate.
class Cdlg_prepaid_rate : public Cdlg_keyed<Ctbl_prepaid_rate> {
    Q_OBJECT

public:
    Cdlg_prepaid_rate(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
};

class Cfrm_prepaid_rate : public Cfrm_keyed<Ctbl_prepaid_rate, Cdlg_prepaid_rate> {
    Q_OBJECT

public:
    Cfrm_prepaid_rate(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;
    [[nodiscard]] bool has(const Ctbl_prepaid_rate& record) override;
    [[nodiscard]] bool read(const QStringList& key, Ctbl_prepaid_rate& record) override;
    void add(const Ctbl_prepaid_rate& record) override;
    void write(Ctbl_prepaid_rate& record) override;
    void addInfo(const Ctbl_prepaid_rate* record) override;
    void setRest(int row, const Ctbl_prepaid_rate& record) override;

private:
    void initColumnView();
    void setupUI();
};
