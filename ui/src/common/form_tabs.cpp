#include "common/form_tabs.h"

#include "common/text_lines.h"

#include <QStyleOptionTab>
#include <QStylePainter>
#include <QTabBar>

namespace {

class Bar : public QTabBar {
public:
    explicit Bar(QWidget* tabs) : QTabBar(tabs) {}

    void fitInto(int room)
    {
        int needed = 0;
        for (int at = 0; at < count(); ++at)
            needed += QTabBar::tabSizeHint(at).width();
        const bool isTight = needed > room;
        if (isTight == _isTight)
            return;
        _isTight = isTight;
        setTabText(0, tabText(0)); // has all sizes asked for anew
    }

protected:
    [[nodiscard]] QSize tabSizeHint(int index) const override
    {
        const QSize size = QTabBar::tabSizeHint(index);
        if (!_isTight)
            return size;
        const int width = fontMetrics().size(Qt::TextShowMnemonic, titleOf(index)).width();
        return {width + 2 * kMargin, size.height() + fontMetrics().lineSpacing()};
    }

    void paintEvent(QPaintEvent* event) override
    {
        if (!_isTight)
            return QTabBar::paintEvent(event);
        QStylePainter painter(this);
        for (int at = 0; at < count(); ++at) {
            if (at != currentIndex())
                paintTab(painter, at);
        }
        paintTab(painter, currentIndex()); // over its neighbours
    }

private:
    static constexpr int kMargin = 4; // pixels at both sides of a title

    [[nodiscard]] QString titleOf(int index) const { return OnLines(tabText(index), 2, fontMetrics()); }

    void paintTab(QStylePainter& painter, int index) const
    {
        QStyleOptionTab option;
        initStyleOption(&option, index);
        painter.drawControl(QStyle::CE_TabBarTabShape, option);
        const int alignment = Qt::AlignCenter | Qt::TextShowMnemonic;
        painter.drawItemText(option.rect, alignment, option.palette, isTabEnabled(index), titleOf(index),
                             QPalette::WindowText);
        if (!option.state.testFlag(QStyle::State_HasFocus))
            return;
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option);
        focus.rect = option.rect.adjusted(3, 3, -3, -3);
        painter.drawPrimitive(QStyle::PE_FrameFocusRect, focus);
    }

    bool _isTight = false;
};

} // namespace

Cform_tabs::Cform_tabs(QWidget* parent) : QTabWidget(parent)
{
    setTabBar(new Bar(this));
}

void Cform_tabs::resizeEvent(QResizeEvent* event)
{
    static_cast<Bar*>(tabBar())->fitInto(width());
    QTabWidget::resizeEvent(event);
}
