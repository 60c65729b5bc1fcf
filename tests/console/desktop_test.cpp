// What only a desktop with a window manager and a tray can show.
#include "console/console_program.h"
#include "console/virtual_desktop.h"
#include "support/console_fixture.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QLabel>
#include <QProcess>
#include <QScreen>

#include <csignal>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

const QString kCaption = QStringLiteral("Parlovex V50 build 20240502");

class Desktop : public ConsoleFixture {
protected:
    // A visible top-level widget of this class, as the toolkit's own tray code makes them.
    static QWidget* topLevel(const char* className)
    {
        for (QWidget* const widget : QApplication::topLevelWidgets()) {
            if (widget->isVisible() && widget->inherits(className))
                return widget;
        }
        return nullptr;
    }
    static QWidget* waitForTopLevel(const char* className)
    {
        waitUntil([&] { return topLevel(className) != nullptr; });
        return topLevel(className);
    }
    // Runs a tool against the display; its output, trimmed.
    static QByteArray run(const QString& program, const QStringList& arguments)
    {
        QProcess process;
        process.start(program, arguments);
        process.waitForFinished(kPatienceMs);
        return process.readAllStandardOutput().trimmed();
    }
    static void clickAt(const QPoint& place, int times)
    {
        run(QStringLiteral("xdotool"),
            {QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y()),
             QStringLiteral("click"), QStringLiteral("--repeat"), QString::number(times), QStringLiteral("--delay"),
             QStringLiteral("20"), QStringLiteral("1")});
    }
    static QByteArray windowsNamed(const QString& caption)
    {
        return run(QStringLiteral("xdotool"),
                   {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"), caption});
    }
    // Starts the program on this desktop and presses its window's close key; the window.
    static QString startAndClose(ConsoleProgram& program)
    {
        program.setPlatform(QStringLiteral("xcb"));
        program.start();
        EXPECT_TRUE(waitUntil([] { return !windowsNamed(kCaption).isEmpty(); })) << program.output().toStdString();
        QString id = QString::fromLatin1(windowsNamed(kCaption));
        run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QStringLiteral("--sync"), id});
        run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("alt+F4")});
        return id;
    }
};

TEST_F(Desktop, WindowTakesHalfOfTheScreenRoundedAndIsCentredTruncated)
{
    buildWindow();
    EXPECT_EQ(window->size(), QSize(642, 402)) << "1283 and 803 halved, .5 away from zero";
    // Width 1283 - 642 = 641; height less the margin 779 - 402 = 377: both halves lose .5; no offset for the margin.
    EXPECT_EQ(window->pos(), QPoint(320, 188));
}

TEST_F(Desktop, CloseHidesIntoTheTrayAndShowsTheBalloonForTenSeconds)
{
    startConsole();
    ASSERT_NE(waitForTopLevel("QSystemTrayIconSys"), nullptr);
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->isHidden());

    QWidget* const balloon = waitForTopLevel("QBalloonTip");
    ASSERT_NE(balloon, nullptr);
    QStringList texts;
    for (const QLabel* const label : balloon->findChildren<QLabel*>())
        texts.append(label->text());
    EXPECT_TRUE(texts.contains(QStringLiteral("Parlovex is here"))) << texts.join('|').toStdString();
    EXPECT_TRUE(texts.contains(QStringLiteral("Double click this icon to restore main window")));
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(balloon);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.first().interval, 10000);
}

TEST_F(Desktop, DoubleClickOnTheTrayIconRestoresTheWindow)
{
    startConsole();
    const auto* const icon = window->findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    QList<QSystemTrayIcon::ActivationReason> reasons;
    QObject::connect(icon, &QSystemTrayIcon::activated,
                     [&reasons](QSystemTrayIcon::ActivationReason reason) { reasons.append(reason); });
    ASSERT_TRUE(waitUntil([&] { return !icon->geometry().isEmpty() && topLevel("QSystemTrayIconSys") != nullptr; }));
    window->close();

    // Until the icon has found its place in the tray, clicks fall beside it; two that follow too soon are a double
    // click.
    ASSERT_TRUE(waitUntil([&] {
        clickAt(icon->geometry().center(), 1);
        QElapsedTimer sinceClick;
        sinceClick.start();
        while (reasons.isEmpty() && sinceClick.elapsed() < qint64{2} * QApplication::doubleClickInterval())
            QCoreApplication::processEvents();
        return reasons.contains(QSystemTrayIcon::Trigger);
    }));
    EXPECT_TRUE(window->isHidden()) << "a single click does nothing";

    clickAt(icon->geometry().center(), 2);
    ASSERT_TRUE(waitUntil([this] { return window->isVisible(); }));
    EXPECT_TRUE(reasons.contains(QSystemTrayIcon::DoubleClick));
    EXPECT_FALSE(window->isMinimized() || window->isMaximized());
}

TEST_F(Desktop, ProgramShowsOneWindowAndEndsByItsExitItem)
{
    keepServerLocal();
    ConsoleProgram program(inHome(QString()));
    program.setPlatform(QStringLiteral("xcb"));
    program.start();
    ASSERT_TRUE(waitUntil([] { return !windowsNamed(kCaption).isEmpty(); })) << program.output().toStdString();

    ConsoleProgram second(inHome(QString()));
    second.setPlatform(QStringLiteral("xcb"));
    second.start();
    EXPECT_EQ(second.exitCode(), 0);
    const QByteArray windows = windowsNamed(kCaption);
    EXPECT_EQ(windows.split('\n').size(), 1) << windows.toStdString();

    const QString id = QString::fromLatin1(windows);
    run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QStringLiteral("--sync"), id});
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("alt+f"), QStringLiteral("x")});
    EXPECT_EQ(program.exitCode(), 0) << program.output().toStdString();
}

TEST_F(Desktop, CloseButtonLeavesTheProgramRunningOutOfSight)
{
    keepServerLocal();
    ConsoleProgram program(inHome(QString()));
    startAndClose(program);
    EXPECT_TRUE(waitUntil([] { return windowsNamed(kCaption).isEmpty(); }));
    EXPECT_TRUE(program.isRunning());
    program.sendSignal(SIGTERM);
    EXPECT_EQ(program.exitCode(), 0) << program.output().toStdString();
}

TEST_F(Desktop, CloseButtonMinimisesTheProgramThatHasNoTrayIcon)
{
    writeSwitches("gVarGuiHideSysTrayIcon=1\n");
    keepServerLocal();
    ConsoleProgram program(inHome(QString()));
    const QString id = startAndClose(program);
    EXPECT_TRUE(waitUntil([&id] {
        return run(QStringLiteral("xprop"), {QStringLiteral("-id"), id, QStringLiteral("WM_STATE")}).contains("Iconic");
    }));
    EXPECT_TRUE(program.isRunning());
    program.sendSignal(SIGTERM);
    EXPECT_EQ(program.exitCode(), 0) << program.output().toStdString();
}

// One display with a screen of each width; a program that is started on one of them sees that one first.
TEST_F(Desktop, AnEditorIsAsWideAsItsDesktopTells)
{
    const std::vector<std::pair<int, int>> widths = {{1399, 839}, {1400, 560}, {2047, 818}, {2048, 614}};
    constexpr int kFirstNumber =
        50100; // apart from the numbers of the tests' own desktops, with a place among the ports
    constexpr int kNumbers = 9000;
    const QString display = QLatin1Char(':') + QString::number(kFirstNumber + getpid() % kNumbers);
    QStringList arguments = {display,
                             QStringLiteral("-displayfd"),
                             QStringLiteral("1"),
                             QStringLiteral("-nolisten"),
                             QStringLiteral("tcp"),
                             QStringLiteral("-noreset")};
    for (size_t screen = 0; screen < widths.size(); ++screen)
        arguments += {QStringLiteral("-screen"), QString::number(screen),
                      QString::number(widths[screen].first) + QStringLiteral("x900x24")};
    QProcess server;
    server.start(QStringLiteral("Xvfb"), arguments);
    ASSERT_TRUE(server.waitForReadyRead(kPatienceMs)) << server.readAllStandardError().toStdString();
    const QByteArray ownDisplay = qgetenv("DISPLAY");
    for (size_t screen = 0; screen < widths.size(); ++screen) {
        qputenv("DISPLAY", (display + QLatin1Char('.') + QString::number(screen)).toLatin1());
        EXPECT_EQ(run(QStringLiteral(PARLOVEX_EDITOR_WIDTH), {}).toInt(), widths[screen].second)
            << widths[screen].first;
    }
    qputenv("DISPLAY", ownDisplay);
    server.terminate();
    EXPECT_TRUE(server.waitForFinished(kPatienceMs));
}

} // namespace
