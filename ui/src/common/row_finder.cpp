#include "common/row_finder.h"

#include <QStandardItemModel>

Crow_finder::Crow_finder(QStandardItemModel* model) : QObject(model), _model(model)
{
    connect(model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex&, int first) { forget(first); });
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, [this] { forget(0); });
    connect(model, &QAbstractItemModel::rowsRemoved, this, [this] { forget(0); });
    connect(model, &QAbstractItemModel::layoutChanged, this, [this] { forget(0); });
    connect(model, &QAbstractItemModel::modelReset, this, [this] { forget(0); });
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex& first, const QModelIndex&, const QVector<int>& roles) {
                const bool isText = roles.isEmpty() || roles.contains(Qt::DisplayRole);
                if (first.column() == 0 && isText)
                    forget(first.row());
            });
}

void Crow_finder::forget(int changed)
{
    if (changed < _known)
        _known = 0;
}

void Crow_finder::learn()
{
    if (_known == 0)
        _items.clear();
    for (const int rows = _model->rowCount(); _known < rows; ++_known) {
        QStandardItem* const each = _model->item(_known);
        const QString name = each == nullptr ? QString() : each->text();
        if (!name.isEmpty() && !_items.contains(name)) // the first of two alike is left
            _items.insert(name, each);
    }
}

QStandardItem* Crow_finder::find(const QString& name)
{
    learn();
    return _items.value(name);
}
