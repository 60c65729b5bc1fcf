// The page of the hunting group operators: the numbers that take a group's calls. An operator is added and deleted,
// never changed.
#pragma once

#include "cachedb2/hunting_groups.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"

class QCheckBox;
class QComboBox;
class QLineEdit;

// Asks for a new operator and stores it.
class Cdlg_hg_oper : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_hg_oper(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null or blank: for a new operator. With any other number its inputs stay as locked as they
    // are.
    void Init(const char* number);
    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_hunting_group_operator_data& record() const { return _record; }

public slots:
    void accept() override;

private:
    enum class Mode { Add, Edit };

    void setupUi();

    QLineEdit* _edtNumber = nullptr;
    QComboBox* _cmbGroup = nullptr;
    QCheckBox* _chkExternal = nullptr;
    Cdb_hunting_group_operator_data _record;
    Mode _mode = Mode::Add;
};

class Cfrm_hg_oper : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_hg_oper(Cdb_fac_mgr* store, QWidget* parent);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onDeleteBtn() override;

private:
    void initColumnView();
    void _addItem(const Cdb_hunting_group_operator_data& record);

    Cdlg_hg_oper* _editor;
};
