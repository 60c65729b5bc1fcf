// The page of the calling card fee matrix: which rate the calls of a card have, by the card's dial plan and the prefix
// of the called number.
#pragma once

#include "common/dlg_keyed.h"
#include "common/frm_keyed.h"
#include "dbproxy2/calling_card.h"

// Edits the rate of one dial plan and prefix.
class Cdlg_callingcard_fee_matrix : public Cdlg_keyed<Ctbl_callingcard_fee_matrix> {
    Q_OBJECT

public:
    Cdlg_callingcard_fee_matrix(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
};

class Cfrm_callingcard_fee_matrix : public Cfrm_keyed<Ctbl_callingcard_fee_matrix, Cdlg_callingcard_fee_matrix> {
    Q_OBJECT

public:
    Cfrm_callingcard_fee_matrix(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onDeleteBtn() override;
    [[nodiscard]] int keyColumns() const override { return 2; }
    [[nodiscard]] bool has(const Ctbl_callingcard_fee_matrix& record) override;
    [[nodiscard]] bool read(const QStringList& key, Ctbl_callingcard_fee_matrix& record) override;
    void add(const Ctbl_callingcard_fee_matrix& record) override;
    void write(Ctbl_callingcard_fee_matrix& record) override;
    void addInfo(const Ctbl_callingcard_fee_matrix* record) override;
    void setRest(int row, const Ctbl_callingcard_fee_matrix& record) override;

private:
    void initColumnView();
};
