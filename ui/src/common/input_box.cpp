#include "common/input_box.h"

#include "common/dialog_buttons.h"
#include "common/translations.h"

#include <QDialogButtonBox>
#include <QInputDialog>

namespace {

constexpr int kWidth = 360; // pixels: room for a title and for the longest number

} // namespace

unsigned InputBox(QString& out, QWidget* parent, const QString& title, const QString& label, const QString& text)
{
    QInputDialog box(parent);
    box.setInputMode(QInputDialog::TextInput);
    box.setTextEchoMode(QLineEdit::Normal);
    box.setWindowTitle(MessageText(title));
    box.setLabelText(MessageText(label));
    box.setTextValue(text);
    const QSize size = box.sizeHint(); // makes the buttons, which come with the layout
    DressButtons(box.findChild<QDialogButtonBox*>());
    box.resize(qMax(kWidth, size.width()), size.height());
    const bool isAccepted = box.exec() == QDialog::Accepted;
    out = box.textValue();
    return isAccepted && !out.isEmpty() ? 0 : 1;
}
