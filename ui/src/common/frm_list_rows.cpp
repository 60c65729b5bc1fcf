// The columns and rows of a list frame, its pages and the state of its toolbar.
#include "bcl2/tmp_str.h"
#include "common/frm_list.h"
#include "common/input_box.h"
#include "common/lang_res.h"
#include "common/record_view.h"
#include "common/warning_box.h"

#include <QAction>
#include <QStandardItemModel>
#include <QToolBar>

void Cfrm_list::_addColumn(const QString& title, bool final)
{
    _columnTitles.append(title);
    if (!final)
        return;
    _model = new QStandardItemModel(0, _columnTitles.size(), this);
    for (int column = 0; column < _columnTitles.size(); ++column)
        _model->setHeaderData(column, Qt::Horizontal, _columnTitles.at(column), Qt::DisplayRole);
    _recordView->setModel(_model);
}

void Cfrm_list::_addColumns(const QList<int>& titleItems)
{
    for (const int item : titleItems.mid(0, titleItems.size() - 1))
        _addColumn(GetLangItem(item));
    _addFinalColumn(GetLangItem(titleItems.last()));
}

void Cfrm_list::_hideColumn(int column)
{
    _recordView->setColumnHidden(column, true);
}

bool Cfrm_list::_isSelected()
{
    if (_recordView->currentIndex().isValid())
        return true;
    PlxWarningBox(GetLangItem(76), GetLangItem(72));
    return false;
}

QStandardItem* Cfrm_list::_getSelected()
{
    return _isSelected() ? _model->itemFromIndex(_recordView->currentIndex()) : nullptr;
}

int Cfrm_list::_selectedRow()
{
    const QStandardItem* const item = _getSelected();
    return item == nullptr ? -1 : item->row();
}

QStringList Cfrm_list::_keyOf(int row, int columns) const
{
    QStringList key;
    for (int column = 0; column < columns; ++column)
        key.append(_getItemValue(row, column));
    return key;
}

QStringList Cfrm_list::_selectedKey(int columns)
{
    const int row = _selectedRow();
    return row < 0 ? QStringList() : _keyOf(row, columns);
}

int Cfrm_list::_rowOfKey(const QStringList& key) const
{
    const int current = _recordView->currentIndex().row();
    if (current >= 0 && _keyOf(current, key.size()) == key)
        return current;
    for (int row = 0; row < _model->rowCount(); ++row) {
        if (_keyOf(row, key.size()) == key)
            return row;
    }
    return -1;
}

QString Cfrm_list::_getItemValue(int row, int column) const
{
    return _model->index(row, column).data(Qt::DisplayRole).toString();
}

void Cfrm_list::_setItemValue(int row, int column, const QVariant& value)
{
    DbaSetItemValue(_model, row, column, value);
}

void DbaSetItemValue(QStandardItemModel* model, int row, int column, const QVariant& value)
{
    model->setData(model->index(row, column), value, Qt::EditRole);
}

int Cfrm_list::_appendRow()
{
    const int row = _model->rowCount();
    _model->insertRow(row);
    return row;
}

void Cfrm_list::_deleteRow(int row)
{
    if (row >= 0)
        _model->removeRow(row);
}

void Cfrm_list::_selectLastRow()
{
    _recordView->setCurrentIndex(_model->index(_model->rowCount() - 1, 0));
}

void Cfrm_list::_deleteAllRows()
{
    _model->removeRows(0, _model->rowCount());
    _recordView->showUnsorted(); // what follows comes in the order of its query
}

QByteArray Cfrm_list::_pageOf(const char* select) const
{
    Cbcl_tmp_str sql(select);
    sql.append(" limit %d, %d", static_cast<int>(getCurrPagePos()), static_cast<int>(getRecordsPerPage()));
    return sql.c_str();
}

bool Cfrm_list::canNextPage(uint32_t total)
{
    if ((_pageIndex + 1) * getRecordsPerPage() < total)
        return true;
    PlxWarningNoMoreRecord();
    return false;
}

bool Cfrm_list::canPrevPage()
{
    if (_pageIndex != 0)
        return true;
    PlxWarningNoMoreRecord();
    return false;
}

void Cfrm_list::_hideEditButton()
{
    _actEdit->setVisible(false);
}

void Cfrm_list::_hideRefreshButton()
{
    _actRefresh->setVisible(false);
}

void Cfrm_list::_showRefreshButton()
{
    _actRefresh->setVisible(true);
}

void Cfrm_list::_hideNextButton()
{
    _actNext->setVisible(false);
}

void Cfrm_list::_showNextButton()
{
    _actNext->setVisible(true);
}

void Cfrm_list::_hideSearchButton()
{
    _actSearch->setVisible(false);
}

void Cfrm_list::_showSearchButton()
{
    _actSearch->setVisible(true);
}

void Cfrm_list::_hidePreviousButton()
{
    _actPrevious->setVisible(false);
    _setGapVisible(false);
}

void Cfrm_list::_showPreviousButton()
{
    _actPrevious->setVisible(true);
    _setGapVisible(true);
}

// A toolbar shows and hides a widget by the action that stands for it.
void Cfrm_list::_setGapVisible(bool isVisible)
{
    for (QAction* const action : _toolbar->actions()) {
        if (_toolbar->widgetForAction(action) == _spacer)
            action->setVisible(isVisible);
    }
}

void Cfrm_list::_disableToolbar()
{
    _toolbar->setEnabled(false);
}

void Cfrm_list::_enableToolbar()
{
    _toolbar->setEnabled(true);
}

unsigned Cfrm_list::queryBox(QString& result, const QString& label, const QString& text)
{
    return InputBox(result, this, GetLangItem(373), label, text);
}

bool Cfrm_list::_askFor(QString& result, int labelItem, const QString& text)
{
    return queryBox(result, GetLangItem(labelItem), text) == 0;
}

QString Cfrm_list::translateSIPTransport(unsigned char transport)
{
    switch (transport) {
    case 1:
        return QStringLiteral("TCP");
    case 2:
        return QStringLiteral("TLS");
    default:
        return QStringLiteral("UDP");
    }
}
