// The editor of a local user.
#pragma once

#include "cachedb2/usr_info.h"
#include "common/dlg_common.h"
#include "common/edited_record.h"
#include "common/record_form.h"

#include <cstdint>
#include <vector>

class QBoxLayout;
class QButtonGroup;
class QTabWidget;

// What the editor is opened for.
enum Eusr_op : uint8_t { kUsrAdd = 1, kUsrEdit = 2 };

// Edits one local user in seven tabs and stores it.
class Cdlg_local_user : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_local_user(Cdb_fac_mgr* store, QWidget* parent);

    // Prepares the dialog; null: a new user.
    void Init(const Cdb_usr_info* record, Eusr_op mode);
    // After it was accepted: whether the store took the user. It stays as it was where nothing had changed.
    [[nodiscard]] bool isStored() const { return _isStored; }
    [[nodiscard]] const Cdb_usr_info& record() const { return _edited.work; }

public slots:
    void accept() override;

    // Each switches the inputs of its box on and off.
    void chkCFUClick(bool isChecked);
    void chkCFNCClick(bool isChecked);
    void chkCFBClick(bool isChecked);
    void chkCFNAClick(bool isChecked);
    void chkVMSClick(bool isChecked);
    void chkIPAuthClick(bool isChecked);
    void chkSpecExtLineClick(bool isChecked);
    void chkMaxDurationClick(bool isChecked);
    void fmTypeButtonsClick(int type);

private:
    // A call forward of the user: its box and number.
    struct Forward {
        Cphone_number Cdb_usr_info::*number;
        void (Cdb_usr_info::*set)(const char*);
        void (Cdb_usr_info::*clear)();
        QCheckBox* box;
        QLineEdit* edit;
    };

    void _setupUI();
    void _setupUI_TabBasic();
    void _setupUI_TabForward();
    void _setupUI_TabSuppServ();
    void _setupUI_TabFollowMe();
    void _setupUI_TabAdvServ();
    void _setupUI_TabBasicCall();
    void _setupUI_TabMedia();
    void _setupUI_CallLevels(QBoxLayout* tab);
    void _setupSigAndSlots();
    void refillChoices();

    void bindFlag(QCheckBox* box, Eusr_flag flag);
    void bindLimit(QLineEdit* edit, int32_t Cdb_usr_info::*field);
    void bindNoAnswerTime();
    void bindExpiryDate();
    void bindCallWaitingLimit(QLineEdit* edit);
    void bindFollowMeType();
    void bindSpecialLine();
    void bindMaxDuration();

    // The checks of accept(), in its order. False: the dialog has closed as rejected.
    [[nodiscard]] bool isNameFree();
    [[nodiscard]] bool isPasswordGood();
    [[nodiscard]] bool isSpecialLineGood();
    [[nodiscard]] bool isExpiryDateGood();
    [[nodiscard]] bool isNoAnswerTimeGood();
    [[nodiscard]] bool isVoiceMailGood();
    [[nodiscard]] bool isIpAuthGood();
    [[nodiscard]] bool refuse(const QString& text);

    void readForwards(Cdb_usr_info& record) const;
    void readIpAuth(Cdb_usr_info& record) const;
    void store();

    QTabWidget* _tabs = nullptr;
    QLineEdit* _edtName = nullptr;
    QLineEdit* _edtPassword = nullptr;
    QCheckBox* _chkIPAuth = nullptr;
    QLineEdit* _edtIPAddr = nullptr;
    QLineEdit* _edtIPPort = nullptr;
    std::vector<Forward> _forwards; // always, not registered, busy, no answer
    QCheckBox* _chkVMS = nullptr;
    QLineEdit* _edtEmail = nullptr;
    QButtonGroup* _fmTypeButtons = nullptr;
    std::vector<QLineEdit*> _fmInputs;
    QCheckBox* _chkPrepaid = nullptr;
    QLineEdit* _edtExpiryDate = nullptr;
    QComboBox* _cmbDialPlan = nullptr;
    QComboBox* _cmbTimeCondition = nullptr;
    QLineEdit* _edtNoAnsTime = nullptr;
    QCheckBox* _chkSpecExtLine = nullptr;
    QComboBox* _cmbExtLine = nullptr;
    QCheckBox* _chkMaxDuration = nullptr;
    QLineEdit* _edtMaxDuration = nullptr;
    Crecord_form<Cdb_usr_info> _form;
    Cedited_record<Cdb_usr_info> _edited;
    Eusr_op _mode = kUsrAdd;
    bool _isStored = false;
};
