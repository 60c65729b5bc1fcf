// The page of the local users, with the live state of their telephones.
#pragma once

#include "cachedb2/usr_info.h"
#include "common/frm_list.h"

class Cdlg_local_user;
class Cdlg_local_user_add_many;
class Crow_finder;

// Made with the first show of the main window. The three callbacks run on threads of the server and only emit; the
// subscriptions are never withdrawn.
class Cfrm_local_users : public Cfrm_list {
    Q_OBJECT

public:
    Cfrm_local_users(Cdb_fac_mgr* store, QWidget* parent);

    // Any thread.
    void showUserState(const char* name, int state);
    void showUserAgent(const char* name, const char* agent);
    void showUserAddr(const char* name, const char* address);

signals:
    void sigUserStateUpdate(const QString& name, int state);
    void sigUserAgentUpdate(const QString& name, const QString& agent);
    void sigUserAddressUpdate(const QString& name, const QString& address);

public slots:
    void slotUserStateUpdate(const QString& name, int state);
    void slotUserAgentUpdate(const QString& name, const QString& agent);
    void slotUserAddrUpdate(const QString& name, const QString& address);
    void onAddManyBtn();

protected:
    void loadData() override;
    [[nodiscard]] uint32_t getRecordCnt() override;
    void onAddBtn() override;
    void onEditBtn() override;
    void onSearchBtn() override;
    void onDeleteBtn() override;

private:
    void getUIResource();
    void initColumnView();
    void setupAddManyAction();
    void _establishSigAndSlots();
    void _addUser(const QString& name, const QString& description, const QString& displayName, const char* address,
                  unsigned port, unsigned state, const QString& userAgent);
    void setUserStateIcon(QStandardItem* item, unsigned state);
    // Null when the page does not show the user. Rows that look alike: the first.
    [[nodiscard]] QStandardItem* _findUser(const QString& name);
    // True when the user said OK; then the dialog holds the record.
    [[nodiscard]] bool _isEdited(const Cdb_usr_info& record);
    void _showEdited(int row);

    Cdlg_local_user* _editor = nullptr;
    Cdlg_local_user_add_many* _dlgAddMany = nullptr;
    QAction* _actAddMany = nullptr;
    Crow_finder* _rows = nullptr;
};
