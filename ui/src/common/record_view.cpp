#include "common/record_view.h"

#include "common/two_lines.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QStyledItemDelegate>

namespace {

// Colours of rows are chosen for a light ground: on a dark one they keep their hue and become bright.
QColor readableOn(const QColor& ground, const QColor& ink)
{
    constexpr int kLightest = 255;
    constexpr int kMiddle = 128;
    if (qGray(ground.rgb()) >= kMiddle || qGray(ink.rgb()) >= kMiddle)
        return ink;
    return QColor::fromHsl(ink.hslHue(), ink.hslSaturation(), kLightest - ink.lightness() / 2);
}

// Where lists run from right to left a number would be shown with its plus sign behind it, and a date behind its time
// of day.
class RowDelegate : public QStyledItemDelegate {
public:
    explicit RowDelegate(QWidget* view) : QStyledItemDelegate(view), _view(view) {}

    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& locale) const override
    {
        constexpr char16_t kLeftToRightMark = 0x200e;
        const QString text = QStyledItemDelegate::displayText(value, locale);
        const bool isPlain = text.isEmpty() || _view->isLeftToRight() || text.isRightToLeft();
        return isPlain ? text : QChar(kLeftToRightMark) + text;
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        if (!index.data(Qt::ForegroundRole).isValid())
            return;
        const QColor ground = _view->palette().color(QPalette::Base);
        option->palette.setColor(QPalette::Text, readableOn(ground, option->palette.color(QPalette::Text)));
    }

private:
    QWidget* _view;
};

// Titles on one line, or on two where the columns would not fit otherwise.
class Heads : public QHeaderView {
public:
    explicit Heads(QWidget* view) : QHeaderView(Qt::Horizontal, view)
    {
        setSectionsMovable(true);
        setStretchLastSection(true);
        wrap(false);
    }

    void wrap(bool isWrapped)
    {
        _isWrapped = isWrapped;
        const int alignment = Qt::AlignLeft | Qt::AlignVCenter | (isWrapped ? Qt::TextWordWrap : 0);
        setDefaultAlignment(Qt::Alignment(alignment));
        updateGeometry();
    }

protected:
    // The toolkit leaves room for bold titles, which none of these ever is.
    [[nodiscard]] QSize sectionSizeFromContents(int section) const override
    {
        const QSize size = QHeaderView::sectionSizeFromContents(section);
        const QString title = model()->headerData(section, Qt::Horizontal).toString();
        const QString shown = _isWrapped ? OnTwoLines(title, fontMetrics()) : title;
        QFont bold = font();
        bold.setBold(true);
        const int saved = QFontMetrics(bold).horizontalAdvance(title) - fontMetrics().size(0, shown).width();
        return {size.width() - saved, size.height() + (_isWrapped ? fontMetrics().lineSpacing() : 0)};
    }

private:
    bool _isWrapped = false;
};

} // namespace

Crecord_view::Crecord_view(QWidget* parent) : QTreeView(parent)
{
    setObjectName(QStringLiteral("recordView"));
    setLocale(QLocale::c()); // numbers are identifiers: no separators between their digits
    setHeader(new Heads(this));
    setItemDelegate(new RowDelegate(this));
    setRootIsDecorated(false);
    setAlternatingRowColors(true);
    showUnsorted(); // before sorting is switched on, which would sort by the first column
    setSortingEnabled(true);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
}

void Crecord_view::showUnsorted()
{
    constexpr int kNoColumn = -1;
    header()->setSortIndicator(kNoColumn, Qt::AscendingOrder);
}

int Crecord_view::neededWidth(int column) const
{
    if (isColumnHidden(column))
        return 0;
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1; // of the text
    const int expected = fontMetrics().horizontalAdvance(_widest.value(column)) + 4 * margin;
    return qMax(expected, qMax(header()->sectionSizeHint(column), sizeHintForColumn(column)));
}

int Crecord_view::neededWidth() const
{
    int needed = 0;
    for (int column = 0; column < header()->count(); ++column)
        needed += neededWidth(column);
    return needed;
}

void Crecord_view::fitColumns()
{
    if (_areColumnsFitted)
        return;
    _areColumnsFitted = model()->rowCount() > 0;
    const int room = contentsRect().width() - verticalScrollBar()->sizeHint().width();
    const int columns = header()->count() - header()->hiddenSectionCount();
    auto* const heads = static_cast<Heads*>(header());
    heads->wrap(false);
    const int needed = neededWidth();
    heads->wrap(needed > room);
    if (neededWidth() == needed)
        heads->wrap(false); // it would only make them higher
    const int spare = qMax(0, room - neededWidth()) / qMax(1, columns);
    for (int column = 0; column < header()->count(); ++column) {
        if (!isColumnHidden(column))
            header()->resizeSection(column, neededWidth(column) + spare);
    }
}

// The toolkit makes the first row current when the keyboard comes, without showing it as selected: Delete would remove
// a row that nobody chose.
void Crecord_view::focusInEvent(QFocusEvent* event)
{
    QTreeView::focusInEvent(event);
    if (selectionModel() != nullptr && !selectionModel()->hasSelection())
        selectionModel()->clearCurrentIndex();
}
