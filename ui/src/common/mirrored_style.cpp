#include "common/mirrored_style.h"

#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QStyleOptionComboBox>

namespace {

// What begins with a number would be shown with the number behind it.
QString readFromTheLeft(const QString& text)
{
    constexpr char16_t kLeftToRightMark = 0x200e;
    return text.isEmpty() || text.isRightToLeft() ? text : QChar(kLeftToRightMark) + text;
}

} // namespace

void Cmirrored_style::polish(QWidget* widget)
{
    QProxyStyle::polish(widget);
    constexpr Qt::Alignment kBegin = Qt::AlignRight | Qt::AlignAbsolute | Qt::AlignVCenter;
    if (auto* const edit = qobject_cast<QLineEdit*>(widget); edit != nullptr)
        edit->setAlignment(kBegin);
    if (auto* const label = qobject_cast<QLabel*>(widget); label != nullptr && label->alignment() & Qt::AlignLeft)
        label->setAlignment(kBegin);
}

void Cmirrored_style::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const
{
    if (const auto* const box = qstyleoption_cast<const QStyleOptionComboBox*>(option);
        element == CE_ComboBoxLabel && box != nullptr) {
        QStyleOptionComboBox read = *box;
        read.currentText = readFromTheLeft(box->currentText);
        return QProxyStyle::drawControl(element, &read, painter, widget);
    }
    if (const auto* const item = qstyleoption_cast<const QStyleOptionViewItem*>(option);
        element == CE_ItemViewItem && item != nullptr) {
        QStyleOptionViewItem read = *item;
        read.text = readFromTheLeft(item->text);
        return QProxyStyle::drawControl(element, &read, painter, widget);
    }
    if (element != CE_PushButtonLabel)
        return QProxyStyle::drawControl(element, option, painter, widget);
    const Qt::LayoutDirection direction = painter->layoutDirection();
    painter->setLayoutDirection(Qt::LeftToRight); // the style has mirrored the alignment already
    QProxyStyle::drawControl(element, option, painter, widget);
    painter->setLayoutDirection(direction);
}
