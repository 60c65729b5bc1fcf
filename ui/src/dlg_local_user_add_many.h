// Asks what is needed to create many local users at once.
#pragma once

#include "bcl2/number.h"
#include "common/dlg_common.h"

#include <cstdint>

class QCheckBox;
class QLineEdit;
class Cform_grid;

// Its list frame creates the users: consecutive numbers from the start number on.
class Cdlg_local_user_add_many : public Cdlg_common {
    Q_OBJECT

public:
    Cdlg_local_user_add_many(Cdb_fac_mgr* store, QWidget* parent);

    // Before every run.
    void init();
    // After it was accepted. An empty password: a random one for each user.
    [[nodiscard]] uint32_t startNumber() const { return _startNumber; }
    [[nodiscard]] uint32_t total() const { return _total; }
    [[nodiscard]] uint32_t isRandom() const { return _isRandom; }
    [[nodiscard]] const char* password() const { return _password.c_str(); }

public slots:
    void accept() override;
    void chkRandPWDClick(bool isChecked);

private:
    void _setupUI();
    void _setupUI_Widgets(Cform_grid& grid);
    // 0 when the inputs are good, else 4, after a warning.
    [[nodiscard]] unsigned checkInputs();
    // What the first bad input deserves to be told; null: all are good.
    [[nodiscard]] QString faultOfInputs() const;

    uint32_t _startNumber = 0;
    uint32_t _total = 0;
    uint32_t _isRandom = 1;
    Cphone_number _password;
    QLineEdit* _edtStart = nullptr;
    QLineEdit* _edtTotal = nullptr;
    QLineEdit* _edtPassword = nullptr;
    QCheckBox* _chkRandom = nullptr;
};
