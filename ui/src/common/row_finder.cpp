#include "common/row_finder.h"

#include <QStandardItemModel>

Crow_finder::Crow_finder(QStandardItemModel* model) : QObject(model), _model(model)
{
    connect(model, &QAbstractItemModel::rowsInserted, this, &Crow_finder::forget);
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &Crow_finder::forget);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &Crow_finder::forget);
    connect(model, &QAbstractItemModel::layoutChanged, this, &Crow_finder::forget);
    connect(model, &QAbstractItemModel::modelReset, this, &Crow_finder::forget);
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& first, const QModelIndex&, const QVector<int>& roles) {
                const bool isText = roles.isEmpty() || roles.contains(Qt::DisplayRole);
                if (first.column() == 0 && isText)
                    forget();
            });
}

void Crow_finder::learn()
{
    _items.clear();
    for (int row = _model->rowCount() - 1; row >= 0; --row) { // upwards: the first of two alike is left
        if (QStandardItem* const each = _model->item(row); each != nullptr)
            _items.insert(each->text(), each);
    }
    _items.remove(QString());
    _isKnown = true;
}

QStandardItem* Crow_finder::find(const QString& name)
{
    if (!_isKnown)
        learn();
    return _items.value(name);
}
