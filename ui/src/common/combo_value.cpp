#include "common/combo_value.h"

#include "common/qstr.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSignalBlocker>

namespace {

constexpr Qt::MatchFlags kSame = Qt::MatchExactly | Qt::MatchCaseSensitive;

void selectBehindFirst(QComboBox* box, int index)
{
    if (index > 0)
        box->setCurrentIndex(index);
}

} // namespace

void ComboBoxSetVal(QComboBox* box, unsigned value)
{
    int index = box->findData(value, Qt::UserRole, kSame);
    if (index < 1)
        index = box->findText(QString::number(value), kSame);
    box->setCurrentIndex(qMax(0, index));
}

void ComboBoxSelectText(QComboBox* box, const QString& text)
{
    selectBehindFirst(box, box->findText(text, kSame));
}

void ComboBoxSelectData(QComboBox* box, uint32_t value)
{
    selectBehindFirst(box, box->findData(value));
}

void LetTextChooseItem(QComboBox* box)
{
    QObject::connect(box, &QComboBox::editTextChanged, box, [box](const QString& text) {
        if (box->itemText(box->currentIndex()) == text)
            return;
        QLineEdit* const edit = box->lineEdit();
        const int cursor = edit->cursorPosition();
        const QSignalBlocker quiet(edit);
        box->setCurrentIndex(box->findText(text, kSame));
        edit->setText(text);
        edit->setCursorPosition(cursor);
    });
}

uint32_t ComboBoxGetValU32(QComboBox* box)
{
    return box->currentIndex() < 0 ? 0 : box->currentData().toUInt();
}

void ComboBoxGetValStr(QComboBox* box, Cbcl_tmp_str& text)
{
    const QString data = box->currentData().toString();
    BclQStringToTmpStr(data.isEmpty() ? box->currentText() : data, &text);
}
