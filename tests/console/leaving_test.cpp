// The single instance, and every way out of the program.
#include "bcl2/event_bus.h"
#include "callserver/event_ids.h"
#include "common/lang_res.h"
#include "console/console_program.h"
#include "support/console_fixture.h"
#include "termination.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace {

class Leaving : public ConsoleFixture {
protected:
    static constexpr int kStuck = 99; // the loop's code when nothing but the test's patience ended it

    static int runEventLoop()
    {
        callLater(qApp, kPatienceMs, [] { QCoreApplication::exit(kStuck); });
        return QApplication::exec();
    }
};

TEST_F(Leaving, SecondInstanceReturnsZeroBeforeItTouchesTheDesktop)
{
    keepServerLocal();
    ConsoleProgram first(inHome(QString()));
    first.start();
    ASSERT_TRUE(first.waitUntilItHandlesSignals());

    // Building the application object on this platform would abort the program.
    ConsoleProgram second(inHome(QString()));
    second.setPlatform(QStringLiteral("no such platform"));
    second.start();
    EXPECT_EQ(second.exitCode(), 0);
    EXPECT_EQ(second.output(), QByteArray());

    EXPECT_TRUE(first.isRunning());
    first.sendSignal(SIGTERM);
    EXPECT_EQ(first.exitCode(), 0);
}

TEST_F(Leaving, AnotherDataFolderIsAnotherInstance)
{
    keepServerLocal();
    ConsoleProgram first(inHome(QString()));
    first.start();
    ASSERT_TRUE(first.waitUntilItHandlesSignals());

    qputenv("PARLOVEX_HOME", inHome(QStringLiteral("other")).toUtf8());
    keepServerLocal();
    ConsoleProgram second(inHome(QStringLiteral("other")));
    second.start();
    EXPECT_TRUE(second.waitUntilItHandlesSignals());
    for (ConsoleProgram* const program : {&first, &second}) {
        program->sendSignal(SIGINT);
        EXPECT_EQ(program->exitCode(), 0);
    }
}

TEST_F(Leaving, SigtermAtAnyMomentEndsTheProgramWithZero)
{
    keepServerLocal();
    for (int round = 0; round < 10; ++round) {
        ConsoleProgram program(inHome(QString()));
        program.start();
        ASSERT_TRUE(program.waitUntilItHandlesSignals()) << round;
        QThread::msleep(static_cast<unsigned long>(round) * 33); // the moments of start-up, one after another
        program.sendSignal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0) << round << program.output().toStdString();
    }
}

TEST_F(Leaving, ExitItemEndsTheEventLoopWithZero)
{
    startConsole();
    callLater(qApp, 0, [this] { pressMenu({QStringLiteral("&File"), QStringLiteral("E&xit")}); });
    EXPECT_EQ(runEventLoop(), 0);
}

TEST_F(Leaving, SigtermEndsTheEventLoop)
{
    QuitOnTermination();
    startConsole();
    callLater(qApp, 0, [] { kill(getpid(), SIGTERM); });
    EXPECT_EQ(runEventLoop(), 0);
}

TEST_F(Leaving, ASignalFromBeforeTheEventLoopIsNotForgotten)
{
    static std::atomic<bool> isPublished = false;
    BclSubEvent(kEvtTerminate, nullptr, [](void*, void*, void*) { isPublished = true; });
    kill(getpid(), SIGINT);
    ASSERT_TRUE(waitUntil([] { return isPublished.load(); }));
    QuitOnTermination();
    startConsole();
    EXPECT_EQ(runEventLoop(), 0);
}

TEST_F(Leaving, SigtermEndsTheProgramUnderAnOpenBox)
{
    QuitOnTermination();
    startConsole();
    bool isBoxClosed = false;
    boxes.expect(GetLangItem(71, QString()), GetLangItem(13, QString()), [](QMessageBox&) { kill(getpid(), SIGTERM); });
    callLater(qApp, 0, [&] {
        pressMenu({QStringLiteral("&File"), QStringLiteral("&Language"), QStringLiteral("中文 (Chinese)")});
        isBoxClosed = true;
    });
    EXPECT_EQ(runEventLoop(), 0);
    EXPECT_TRUE(isBoxClosed);
}

} // namespace
