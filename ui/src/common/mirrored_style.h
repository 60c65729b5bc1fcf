// The style of the desktop where the layout runs from right to left.
#pragma once

#include <QProxyStyle>

// Keeps the text of a button beside its image (the toolkit's styles turn the alignment round twice and push it to the
// far edge), lets labels and inputs begin at the right (left to themselves they follow the direction of their letters),
// and what is chosen from a box read in the order of its words. Owned by the application.
class Cmirrored_style : public QProxyStyle {
public:
    using QProxyStyle::polish;
    void polish(QWidget* widget) override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
};
