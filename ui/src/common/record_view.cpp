#include "common/record_view.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QStyledItemDelegate>

namespace {

// Where lists run from right to left a number would be shown with its plus sign behind it, and a date behind its time
// of day.
class LeftToRightNumbers : public QStyledItemDelegate {
public:
    explicit LeftToRightNumbers(QWidget* view) : QStyledItemDelegate(view), _view(view) {}

    [[nodiscard]] QString displayText(const QVariant& value, const QLocale& locale) const override
    {
        constexpr char16_t kLeftToRightMark = 0x200e;
        const QString text = QStyledItemDelegate::displayText(value, locale);
        const bool isPlain = text.isEmpty() || _view->isLeftToRight() || text.isRightToLeft();
        return isPlain ? text : QChar(kLeftToRightMark) + text;
    }

private:
    QWidget* _view;
};

} // namespace

Crecord_view::Crecord_view(QWidget* parent) : QTreeView(parent)
{
    setObjectName(QStringLiteral("recordView"));
    setLocale(QLocale::c()); // numbers are identifiers: no separators between their digits
    setItemDelegate(new LeftToRightNumbers(this));
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
    return isColumnHidden(column) ? 0 : qMax(header()->sectionSizeHint(column), sizeHintForColumn(column));
}

void Crecord_view::fitColumns()
{
    if (_areColumnsFitted)
        return;
    _areColumnsFitted = model()->rowCount() > 0;
    int needed = 0;
    for (int column = 0; column < header()->count(); ++column)
        needed += neededWidth(column);
    const int room = contentsRect().width() - verticalScrollBar()->sizeHint().width();
    const int columns = header()->count() - header()->hiddenSectionCount();
    const int spare = qMax(0, room - needed) / qMax(1, columns);
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
