// The table of a list frame.
#pragma once

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

protected:
    void focusInEvent(QFocusEvent* event) override;

private:
    [[nodiscard]] int neededWidth(int column) const;

    bool _areColumnsFitted = false;
};
