#include "common/input_box.h"

#include "common/lang_res.h"

#include <QInputDialog>

unsigned InputBox(QString& out, QWidget* parent, const QString& title, const QString& label, const QString& text)
{
    QInputDialog box(parent);
    box.setInputMode(QInputDialog::TextInput);
    box.setTextEchoMode(QLineEdit::Normal);
    box.setWindowTitle(title);
    box.setLabelText(label);
    box.setTextValue(text);
    box.setOkButtonText(GetLangItem(64, QString()));
    box.setCancelButtonText(GetLangItem(65, QString()));
    const bool isAccepted = box.exec() == QDialog::Accepted;
    out = box.textValue();
    return isAccepted && !out.isEmpty() ? 0 : 1;
}
