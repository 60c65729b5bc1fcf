#include "common/dlg_common.h"

#include "common/accessible_names.h"
#include "common/desktop.h"
#include "common/dialog_buttons.h"
#include "common/warning_box.h"
#include "dbproxy2/results.h"

#include <QBoxLayout>
#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QShortcut>
#include <QTabWidget>

#include <initializer_list>

namespace {

// Tabs, and the buttons that move them where they have no room.
bool isOfTabRow(const QWidget& widget)
{
    return widget.inherits("QTabWidget") || widget.inherits("QTabBar") || widget.parent()->inherits("QTabBar");
}

// Tab comes to the radio button of a group that had the keyboard last. In a dialog that is prepared anew that is often
// another one than the chosen one, and arrows would choose nothing from there.
void leadTabToChosenButtons(const QWidget& dialog)
{
    for (QRadioButton* const each : dialog.findChildren<QRadioButton*>()) {
        const bool isGroupChosen = each->group() != nullptr && each->group()->checkedButton() != nullptr;
        if (isGroupChosen)
            each->setFocusPolicy(each->isChecked() ? Qt::StrongFocus : Qt::ClickFocus);
    }
}

} // namespace

Cdlg_common::Cdlg_common(Cdb_fac_mgr* store, QWidget* parent)
    : QDialog(parent, Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::MSWindowsFixedSizeDialogHint), _store(store)
{
    setupUI();
    establishSigAndSlots();
}

int EditorWidth(int desktopWidth)
{
    constexpr int kNarrow = 1400; // desktops below it: a smaller share would cut labels
    constexpr int kWide = 2048;
    const int tenths = desktopWidth < kNarrow ? 6 : desktopWidth < kWide ? 4 : 3;
    return desktopWidth * tenths / 10;
}

void Cdlg_common::setupUI()
{
    setFixedWidth(EditorWidth(WinDesktopWidth()));
    _buttonBox = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    _buttonBox->setObjectName(QStringLiteral("buttonBox"));
    _btnOk = _buttonBox->button(QDialogButtonBox::Ok);
    _btnCancel = _buttonBox->button(QDialogButtonBox::Cancel);
    DressButtons(_buttonBox);
}

void Cdlg_common::establishSigAndSlots()
{
    connect(_buttonBox, &QDialogButtonBox::accepted, this, &Cdlg_common::accept);
    connect(_buttonBox, &QDialogButtonBox::rejected, this, &Cdlg_common::reject);
    const auto turnTabBy = [this](int step, std::initializer_list<const char*> keys) {
        for (const char* const each : keys)
            new QShortcut(QKeySequence(QLatin1String(each)), this, [this, step] { turnTab(step); });
    };
    turnTabBy(1, {"Ctrl+Tab", "Ctrl+PgDown"});
    turnTabBy(-1, {"Ctrl+Shift+Tab", "Ctrl+PgUp"});
}

// Wherever the keyboard is: the toolkit does it for the inputs of a tab, and not for OK and Cancel.
void Cdlg_common::turnTab(int step)
{
    if (auto* const tabs = findChild<QTabWidget*>(); tabs != nullptr)
        tabs->setCurrentIndex((tabs->currentIndex() + step + tabs->count()) % tabs->count());
}

void Cdlg_common::accept()
{
    QDialog::accept();
}

void Cdlg_common::showEvent(QShowEvent* event)
{
    const bool isOpening = !event->spontaneous(); // else it comes back, with what was typed
    if (isOpening) {
        onShow();
        NameTabMovers(this);
        leadTabToChosenButtons(*this);
    }
    QDialog::showEvent(event);
    if (isOpening)
        focusFirstInput();
}

// Where reading begins, whatever was used last: the dialog is shown again and again.
void Cdlg_common::focusFirstInput()
{
    for (QWidget* each = nextInFocusChain(); each != this; each = each->nextInFocusChain()) {
        const bool takesFocus =
            (each->focusPolicy() & Qt::TabFocus) != 0 && each->isEnabled() && each->isVisibleTo(this);
        if (takesFocus && !isOfTabRow(*each))
            return each->setFocus();
    }
}

void Cdlg_common::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1)
        onF1Press();
    QDialog::keyPressEvent(event);
}

void Cdlg_common::onF1Press()
{
    openHelpTopic(_helpTopic);
}

// The buttons are older than every input, so Tab would begin with them: coming anew they are the last.
void Cdlg_common::_addButtonBox(QBoxLayout* layout)
{
    _buttonBox->setParent(nullptr);
    layout->addWidget(_buttonBox);
}

void Cdlg_common::_refuse(const QString& title, const QString& text)
{
    PlxWarningBox(title, text);
    reject();
}

void Cdlg_common::_refuseParam(const QString& text)
{
    PlxWarningInvalidParam(text);
    reject();
}

void Cdlg_common::_closeBy(unsigned result)
{
    result == kDbOk ? Cdlg_common::accept() : reject();
}
