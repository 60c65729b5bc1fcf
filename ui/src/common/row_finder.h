// Rows of a page by their names, for what the server tells of records of which most are not on the page.
#pragma once

#include <QHash>
#include <QObject>
#include <QString>

class QStandardItem;
class QStandardItemModel;

// Knows which row shows a name in its first column; a name that none shows costs a look-up, no walk over the rows, at
// thousands of events a second, and rows that are appended cost no walk over those before them. Follows every change of
// the model. Owned by the page, with the model; GUI thread.
class Crow_finder : public QObject {
public:
    explicit Crow_finder(QStandardItemModel* model);

    // The item of column 0 in the first row with exactly this text; null when there is none, or for a blank name.
    [[nodiscard]] QStandardItem* find(const QString& name);

private:
    // Rows from this one on are not as they were.
    void forget(int changed);
    void learn();

    QStandardItemModel* _model;
    QHash<QString, QStandardItem*> _items;
    int _known = 0; // rows, from the first on
};
