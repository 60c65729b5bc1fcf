// The page of the caller prepaid table: which rate the calls of a subscriber have, by the prefix of the called number.
#pragma once

#include "common/dlg_keyed.h"
#include "common/frm_keyed.h"
#include "dbproxy2/prepaid.h"

// Edits the rate of one subscriber and prefix.
class Cdlg_caller_prepaid : public Cdlg_keyed<Ctbl_caller_prepaid> {
    Q_OBJECT

public:
    Cdlg_caller_prepaid(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override;

private:
    void setupUi();
};

class Cfrm_caller_prepaid : public Cfrm_keyed<Ctbl_caller_prepaid, Cdlg_caller_prepaid> {
    Q_OBJECT

public:
    Cfrm_caller_prepaid(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onDeleteBtn() override;
    [[nodiscard]] int keyColumns() const override { return 2; }
    [[nodiscard]] bool has(const Ctbl_caller_prepaid& record) override;
    [[nodiscard]] bool read(const QStringList& key, Ctbl_caller_prepaid& record) override;
    void add(const Ctbl_caller_prepaid& record) override;
    void write(Ctbl_caller_prepaid& record) override;
    void addInfo(const Ctbl_caller_prepaid* record) override;
    void setRest(int row, const Ctbl_caller_prepaid& record) override;
    void warnUnreadable() override;

private:
    void initColumnView();
};
