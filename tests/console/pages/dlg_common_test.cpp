// The base of the editors.
#include "common/desktop.h"
#include "common/dlg_common.h"
#include "common/form_grid.h"
#include "support/page_fixture.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QIcon>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>
#include <QtTest/qtestspontaneevent.h>

#include <utility>

namespace {

class Editor : public Cdlg_common {
public:
    explicit Editor(Cdb_fac_mgr* store) : Cdlg_common(store, nullptr)
    {
        auto* const layout = new QVBoxLayout(this);
        edit = new QLineEdit;
        layout->addWidget(edit);
        _addButtonBox(layout);
    }
    void accept() override
    {
        ++accepted;
        Cdlg_common::accept();
    }
    using Cdlg_common::_refuse;
    using Cdlg_common::_refuseParam;
    using Cdlg_common::setHelpTopicID;

    QLineEdit* edit;
    int accepted = 0;
    int shown = 0;

protected:
    void onShow() override { ++shown; }
};

class DlgCommon : public PageFixture {};

TEST_F(DlgCommon, IsAsWideAsTheDesktopTells)
{
    EXPECT_EQ(EditorWidth(1399), 839);
    EXPECT_EQ(EditorWidth(1400), 560);
    EXPECT_EQ(EditorWidth(2047), 818);
    EXPECT_EQ(EditorWidth(2048), 614);
    const Editor editor(&store());
    EXPECT_EQ(editor.minimumWidth(), EditorWidth(WinDesktopWidth()));
    EXPECT_EQ(editor.maximumWidth(), EditorWidth(WinDesktopWidth()));
}

TEST_F(DlgCommon, HasItsFlagsAndButtons)
{
    const Editor editor(&store());
    // The toolkit itself adds what a close button needs.
    const Qt::WindowFlags wanted = Qt::WindowTitleHint | Qt::WindowCloseButtonHint | Qt::MSWindowsFixedSizeDialogHint;
    EXPECT_EQ(editor.windowFlags(), QDialog(nullptr, wanted).windowFlags());
    const auto* const box = editor.findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"));
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->centerButtons());
    EXPECT_EQ(box->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    EXPECT_EQ(box->button(QDialogButtonBox::Ok)->text(), item(64));
    EXPECT_EQ(box->button(QDialogButtonBox::Cancel)->text(), item(65));
    for (const auto& [which, image] : {std::pair(QDialogButtonBox::Ok, ":/images/ok.png"),
                                       std::pair(QDialogButtonBox::Cancel, ":/images/cancel.png")})
        EXPECT_EQ(box->button(which)->icon().pixmap(32, 32).toImage(), QIcon(image).pixmap(32, 32).toImage()) << image;
}

TEST_F(DlgCommon, OkAndReturnAcceptCancelAndEscapeDoNot)
{
    Editor editor(&store());
    boxes.expectEditor(QString(), [](QDialog& shown) { pressOk(shown); });
    EXPECT_EQ(editor.exec(), QDialog::Accepted);
    boxes.expectEditor(QString(), [&](QDialog&) { pressKey(*editor.edit, Qt::Key_Return); });
    EXPECT_EQ(editor.exec(), QDialog::Accepted);
    EXPECT_EQ(editor.accepted, 2);
    boxes.expectEditor(QString(), [](QDialog& shown) { pressCancel(shown); });
    EXPECT_EQ(editor.exec(), QDialog::Rejected);
    boxes.expectEditor(QString(), [&](QDialog&) { pressKey(*editor.edit, Qt::Key_Escape); });
    EXPECT_EQ(editor.exec(), QDialog::Rejected);
    EXPECT_EQ(editor.accepted, 2);
}

TEST_F(DlgCommon, HooksRunAtEveryShow)
{
    Editor editor(&store());
    for (int round = 1; round <= 2; ++round) {
        editor.show();
        EXPECT_EQ(editor.shown, round);
        editor.hide();
    }
}

TEST_F(DlgCommon, WhatWasTypedOutlivesAWindowThatIsRestored)
{
    Editor editor(&store());
    editor.show();
    QShowEvent restored;
    QSpontaneKeyEvent::setSpontaneous(&restored); // as the window manager's are
    qApp->notify(&editor, &restored);
    EXPECT_EQ(editor.shown, 1);
}

TEST_F(DlgCommon, EveryUseBeginsWithTheFirstInputThatIsNotLocked)
{
    Editor editor(&store());
    QPushButton* const cancel = editor.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel);
    editor.show();
    EXPECT_EQ(editor.focusWidget(), editor.edit);
    cancel->setFocus();
    editor.hide();
    editor.show();
    EXPECT_EQ(editor.focusWidget(), editor.edit);
    editor.hide();
    editor.edit->setEnabled(false);
    editor.show();
    EXPECT_EQ(editor.focusWidget(), editor.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok));
}

TEST_F(DlgCommon, F1OpensTheTopicWhereThereIsOne)
{
    Editor editor(&store());
    editor.show();
    pressKey(*editor.edit, Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList());
    editor.setHelpTopicID(kHelpConference);
    pressKey(*editor.edit, Qt::Key_F1);
    EXPECT_EQ(help.takeOpened(), QStringList{"help/conf_room/index.html"});
    EXPECT_TRUE(editor.isVisible());
}

TEST_F(DlgCommon, RefusingWarnsAndThenCloses)
{
    Editor editor(&store());
    boxes.expectEditor(QString(), [&](QDialog&) { editor._refuse("Title", "Text"); });
    boxes.expect("Title", "Text", [&](QMessageBox& box) {
        EXPECT_TRUE(editor.isVisible());
        pressOk(box);
    });
    EXPECT_EQ(editor.exec(), QDialog::Rejected);
    boxes.expectEditor(QString(), [&](QDialog&) { editor._refuseParam("Text"); });
    boxes.expect(item(77), "Text");
    EXPECT_EQ(editor.exec(), QDialog::Rejected);
}

TEST_F(DlgCommon, LockedInputsAreGreyAndCanStillBeRead)
{
    Editor editor(&store());
    Cform_grid grid(static_cast<QVBoxLayout*>(editor.layout()));
    const std::pair<QWidget*, QPalette::ColorRole> kInputs[] = {{grid.addEdit(282), QPalette::Text},
                                                                {grid.addCombo(282), QPalette::ButtonText}};
    for (const auto& [input, role] : kInputs) {
        QColor ink = input->palette().color(QPalette::Active, role);
        const QColor locked = input->palette().color(QPalette::Disabled, role);
        EXPECT_LT(locked.alphaF(), 0.8);
        EXPECT_GT(locked.alphaF(), 0.5);
        ink.setAlphaF(locked.alphaF());
        EXPECT_EQ(locked, ink) << input->metaObject()->className();
    }
}

} // namespace
