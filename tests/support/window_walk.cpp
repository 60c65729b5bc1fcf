#include "support/window_walk.h"

#include "cachedb2/switch_variants.h"
#include "common/dlg_common.h"
#include "common/frm_list.h"
#include "common/lang_res.h"
#include "frm_main.h"
#include "support/box_answers.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QInputDialog>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QToolBar>
#include <QTreeView>

#include <array>
#include <utility>

namespace {

constexpr int kMostQuestions = 4;                         // one after the other, before a row is looked for
constexpr const char* kUnknownKey = "98765";              // of no record
constexpr std::array<int, 4> kLeaving = {2, 49, 51, 449}; // language items: they end the program or leave it
constexpr int kClearLog = 269;
constexpr std::array<std::pair<int, const char*>, 5> kOrders = {
    {{66, "add"}, {387, "add_many"}, {68, "edit"}, {373, "find"}, {356, "next"}}};

bool isLeaving(const QAction& action)
{
    for (const int item : kLeaving) {
        if (action.text() == GetLangItem(item))
            return true;
    }
    return action.text() == GetLangItem(kClearLog);
}

// Empty: not one to press.
QString orderOf(const QAction& action)
{
    for (const auto& [item, name] : kOrders) {
        if (action.isVisible() && action.text() == GetLangItem(item))
            return QString::fromLatin1(name);
    }
    return {};
}

// "Cfrm_local_users" is "local_users".
QString nameOf(const QWidget& window)
{
    return QString::fromLatin1(window.metaObject()->className()).section(QLatin1Char('_'), 1);
}

} // namespace

WindowWalk::WindowWalk(Cfrm_main& main, Visit visit) : _main(main), _visit(std::move(visit))
{
    qApp->installEventFilter(this);
}

void WindowWalk::run()
{
    visit(QStringLiteral("main"), _main);
    showMenus();
    for (QAction* const bar : _main.menuBar()->actions())
        openPages(*bar->menu());
}

void WindowWalk::visit(const QString& name, QWidget& window)
{
    QString unique = name;
    for (int count = 2; _seen.contains(unique); ++count)
        unique = name + QStringLiteral("-again%1").arg(count);
    _seen.insert(unique);
    _visit(unique, window);
}

void WindowWalk::showMenus()
{
    const QList<QAction*> bar = _main.menuBar()->actions();
    for (int at = 0; at < bar.size(); ++at)
        showMenu(*bar[at]->menu(), QStringLiteral("menu-%1").arg(at + 1));
}

void WindowWalk::showMenu(QMenu& menu, const QString& name)
{
    menu.popup(_main.geometry().center());
    visit(name, menu);
    int below = 0;
    for (const QAction* const action : menu.actions()) {
        if (action->menu() != nullptr)
            showMenu(*action->menu(), name + QStringLiteral("-%1").arg(++below));
    }
    menu.hide();
}

void WindowWalk::openPages(QMenu& menu)
{
    for (QAction* const action : menu.actions()) {
        if (action->menu() != nullptr)
            openPages(*action->menu());
        else if (!action->isSeparator() && !isLeaving(*action))
            open(*action);
    }
}

void WindowWalk::open(QAction& action)
{
    const int language = gVarGuiLang; // one of the orders chooses another
    _place = QStringLiteral("main");
    _questions = 0;
    action.trigger();
    gVarGuiLang = language;
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        if (!window->isVisible() || window->parent() != &_main)
            continue;
        const QString name = nameOf(*window);
        if (!_pages.contains(name)) {
            _pages.append(name);
            visit(name, *window);
            if (auto* const page = dynamic_cast<Cfrm_list*>(window); page != nullptr)
                walkPage(*page);
        }
        window->hide();
    }
}

// First without a row, then with the first one. New records come last: they would be among the rows.
void WindowWalk::walkPage(Cfrm_list& page)
{
    auto* const rows = page.findChild<QTreeView*>();
    const QList<QAction*> actions = page.findChild<QToolBar*>()->actions();
    for (const char* const order : {"edit", "next", "edit", "find", "add_many", "add"}) {
        for (QAction* const action : actions) {
            if (orderOf(*action) == QLatin1String(order))
                press(page, *action);
        }
        rows->setCurrentIndex(rows->model()->index(0, 0));
    }
}

void WindowWalk::press(Cfrm_list& page, QAction& action)
{
    _place = nameOf(page) + QLatin1Char('-') + orderOf(action);
    _questions = 0;
    action.trigger();
}

bool WindowWalk::eventFilter(QObject* watched, QEvent* event)
{
    auto* const dialog = qobject_cast<QDialog*>(watched);
    if (dialog != nullptr && dialog->isModal() && event->type() == QEvent::Show && !event->spontaneous())
        callLater(dialog, 0, [this, dialog] { answer(*dialog); });
    return QObject::eventFilter(watched, event);
}

void WindowWalk::answer(QDialog& dialog)
{
    if (auto* const box = qobject_cast<QMessageBox*>(&dialog); box != nullptr) {
        const int known = _seen.size();
        _seen.insert(box->text());
        if (_seen.size() > known)
            visit(_place + QStringLiteral("-says"), dialog);
        return dialog.accept();
    }
    if (auto* const question = qobject_cast<QInputDialog*>(&dialog); question != nullptr) {
        visit(_place + QStringLiteral("-asks"), dialog);
        question->setTextValue(QString::fromLatin1(kUnknownKey));
        return ++_questions < kMostQuestions ? dialog.accept() : dialog.reject();
    }
    if (dynamic_cast<Cdlg_common*>(&dialog) == nullptr) {
        visit(_place + QStringLiteral("-file"), dialog);
        return dialog.reject();
    }
    if (dialog.parent() == &_main) {
        _place = nameOf(dialog);
        if (!_pages.contains(_place))
            _pages.append(_place);
    }
    showTabs(dialog);
    // An empty new record is refused with a word.
    if (_place.endsWith(QStringLiteral("-add")))
        dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    if (dialog.isVisible())
        dialog.reject();
}

void WindowWalk::showTabs(QDialog& editor)
{
    auto* const tabs = editor.findChild<QTabWidget*>();
    if (tabs == nullptr)
        return visit(_place, editor);
    const int first = tabs->currentIndex();
    visit(_place + QStringLiteral("-%1").arg(first + 1), editor); // as it opens
    for (int at = 0; at < tabs->count(); ++at) {
        if (at == first)
            continue;
        tabs->setCurrentIndex(at);
        visit(_place + QStringLiteral("-%1").arg(at + 1), editor);
    }
    tabs->setCurrentIndex(first);
}
