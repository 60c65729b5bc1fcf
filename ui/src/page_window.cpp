#include "page_window.h"

#include <QDialog>

QWidget* Cpage_windows::get(const PageWindow& window, Cdb_fac_mgr* store)
{
    QWidget*& made = _made[window.make];
    if (made == nullptr)
        made = window.make(store, _parent);
    return made;
}

int Cpage_windows::open(const PageWindow& window, Cdb_fac_mgr* store)
{
    QWidget* const shown = get(window, store);
    if (window.way == PageWindow::Way::Dialog) {
        if (window.init != nullptr)
            window.init(shown);
        return static_cast<QDialog*>(shown)->exec();
    }
    shown->show();
    // Another page may lie over it.
    shown->raise();
    shown->activateWindow();
    return 0;
}
