// Shows every window of the console, one after the other.
#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

class Cfrm_list;
class Cfrm_main;
class QAction;
class QDialog;
class QMenu;
class QWidget;

// Walks from the main window's menus through the pages, their editors (new and of the first row) with each of their
// tabs, and the boxes that they ask and warn with. What it presses stores a record now and then. GUI thread.
class WindowWalk : public QObject {
public:
    // Called with each window while it shows. The name is that of its page, of the order that opened it, and of the
    // tab: "local_users", "local_users-edit-3".
    using Visit = std::function<void(const QString& name, QWidget& window)>;

    WindowWalk(Cfrm_main& main, Visit visit);

    void run();
    // The classes of the pages that came up.
    [[nodiscard]] const QStringList& pages() const { return _pages; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showMenus();
    void showMenu(QMenu& menu, const QString& name);
    void openPages(QMenu& menu);
    void open(QAction& action);
    void walkPage(Cfrm_list& page);
    void press(Cfrm_list& page, QAction& action);
    void answer(QDialog& dialog);
    void showTabs(QDialog& editor);
    void visit(const QString& name, QWidget& window);

    Cfrm_main& _main;
    Visit _visit;
    QStringList _pages;
    QSet<QString> _seen; // names, and texts of message boxes
    QString _place;      // what opens the next dialog
    int _questions = 0;  // that it has asked
};
