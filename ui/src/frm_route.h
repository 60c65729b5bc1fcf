// The page of the routes: where the calls of a routing group may leave. A route is added and deleted, never changed.
#pragma once

#include "cachedb2/routing.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QButtonGroup;
class QComboBox;

// Asks for a new route and stores it.
class Cdlg_route : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_route(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog.
    void Init();
    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_route& record() const { return _record; }

public slots:
    void accept() override;
    void chkRtTrunkClick(bool checked);

private:
    void setupUi();
    // Shows the target that the route type has.
    void updateView();
    void showTarget(bool isTrunk);
    void hideExtLineItems();
    void showExtLineItems();
    void hideTrunkItems();
    void showTrunkItems();
    // False: it has no group, type or target.
    [[nodiscard]] bool readInputs();

    QComboBox* _cmbGroup = nullptr;
    QButtonGroup* _type = nullptr;
    QComboBox* _cmbExtLine = nullptr;
    QComboBox* _cmbPeerServer = nullptr;
    Cdb_route _record;
};

class Cfrm_route : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_route(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_route& record);
    // The record that a row shows: all of it is the key.
    [[nodiscard]] Cdb_route recordOf(int row) const;

    Cdlg_route* _editor;
};
