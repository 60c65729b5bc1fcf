// The page of the calling cards and what they have left.
#pragma once

#include "common/dlg_keyed.h"
#include "common/frm_keyed.h"
#include "dbproxy2/calling_card.h"

// Edits one card.
class Cdlg_callingcard_info : public Cdlg_keyed<Ctbl_callingcard_balance> {
    Q_OBJECT

public:
    Cdlg_callingcard_info(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: for a new card.
    void Init(const Ctbl_callingcard_balance* record);
    [[nodiscard]] bool isBalanceChanged() const;

public slots:
    void accept() override;

private slots:
    void chkDialPlanClick();

private:
    void setupUi();
    void bindMaxCalls();
    void bindExpiry();
    void bindDialPlan();

    QLineEdit* _edtMaxCalls = nullptr;
    QLineEdit* _edtExpiry = nullptr;
    QCheckBox* _chkDialPlan = nullptr;
    QLineEdit* _edtDialPlan = nullptr;
    QString _shownExpiry;
};

class Cfrm_callingcard_info : public Cfrm_keyed<Ctbl_callingcard_balance, Cdlg_callingcard_info> {
    Q_OBJECT

public:
    Cfrm_callingcard_info(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;
    [[nodiscard]] bool has(const Ctbl_callingcard_balance& record) override;
    [[nodiscard]] bool read(const QStringList& key, Ctbl_callingcard_balance& record) override;
    void add(const Ctbl_callingcard_balance& record) override;
    void write(Ctbl_callingcard_balance& record) override;
    void addInfo(const Ctbl_callingcard_balance* record) override;
    void setRest(int row, const Ctbl_callingcard_balance& record) override;
    void warnUnreadable() override;

private:
    void initColumnView();
};
