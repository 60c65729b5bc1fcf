#include "common/enabling.h"

#include <QComboBox>
#include <QLineEdit>

void EnableEditControl(QLineEdit* edit)
{
    edit->setEnabled(true);
}

void EnableEditControl(QComboBox* box)
{
    box->setEnabled(true);
}

void EnableWidget(QWidget* widget)
{
    widget->setEnabled(true);
}

void DisableEditControl(QLineEdit* edit)
{
    edit->setEnabled(false);
}

void DisableEditControl(QComboBox* box)
{
    box->setEnabled(false);
}

void DisableWidget(QWidget* widget)
{
    widget->setEnabled(false);
}
