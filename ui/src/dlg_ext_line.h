// The editor of an external line.
#pragma once

#include "cachedb2/ext_line.h"
#include "common/dlg_common.h"
#include "common/record_form.h"

class QButtonGroup;
class QRadioButton;
class QTabWidget;

// What the editor is opened for.
enum Eext_line_op : uint8_t { kLineAdd = 0, kLineEdit = 2 };

// Edits one external line in four tabs and stores it.
class Cdlg_ext_line : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_ext_line(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: a new line.
    void Init(const Cdb_ext_line_info* record, Eext_line_op mode);
    // What it stored, after it was accepted.
    [[nodiscard]] const Cdb_ext_line_info& record() const { return _record; }

public slots:
    void accept() override;

    // Each lets the inputs that depend on its button follow it.
    void chkFXOGWClick(bool isChecked);
    void chkAutoAttendantClick(bool isChecked);
    void chkNextLineClick(bool isChecked);
    void chkMaxDurationClick(bool isChecked);
    void chkOutbandInfoClick(bool isChecked);

private:
    void _setupUI();
    void _setupUI_TabBasic();
    void _setupUI_TabIncomingCall();
    void _setupUI_TabOutgoingCall();
    void _setupUI_TabOther();
    void _setupSigAndSlots();
    void refillChoices();

    void bindLineType();
    void bindIncomingTarget();
    void bindProxy();
    void bindMaxDuration();
    void bindNextLine();

    void _setExtLineTypeButton(int type);
    void _hideAddressItems();
    void _showAddressItems();

    // The name as it would be stored.
    [[nodiscard]] Cdb_ext_line_info named() const;
    // 1 when the entries can be stored, else negative, after a warning.
    [[nodiscard]] int _checkPara();

    QTabWidget* _tabs = nullptr;
    QButtonGroup* _typeButtons = nullptr; // ids: line types
    QLineEdit* _edtName = nullptr;
    QLineEdit* _edtPassword = nullptr;
    QLineEdit* _edtServerAddr = nullptr;
    QLineEdit* _edtServerPort = nullptr;
    QRadioButton* _rdoAutoAttendant = nullptr;
    QRadioButton* _rdoDestination = nullptr;
    QLineEdit* _edtDestination = nullptr;
    QCheckBox* _chkProxy = nullptr;
    QLineEdit* _edtProxyAddr = nullptr;
    QLineEdit* _edtProxyPort = nullptr;
    QLineEdit* _edtUriParams = nullptr;
    QComboBox* _cmbTimeCondition = nullptr;
    QComboBox* _cmbRefineGroup = nullptr;
    QCheckBox* _chkMaxDuration = nullptr;
    QLineEdit* _edtMaxDuration = nullptr;
    QCheckBox* _chkNextLine = nullptr;
    QComboBox* _cmbNextLine = nullptr;
    Crecord_form<Cdb_ext_line_info> _form;
    Cdb_ext_line_info _record;
    Eext_line_op _mode = kLineAdd;
};
