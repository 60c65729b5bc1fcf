// The table of a list frame.
#pragma once

#include <QHash>
#include <QString>
#include <QTreeView>
#include <QVector>

// Rows without a tree, sorted by a click on a header, not edited in place. Owned by its frame; GUI thread.
class Crecord_view : public QTreeView {
public:
    explicit Crecord_view(QWidget* parent);

    // Rows stand in the order in which they were loaded: no header says that they are sorted by it.
    void showUnsorted();
    // Makes the columns as wide as titles and rows need, and spreads what is left over. Where they need more room than
    // there is, titles take more lines, then long values are cut, which show whole under the pointer. From the first
    // rows on they follow the size of the window only, until the user chooses widths. Call when there is a model.
    void fitColumns();
    // A value of that column that is as wide as they get in daily use, where values come after the first rows.
    void expectValue(int column, const QString& widest) { _widest.insert(column, widest); }

protected:
    void focusInEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    [[nodiscard]] int widthOf(const QString& value) const;
    [[nodiscard]] QVector<int> valueWidths() const;
    [[nodiscard]] QVector<int> neededWidths(QVector<int> widths, int lines) const;
    [[nodiscard]] QVector<int> fittingWidths(int room) const;
    [[nodiscard]] int roomForColumns() const;
    void spreadColumns();

    QHash<int, QString> _widest; // by column
    int _room = 0;               // for which columns were fitted
    bool _areColumnsFitted = false;
    bool _areWidthsChosen = false; // by the user
};
