#include "common/combo_value.h"

#include "common/qstr.h"

#include <QComboBox>

void ComboBoxSetVal(QComboBox* box, unsigned value)
{
    constexpr Qt::MatchFlags kSame = Qt::MatchExactly | Qt::MatchCaseSensitive;
    int index = box->findData(value, Qt::UserRole, kSame);
    if (index < 1)
        index = box->findText(QString::number(value), kSame);
    box->setCurrentIndex(qMax(0, index));
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
