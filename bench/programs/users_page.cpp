// Linked with the main() of the console. Shows the page of the local users when the main window has been painted, and
// prints "opened T R" then: it has R rows. From then on "cell7 T N" when the cell of a user agent that was "probe 7"
// has changed: N is the row. T is CLOCK_MONOTONIC in nanoseconds.
#include "frm_local_users.h"
#include "programs/tell.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QStandardItemModel>
#include <QTreeView>

#include <string>

namespace {

constexpr int kAgentColumn = 4;
const QString kMark = QStringLiteral("probe ");

class UsersPage : public QObject {
public:
    UsersPage() { qApp->installEventFilter(this); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* const window = qobject_cast<QMainWindow*>(watched);
        if (event->type() == QEvent::Paint && window != nullptr) {
            qApp->removeEventFilter(this);
            QMetaObject::invokeMethod(
                this, [this, window] { open(*window); }, Qt::QueuedConnection);
        }
        return false;
    }

private:
    void open(const QMainWindow& window)
    {
        auto* const page = window.findChild<Cfrm_local_users*>();
        page->show();
        const QAbstractItemModel* const model = page->findChild<QTreeView*>()->model();
        connect(model, &QAbstractItemModel::dataChanged, this, [](const QModelIndex& cell) {
            const QString text = cell.data().toString();
            if (cell.column() == kAgentColumn && text.startsWith(kMark))
                tell(("cell" + text.mid(kMark.size()).toStdString()).c_str(), now(), cell.row());
        });
        tell("opened", now(), model->rowCount());
    }
};

void startPage()
{
    static UsersPage& page = *new UsersPage; // as long as the process
    (void)page;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startPage)
