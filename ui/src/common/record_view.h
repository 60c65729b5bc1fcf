// The table of a list frame.
#pragma once

#include <QHash>
#include <QString>
#include <QTreeView>

// Rows without a tree, sorted by a click on a header, not edited in place. Owned by its frame; GUI thread.
class Crecord_view : public QTreeView {
public:
    explicit Crecord_view(QWidget* parent);

    // Rows stand in the order in which they were loaded: no header says that they are sorted by it.
    void showUnsorted();
    // Makes the columns as wide as titles and rows need, and spreads what is left over. From the first rows on it does
    // nothing any more: widths are the user's. Call when there is a model.
    void fitColumns();
    // A value of that column that is as wide as they get in daily use, where values come after the first rows.
    void expectValue(int column, const QString& widest) { _widest.insert(column, widest); }

protected:
    void focusInEvent(QFocusEvent* event) override;

private:
    [[nodiscard]] int neededWidth(int column) const;
    [[nodiscard]] int neededWidth() const; // of all columns

    QHash<int, QString> _widest; // by column
    bool _areColumnsFitted = false;
};
