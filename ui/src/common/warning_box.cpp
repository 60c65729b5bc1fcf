#include "common/warning_box.h"

#include "common/dialog_buttons.h"
#include "common/lang_res.h"
#include "common/translations.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QLabel>
#include <QMessageBox>

namespace {

constexpr int kIconSize = 48; // pixels, as the image is drawn

// The toolkit's own is of another hand and has one size only. The box stays one that warns.
void dressIcon(const QMessageBox& box)
{
    auto* const picture = box.findChild<QLabel*>(QStringLiteral("qt_msgboxex_icon_label"));
    if (picture != nullptr)
        picture->setPixmap(QIcon(QStringLiteral(":/images/warning.png")).pixmap(kIconSize));
}

} // namespace

void PlxWarningBox(const QString& title, const QString& text)
{
    QMessageBox box;
    box.setIcon(QMessageBox::Warning);
    dressIcon(box);
    box.setWindowTitle(MessageText(title));
    box.setText(MessageText(text));
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
