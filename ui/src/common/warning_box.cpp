#include "common/warning_box.h"

#include "common/dialog_buttons.h"
#include "common/lang_res.h"

#include <QDialogButtonBox>
#include <QMessageBox>

void PlxWarningBox(const QString& title, const QString& text)
{
    QMessageBox box;
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(title);
    box.setText(text);
    box.setStandardButtons(QMessageBox::Ok); // it would come with the show, too late to be dressed
    DressButtons(box.findChild<QDialogButtonBox*>());
    box.exec();
}

void PlxWarningInvalidParam(const QString& text)
{
    PlxWarningBox(GetLangItem(77), text);
}

void PlxWarningRecordExist()
{
    PlxWarningInvalidParam(GetLangItem(460));
}

void PlxWarningDuplicate()
{
    PlxWarningBox(GetLangItem(76), GetLangItem(73));
}

void PlxWarningNoRecord()
{
    PlxWarningBox(GetLangItem(443), GetLangItem(442));
}

void PlxWarningNoMoreRecord()
{
    PlxWarningBox(GetLangItem(76), GetLangItem(357));
}
