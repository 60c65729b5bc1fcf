#include "common/dialog_buttons.h"

#include "common/lang_res.h"

#include <QDialogButtonBox>
#include <QIcon>
#include <QPushButton>

namespace {

void dress(QPushButton* button, const char* image, int item)
{
    if (button == nullptr)
        return;
    button->setIcon(QIcon(QString::fromLatin1(image)));
    if (const QString text = GetLangItem(item); !text.isEmpty())
        button->setText(text);
}

} // namespace

void DressButtons(QDialogButtonBox* box)
{
    box->setCenterButtons(true);
    dress(box->button(QDialogButtonBox::Ok), ":/images/ok.png", 64);
    dress(box->button(QDialogButtonBox::Cancel), ":/images/cancel.png", 65);
}
