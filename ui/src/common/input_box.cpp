#include "common/input_box.h"

#include "common/dialog_buttons.h"

#include <QDialogButtonBox>
#include <QInputDialog>

unsigned InputBox(QString& out, QWidget* parent, const QString& title, const QString& label, const QString& text)
{
    QInputDialog box(parent);
    box.setInputMode(QInputDialog::TextInput);
    box.setTextEchoMode(QLineEdit::Normal);
    box.setWindowTitle(title);
    box.setLabelText(label);
    box.setTextValue(text);
    (void)box.sizeHint(); // makes the buttons, which come with the layout
    DressButtons(box.findChild<QDialogButtonBox*>());
    const bool isAccepted = box.exec() == QDialog::Accepted;
    out = box.textValue();
    return isAccepted && !out.isEmpty() ? 0 : 1;
}
