#include "support/console_fixture.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/app.h"
#include "log_view.h"
#include "start_up.h"
#include "support/free_port.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QTextEdit>

void ConsoleFixture::SetUp()
{
    ASSERT_TRUE(_home.isValid() && _runFolder.isValid());
    qputenv("PARLOVEX_HOME", _home.path().toUtf8());
    const QDir languages(QStringLiteral(PARLOVEX_LANG_DIR));
    for (const QString& name : languages.entryList({QStringLiteral("res.*")}, QDir::Files))
        ASSERT_TRUE(QFile::copy(languages.filePath(name), inRunFolder(name)));
    _oldFolder = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(_runFolder.path()));
}

void ConsoleFixture::TearDown()
{
    // As the program ends: the server falls silent before the window that its events reach is destroyed.
    if (window)
        CloseServer();
    window.reset();
    QDir::setCurrent(_oldFolder);
}

QString ConsoleFixture::inHome(const QString& name) const
{
    return _home.filePath(name);
}

QString ConsoleFixture::inRunFolder(const QString& name) const
{
    return _runFolder.filePath(name);
}

void ConsoleFixture::writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(content), content.size());
}

QByteArray ConsoleFixture::readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void ConsoleFixture::writeSwitches(const QByteArray& lines) const
{
    writeFile(inHome(QStringLiteral("switch.ini")), "[switch]\n" + lines);
}

uint16_t ConsoleFixture::keepServerLocal(unsigned users)
{
    Cdb_fac_mgr store;
    Cdb_sys_data record;
    BclCopyStr(record.localAddr, "127.0.0.1");
    const uint16_t port = freeUdpPort();
    record.udpPort = port;
    record.tcpPort = record.tlsPort = 0;
    EXPECT_EQ(store.DbSetSysData(record), kDbOk);
    if (users > 0) {
        EXPECT_EQ(store.DbAddUserMany(1000, users, "secret"), kDbOk);
    }
    return port;
}

Cfrm_main& ConsoleFixture::buildWindow(const std::function<std::unique_ptr<Cfrm_main>()>& make)
{
    PrepareApplication();
    window = make ? make() : std::make_unique<Cfrm_main>(nullptr);
    return *window;
}

Cfrm_main& ConsoleFixture::startConsole()
{
    keepServerLocal();
    buildWindow().show();
    return *window;
}

bool ConsoleFixture::waitUntil(const std::function<bool()>& condition)
{
    constexpr int kSliceMs = 5;
    QElapsedTimer waited;
    waited.start();
    while (!condition()) {
        if (waited.elapsed() > kPatienceMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, kSliceMs);
    }
    return true;
}

void ConsoleFixture::waitForServer(uint16_t port) const
{
    const QString line = QStringLiteral("SIP over UDP is ready on 127.0.0.1:%1.").arg(port);
    ASSERT_TRUE(waitUntil([&] { return logTexts().contains(line); })) << logTexts().join('\n').toStdString();
}

QTextEdit& ConsoleFixture::logView() const
{
    return *window->findChild<QTextEdit*>();
}

QStringList ConsoleFixture::logTexts() const
{
    window->findChild<Clog_view*>()->showWaiting();
    QStringList texts = logView().toPlainText().split(QLatin1Char('\n'));
    for (QString& line : texts)
        line = line.section(QStringLiteral(" | "), 1);
    return texts;
}

int ConsoleFixture::logLines() const
{
    const int lines = logTexts().size();
    return logView().toPlainText().isEmpty() ? 0 : lines;
}

QAction* ConsoleFixture::menuAction(const QStringList& path) const
{
    QList<QAction*> level = window->menuBar()->actions();
    QAction* found = nullptr;
    for (const QString& text : path) {
        found = nullptr;
        for (QAction* const action : level) {
            if (action->text() == text)
                found = action;
        }
        if (found == nullptr)
            return nullptr;
        level = found->menu() == nullptr ? QList<QAction*>() : found->menu()->actions();
    }
    return found;
}

void ConsoleFixture::pressMenu(const QStringList& path) const
{
    QAction* const action = menuAction(path);
    ASSERT_NE(action, nullptr) << path.join(QStringLiteral(" > ")).toStdString();
    ASSERT_TRUE(action->isEnabled() && action->isVisible());
    action->trigger();
}
