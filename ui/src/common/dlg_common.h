// The base of every editor.
#pragma once

#include "common/help_topic.h"

#include <QDialog>

class Cdb_fac_mgr;
class QBoxLayout;
class QDialogButtonBox;
class QPushButton;

// A dialog as wide as the desktop's width tells, with OK and Cancel. Made with its list frame and prepared anew before
// each exec(). Owned by its parent; GUI thread.
class Cdlg_common : public QDialog {
    Q_OBJECT

public:
    // The store is not owned and outlives the dialog.
    Cdlg_common(Cdb_fac_mgr* store, QWidget* parent);

public slots:
    void accept() override; // editors check and store their record first

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    virtual void onShow() {} // at every show, but not when the window manager restores it
    virtual void onF1Press();

    // Puts OK and Cancel below what `layout` holds, and behind it in the tab order. Call when every input is there.
    void _addButtonBox(QBoxLayout* layout);
    // Warns, then closes the dialog as rejected: nothing is stored.
    void _refuse(const QString& title, const QString& text);
    void _refuseParam(const QString& text); // in the words for a bad value
    // For editors that store their record themselves: by the store's result. A record that was refused needs no word.
    void _closeBy(unsigned result);
    void setHelpTopicID(Ehelp_topics topic) { _helpTopic = topic; }

    QDialogButtonBox* _buttonBox = nullptr;
    QPushButton* _btnOk = nullptr;
    QPushButton* _btnCancel = nullptr;
    Cdb_fac_mgr* _store;
    Ehelp_topics _helpTopic = kHelpNone;

private:
    void setupUI();
    void establishSigAndSlots();
    void focusFirstInput();
    void turnTab(int step); // 1: the next one, -1: the one before
};

// Width of an editor on a desktop of this width, both in pixels.
[[nodiscard]] int EditorWidth(int desktopWidth);
