#include "support/page_fixture.h"

#include "dbproxy2/remote_db.h"
#include "start_up.h"

#include <QAction>
#include <QCheckBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QStandardItemModel>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>

#include <array>
#include <csignal>
#include <sqlite3.h>
#include <sys/resource.h>
#include <utility>

QString item(int id)
{
    QString text = GetLangItem(id);
    EXPECT_FALSE(text.isEmpty()) << "item " << id << " has no text";
    return text;
}

void pressKey(QWidget& widget, int key)
{
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &down);
    QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &up);
}

void PageFixture::SetUp()
{
    ConsoleFixture::SetUp();
    PrepareApplication();
    _store = std::make_unique<Cdb_fac_mgr>(storeOptions());
    ASSERT_TRUE(_store->isOpen());
    const auto keep = [this](std::string_view sql) {
        _statements.append(QString::fromUtf8(sql.data(), static_cast<int>(sql.size())));
    };
    _store->GetCacheDB()->watchStatements(keep);
    _store->GetLocalDB()->watchStatements(keep);
    _store->DbGetRemote()->watchStatements(keep);
}

void PageFixture::TearDown()
{
    _frame.reset();
    _store.reset();
    ConsoleFixture::TearDown();
}

// No file may grow beyond nothing: the system refuses writes as on a full disk.
void PageFixture::refuseWrites()
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

void PageFixture::writeFromOutside(const char* sql, const char* file)
{
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((qgetenv("PARLOVEX_HOME") + '/' + file).constData(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
}

const int& PageFixture::countWrites()
{
    _store->addListener([this](const Cdb_change&) { ++_writes; });
    return _writes;
}

void PageFixture::show(std::unique_ptr<Cfrm_list> frame)
{
    _frame = std::move(frame);
    _frame->show();
}

QTreeView& PageFixture::view() const
{
    return *_frame->findChild<QTreeView*>(QStringLiteral("recordView"));
}

QAbstractItemModel& PageFixture::model() const
{
    return *view().model();
}

QList<QAction*> PageFixture::toolbarActions() const
{
    return _frame->findChild<QToolBar*>()->actions();
}

QAction* PageFixture::actionOf(Button button) const
{
    constexpr std::array<int, 8> kTexts = {66, 68, 67, 0, 355, 356, 311, 373};
    const QString text = GetLangItem(kTexts.at(button)); // the gap's is empty
    for (QAction* const action : toolbarActions()) {
        if (action->text() == text)
            return action;
    }
    throw std::logic_error("no such button: " + text.toStdString());
}

void PageFixture::press(Button button) const
{
    press(actionOf(button));
}

void PageFixture::press(QAction* action) const
{
    auto* const shown = qobject_cast<QToolButton*>(_frame->findChild<QToolBar*>()->widgetForAction(action));
    ASSERT_NE(shown, nullptr);
    ASSERT_TRUE(action->isVisible() && shown->isEnabled()) << action->text().toStdString();
    shown->click();
}

void PageFixture::select(int row) const
{
    ASSERT_LT(row, model().rowCount());
    view().setCurrentIndex(model().index(row, 0));
}

QString PageFixture::cell(int row, int column) const
{
    return model().index(row, column).data().toString();
}

QStringList PageFixture::row(int number) const
{
    QStringList cells;
    for (int column = 0; column < model().columnCount(); ++column)
        cells.append(cell(number, column));
    return cells;
}

QStringList PageFixture::column(int number) const
{
    QStringList texts;
    for (int row = 0; row < model().rowCount(); ++row)
        texts.append(cell(row, number));
    return texts;
}

QStringList PageFixture::takeStatements()
{
    return std::exchange(_statements, {});
}

QLabel& PageFixture::labelOf(QDialog& editor, int labelItem)
{
    return showing<QLabel>(editor, labelItem);
}

QWidget* PageFixture::buddyOf(QDialog& editor, int labelItem)
{
    return labelOf(editor, labelItem).buddy();
}

QCheckBox& PageFixture::check(QDialog& editor, int textItem)
{
    return showing<QCheckBox>(editor, textItem);
}
