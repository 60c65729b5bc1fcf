#include "common/mirrored_style.h"

#include <QLabel>
#include <QLineEdit>
#include <QPainter>

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
    if (element != CE_PushButtonLabel)
        return QProxyStyle::drawControl(element, option, painter, widget);
    const Qt::LayoutDirection direction = painter->layoutDirection();
    painter->setLayoutDirection(Qt::LeftToRight); // the style has mirrored the alignment already
    QProxyStyle::drawControl(element, option, painter, widget);
    painter->setLayoutDirection(direction);
}
