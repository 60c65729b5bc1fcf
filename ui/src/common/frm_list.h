// The base of every page that browses a table.
#pragma once

#include "common/help_topic.h"

#include <QByteArray>
#include <QDialog>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>

class Cdb_fac_mgr;
class Crecord_view;
class QAction;
class QModelIndex;
class QStandardItem;
class QStandardItemModel;
class QToolBar;
class QVBoxLayout;

// A toolbar above one page of rows. Every show loads the page anew, also while an editor is open: nothing that points
// at a row outlives an exec(). Owned by its parent; GUI thread.
class Cfrm_list : public QDialog {
    Q_OBJECT

public:
    // The store is not owned and outlives the frame.
    Cfrm_list(Cdb_fac_mgr* store, QWidget* parent);

protected:
    // What a page says of itself. loadData appends the rows of the current page to the empty model.
    virtual void loadData() = 0;
    [[nodiscard]] virtual uint32_t getRecordCnt() { return 0; } // of the whole table; 0 also where nothing is paged
    virtual void onAddBtn() {}
    virtual void onEditBtn() {}
    virtual void onSearchBtn() {}
    virtual void onDeleteBtn() {}

    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

protected slots:
    void actAdd();
    void actEdit();
    void actDelete();
    void actRefresh();
    void actNext();
    void actPrevious();
    void actSearch();
    void doubleClicked(const QModelIndex& index);

protected:
    // Columns, in order; the final one makes the model.
    void _addColumn(const QString& title, bool final = false);
    void _addFinalColumn(const QString& title) { _addColumn(title, true); }
    void _addColumns(const QList<int>& titleItems); // all of them
    void _hideColumn(int column);

    // These two warn when there is no current row.
    [[nodiscard]] bool _isSelected();
    [[nodiscard]] QStandardItem* _getSelected();
    [[nodiscard]] int _selectedRow(); // -1: none, after the warning
    // The key of the selected row: the texts of its first `columns` columns. Empty: none, after the warning.
    [[nodiscard]] QStringList _selectedKey(int columns = 1);
    // The row whose first columns show this key, the current row before others; -1 when it is not on the page.
    [[nodiscard]] int _rowOfKey(const QStringList& key) const;

    // A row that is not there is passed over.
    [[nodiscard]] QString _getItemValue(int row, int column) const;
    void _setItemValue(int row, int column, const QVariant& value);
    int _appendRow(); // its number
    void _deleteRow(int row);
    // Where an edited row was moved to the end: what is done next is done to it, not to its former neighbour.
    void _selectLastRow();
    void _deleteAllRows();

    static constexpr uint32_t kRecordsPerPage = 50;
    [[nodiscard]] static uint32_t getRecordsPerPage() { return kRecordsPerPage; }
    [[nodiscard]] uint32_t getCurrPagePos() const { return _pageIndex * kRecordsPerPage; }
    // `select` with its order, limited to the current page.
    [[nodiscard]] QByteArray _pageOf(const char* select) const;
    // These warn when there is no such page.
    [[nodiscard]] bool canNextPage(uint32_t total);
    [[nodiscard]] bool canPrevPage();

    void _hideEditButton();
    void _hideRefreshButton();
    void _showRefreshButton();
    void _hideNextButton();
    void _showNextButton();
    void _hideSearchButton();
    void _showSearchButton();
    // With the gap that parts the commands of a record from those of the list.
    void _hidePreviousButton();
    void _showPreviousButton();
    void _disableToolbar();
    void _enableToolbar();

    // As InputBox, under the title of the query button.
    [[nodiscard]] unsigned queryBox(QString& result, const QString& label, const QString& text);
    // The same for a part of a key, labelled with a language item. False: cancelled or left empty.
    [[nodiscard]] bool _askFor(QString& result, int labelItem, const QString& text = {});
    void setHelpTopicID(Ehelp_topics topic) { _helpTopic = topic; }
    [[nodiscard]] static QString translateSIPTransport(unsigned char transport);

    QAction* _actAdd = nullptr;
    QAction* _actEdit = nullptr;
    QAction* _actDelete = nullptr;
    QAction* _actRefresh = nullptr;
    QAction* _actSearch = nullptr;
    QWidget* _spacer = nullptr;
    QAction* _actNext = nullptr;
    QAction* _actPrevious = nullptr;
    Crecord_view* _recordView = nullptr;
    QStandardItemModel* _model = nullptr;
    QList<QString> _columnTitles;
    Cdb_fac_mgr* _store;
    QVBoxLayout* _layout;
    QToolBar* _toolbar = nullptr;
    Ehelp_topics _helpTopic = kHelpNone;
    uint32_t _pageIndex = 0;

private:
    void _setupToolbar();
    void _setupRecordView();
    void _retranslateUi();
    void _setupSigAndSlots();
    void _takePlace();
    void _reload();
    [[nodiscard]] QStringList _keyOf(int row, int columns) const;
    [[nodiscard]] QAction* _addAction(const char* image, const char* text);
    void _setGapVisible(bool isVisible);
};

// Sets the data of a cell of any model.
void DbaSetItemValue(QStandardItemModel* model, int row, int column, const QVariant& value);
