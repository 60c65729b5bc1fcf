#include "common/warning_box.h"

#include <QMessageBox>

void PlxWarningBox(const QString& title, const QString& text)
{
    QMessageBox box;
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(title);
    box.setText(text);
    box.exec();
}
