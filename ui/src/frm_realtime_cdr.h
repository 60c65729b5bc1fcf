// The window of the calls as they happen.
#pragma once

#include "callserver/call_record.h"

#include <QColor>
#include <QMainWindow>
#include <QVariant>

Q_DECLARE_METATYPE(Ccdr_record_data)

class Cdb_fac_mgr;
class Crecord_view;
class Crow_finder;
class QStandardItem;
class QStandardItemModel;

// One row for each call detail record, updated in place. Made with the first show of the main window, so that it holds
// the calls since the server's start; closing it only hides it. GUI thread, but for what is marked.
class Cfrm_realtime_cdr : public QMainWindow {
    Q_OBJECT

public:
    Cfrm_realtime_cdr(Cdb_fac_mgr* store, QWidget* parent);

    // The server's event of a record: context is the window, data1 the record's number, data2 the record. Runs on the
    // publishing thread.
    static void spfCdrInfoFunc(void* context, void* data1, void* data2);
    // Any thread.
    void showCDRInfo(int id, Ccdr_record_data record);

signals:
    void sigDisplayCDRInfo(int id, const QVariant& value);

public slots:
    void slotDisplayCDRInfo(int id, const QVariant& value);
    void actClearCDRInfo();

private:
    void _setupUI();
    void _setupToolbar();
    void _setupView();
    void _setWidths();
    void _takePlace();
    // Null when no row shows the record; records without a number are never found.
    [[nodiscard]] QStandardItem* findItem(int id);
    void displayData(int row, int id, Ccdr_record_data record);
    void setItemValue(int row, int column, const QColor& colour, const QVariant& value);

    Crecord_view* _view = nullptr;
    QStandardItemModel* _model = nullptr;
    Crow_finder* _rows = nullptr;
};
