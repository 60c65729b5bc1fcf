#include "common/record_view.h"

#include "common/text_lines.h"

#include <QCursor>
#include <QHeaderView>
#include <QHelpEvent>
#include <QItemSelectionModel>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionHeader>
#include <QStyledItemDelegate>
#include <QToolTip>

#include <algorithm>
#include <numeric>
#include <utility>

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
// of day. A value that is cut at the edge of its column shows whole under the pointer.
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

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override
    {
        const bool isCut = index.isValid() && sizeHint(option, index).width() > option.rect.width();
        if (event->type() != QEvent::ToolTip || !isCut)
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        QToolTip::showText(event->globalPos(), displayText(index.data(), view->locale()), view, option.rect);
        return true;
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

// Titles on one line, or on more where the columns would not fit otherwise. One that is cut all the same shows whole
// under the pointer.
class Heads : public QHeaderView {
public:
    static constexpr int kMostLines = 3;

    explicit Heads(QWidget* view) : QHeaderView(Qt::Horizontal, view)
    {
        setSectionsMovable(true);
        setStretchLastSection(true);
        setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        // Where a title takes another number of lines now, the heads have another height.
        connect(this, &QHeaderView::sectionResized, this,
                [this](int section) { headerDataChanged(Qt::Horizontal, section, section); });
        connect(this, &QHeaderView::sortIndicatorChanged, this, [this] {
            headerDataChanged(Qt::Horizontal, 0, count() - 1);
            emit geometriesChanged();
        });
    }

    // How wide a column is that shows its title on at most so many lines.
    [[nodiscard]] int neededWidth(int section, int lines) const
    {
        const QString title = OnLines(titleOf(section), lines, fontMetrics());
        return marginsOf(section) + fontMetrics().size(0, title).width();
    }

    // By the mouse: what changes then is what the user wants.
    [[nodiscard]] bool isHeld() const { return _isHeld; }

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        _isHeld = true;
        QHeaderView::mousePressEvent(event);
    }
    void mouseDoubleClickEvent(QMouseEvent* event) override
    {
        _isHeld = true;
        QHeaderView::mouseDoubleClickEvent(event);
    }
    void mouseReleaseEvent(QMouseEvent* event) override
    {
        QHeaderView::mouseReleaseEvent(event);
        _isHeld = false;
    }

    // As wide as the title on one line, and as high as it is in the column as it stands.
    [[nodiscard]] QSize sectionSizeFromContents(int section) const override
    {
        const int height = QHeaderView::sectionSizeFromContents(section).height();
        const int more = shownTitle(section).count(QLatin1Char('\n'));
        return {neededWidth(section, 1), height + more * fontMetrics().lineSpacing()};
    }

    void paintSection(QPainter* painter, const QRect& place, int section) const override
    {
        const QString title = shownTitle(section);
        if (title == titleOf(section) && !isCut(section))
            return QHeaderView::paintSection(painter, place, section);
        QStyleOptionHeader head = optionOf(section, place);
        const bool isUnderMouse = logicalIndexAt(mapFromGlobal(QCursor::pos())) == section;
        head.state.setFlag(QStyle::State_MouseOver, underMouse() && isUnderMouse);
        QStringList lines = title.split(QLatin1Char('\n'));
        for (QString& line : lines)
            line = fontMetrics().elidedText(line, Qt::ElideRight, place.width() - marginsOf(section));
        head.text = lines.join(QLatin1Char('\n'));
        style()->drawControl(QStyle::CE_Header, &head, painter, this);
    }

    bool viewportEvent(QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip)
            return QHeaderView::viewportEvent(event);
        const auto* const help = static_cast<QHelpEvent*>(event);
        const int section = logicalIndexAt(help->pos());
        QToolTip::showText(help->globalPos(), section >= 0 && isCut(section) ? titleOf(section) : QString(), this);
        return true;
    }

private:
    [[nodiscard]] QString titleOf(int section) const { return model()->headerData(section, Qt::Horizontal).toString(); }
    // On as many lines as the column asks for.
    [[nodiscard]] QString shownTitle(int section) const
    {
        int lines = 1;
        while (lines < kMostLines && neededWidth(section, lines) > sectionSize(section))
            ++lines;
        return OnLines(titleOf(section), lines, fontMetrics());
    }
    [[nodiscard]] bool isCut(int section) const
    {
        const int width = sectionSize(section);
        return width < neededWidth(section, 1) && width < neededWidth(section, kMostLines);
    }
    [[nodiscard]] QStyleOptionHeader optionOf(int section, const QRect& place) const
    {
        QStyleOptionHeader option;
        initStyleOption(&option);
        option.rect = place;
        option.section = section;
        option.textAlignment = defaultAlignment();
        if (isSortIndicatorShown() && sortIndicatorSection() == section) {
            const bool isAscending = sortIndicatorOrder() == Qt::AscendingOrder;
            option.sortIndicator = isAscending ? QStyleOptionHeader::SortDown : QStyleOptionHeader::SortUp;
        }
        return option;
    }
    // Of a title. The toolkit would leave room in each of them for bold letters and for the sign of the order, which
    // stands in one of them.
    [[nodiscard]] int marginsOf(int section) const
    {
        const QRect place(0, 0, sectionSize(section), QHeaderView::sectionSizeFromContents(section).height());
        const QStyleOptionHeader option = optionOf(section, place);
        return place.width() - style()->subElementRect(QStyle::SE_HeaderLabel, &option, this).width();
    }

    bool _isHeld = false;
};

int sumOf(const QVector<int>& widths)
{
    return std::accumulate(widths.begin(), widths.end(), 0);
}

// The widest give first, and all that are wider than the others come to the same; none goes below its least.
QVector<int> narrowed(QVector<int> widths, const QVector<int>& least, int room)
{
    int most = *std::max_element(widths.begin(), widths.end());
    for (; most > 0 && sumOf(widths) > room; --most) {
        for (int column = 0; column < widths.size(); ++column)
            widths[column] = qMin(widths[column], qMax(most, least[column]));
    }
    return widths;
}

} // namespace

Crecord_view::Crecord_view(QWidget* parent) : QTreeView(parent)
{
    setObjectName(QStringLiteral("recordView"));
    setLocale(QLocale::c()); // numbers are identifiers: no separators between their digits
    setHeader(new Heads(this));
    connect(header(), &QHeaderView::sectionResized, this,
            [this] { _areWidthsChosen = _areWidthsChosen || static_cast<Heads*>(header())->isHeld(); });
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

int Crecord_view::widthOf(const QString& value) const
{
    const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1; // of the text
    return fontMetrics().horizontalAdvance(value) + 4 * margin;
}

// Of values: those that are there, and those that are expected where they still come.
QVector<int> Crecord_view::valueWidths() const
{
    QVector<int> widths(header()->count());
    for (int column = 0; column < widths.size(); ++column) {
        if (!isColumnHidden(column))
            widths[column] = qMax(sizeHintForColumn(column), widthOf(_widest.value(column)));
    }
    return widths;
}

// What columns need for titles on at most so many lines, and for so much of their values.
QVector<int> Crecord_view::neededWidths(QVector<int> widths, int lines) const
{
    for (int column = 0; column < widths.size(); ++column) {
        if (!isColumnHidden(column))
            widths[column] = qMax(widths[column], static_cast<Heads*>(header())->neededWidth(column, lines));
    }
    return widths;
}

// Whole titles and values on few lines if they fit; else long values are cut at the edge of their columns, and where
// that is not enough, long titles, too.
QVector<int> Crecord_view::fittingWidths(int room) const
{
    const QVector<int> values = valueWidths();
    QVector<int> widths;
    for (int lines = 1; lines <= Heads::kMostLines; ++lines) {
        widths = neededWidths(values, lines);
        if (sumOf(widths) <= room)
            return widths;
    }
    const auto beginnings = [this](QVector<int> whole, int letters) {
        for (int& width : whole)
            width = qMin(width, widthOf(QString(letters, QLatin1Char('0'))));
        return whole;
    };
    for (const auto& [lines, letters] : {std::pair(2, 12), std::pair(3, 12), std::pair(3, 6)}) {
        widths = narrowed(neededWidths(values, lines), neededWidths(beginnings(values, letters), lines), room);
        if (sumOf(widths) <= room)
            return widths;
    }
    constexpr int kLeastLetters = 8;
    widths = neededWidths(values, Heads::kMostLines);
    return narrowed(widths, beginnings(widths, kLeastLetters), room);
}

void Crecord_view::fitColumns()
{
    if (_areColumnsFitted || model()->columnCount() == 0)
        return;
    _areColumnsFitted = model()->rowCount() > 0;
    spreadColumns();
}

int Crecord_view::roomForColumns() const
{
    return contentsRect().width() - verticalScrollBar()->sizeHint().width();
}

void Crecord_view::spreadColumns()
{
    _room = roomForColumns();
    const int columns = header()->count() - header()->hiddenSectionCount();
    const QVector<int> widths = fittingWidths(_room);
    const int spare = qMax(0, _room - sumOf(widths)) / qMax(1, columns);
    for (int column = 0; column < header()->count(); ++column) {
        if (!isColumnHidden(column))
            header()->resizeSection(column, widths[column] + spare);
    }
    updateGeometries(); // the heads may be higher now, or less high
}

void Crecord_view::resizeEvent(QResizeEvent* event)
{
    QTreeView::resizeEvent(event);
    if (_areColumnsFitted && !_areWidthsChosen && roomForColumns() != _room)
        spreadColumns();
}

// The toolkit makes the first row current when the keyboard comes, without showing it as selected: Delete would remove
// a row that nobody chose.
void Crecord_view::focusInEvent(QFocusEvent* event)
{
    QTreeView::focusInEvent(event);
    if (selectionModel() != nullptr && !selectionModel()->hasSelection())
        selectionModel()->clearCurrentIndex();
}
