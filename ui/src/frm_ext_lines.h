// The page of the external lines: accounts that the server itself holds with outside SIP servers and gateways.
#pragma once

#include "cachedb2/ext_line.h"
#include "common/frm_list.h"

class Cdlg_ext_line;
class Crow_finder;

// Follows the state of the lines while it is open. Made once and kept until the process ends: the server goes on
// telling it.
class Cfrm_ext_lines : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_ext_lines(Cdb_fac_mgr* store, QWidget* parent);

    // On the server's thread; what it tells is shown on the GUI thread. Null: no name.
    void showExtLineState(const char* name, uint8_t state);

signals:
    void sigExtLineStateUpdate(QString name, int state);

public slots:
    void slotExtLineStateUpdate(const QString& name, int state);

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onDeleteBtn() override;
    void onSearchBtn() override;

private:
    void getUIResource();
    void initColumnView();
    void establishSigAndSlots();

    void _addExtline(const Cdb_ext_line_info& line);
    void _setTransport(int row, uint32_t transport);
    static void _setExtLineStateIcon(QStandardItem* item, unsigned state);
    // Null: not on this page.
    [[nodiscard]] QStandardItem* _findExtLine(const QString& name);
    // False: the user did not store it.
    [[nodiscard]] bool _isEdited(const Cdb_ext_line_info& line);

    Cdlg_ext_line* _editor;
    Crow_finder* _rows = nullptr;
};
