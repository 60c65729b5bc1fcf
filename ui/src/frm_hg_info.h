// The page of the hunting groups: numbered groups of operators among which calls are distributed.
#pragma once

#include "cachedb2/hunting_groups.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QButtonGroup;
class QCheckBox;
class QLineEdit;

// Edits one group and stores it.
class Cdlg_hg_info : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_hg_info(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; 0: for a new group.
    void Init(unsigned int groupID);
    // The group and its record after it was accepted, also when the store refused it.
    [[nodiscard]] unsigned int groupID() const { return _groupID; }
    [[nodiscard]] const Cdb_hunting_group_cfg_data& record() const { return _record; }

public slots:
    void accept() override;
    void chkQueueClick(bool on);

private:
    enum class Mode { Add, Edit };

    void setupUi();
    void showRecord();
    void showStrategy(int strategy);
    [[nodiscard]] bool isQueueIncomplete() const;
    // All but the group ID.
    void readInputs(Cdb_hunting_group_cfg_data& record) const;

    QLineEdit* _edtGroupId = nullptr;
    QLineEdit* _edtName = nullptr;
    QButtonGroup* _strategy = nullptr;
    QLineEdit* _edtOperatorTime = nullptr;
    QCheckBox* _chkQueue = nullptr;
    QLineEdit* _edtQueueCounter = nullptr;
    QLineEdit* _edtQueueDuration = nullptr;
    Cdb_hunting_group_cfg_data _record;
    unsigned int _groupID = 0;
    Mode _mode = Mode::Add;
};

class Cfrm_hg_info : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_hg_info(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(unsigned int groupID, const Cdb_hunting_group_cfg_data* record);

    Cdlg_hg_info* _editor;
};
