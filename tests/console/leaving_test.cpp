// The single instance, and every way out of the program.
#include "bcl2/event_bus.h"
#include "callserver/event_ids.h"
#include "common/lang_res.h"
#include "console/console_program.h"
#include "support/console_fixture.h"
#include "support/sip_client.h"
#include "termination.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

int rounds()
{
    const char* const wanted = getenv("PARLOVEX_LEAVE_ROUNDS");
    return wanted == nullptr ? 10 : std::max(1, atoi(wanted));
}

constexpr unsigned kUsers = 20;

// Registers one user after another, 500 times a second where the machine can, each time as a telephone of another name,
// so that each registration is stored, published and logged.
class BusyTelephone {
public:
    explicit BusyTelephone(uint16_t port) : _thread([this, port](const std::stop_token& stop) { work(stop, port); }) {}
    [[nodiscard]] int registered() const { return _registered; }

private:
    static constexpr int kAnswerMs = 200; // the server may be gone at any moment
    static constexpr std::chrono::milliseconds kPause{2};

    static SipAnswer ask(SipClient& client, const std::string& user, const std::vector<std::string>& headers)
    {
        client.send(client.requestText("REGISTER", user, headers));
        return client.receive(kAnswerMs);
    }
    void work(const std::stop_token& stop, uint16_t port)
    {
        SipClient client("127.0.0.1", port);
        auto next = std::chrono::steady_clock::now();
        for (unsigned i = 0; !stop.stop_requested(); ++i) {
            const std::string user = std::to_string(1000 + i % kUsers);
            const std::string contact = "Contact: <" + client.contact(user) + ">";
            const std::string name = "User-Agent: phone " + std::to_string(i);
            const std::string challenge = ask(client, user, {contact, name}).header("WWW-Authenticate");
            if (!challenge.empty() &&
                ask(client, user, {contact, name, client.authorization(challenge, user, "secret")}).status == 200)
                ++_registered;
            next = std::max(next + kPause, std::chrono::steady_clock::now() - kPause);
            std::this_thread::sleep_until(next);
        }
    }

    std::atomic<int> _registered = 0;
    std::jthread _thread;
};

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

TEST_F(Leaving, ProgramHasRoomForItsFileHandlesUntilThen)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_GE(limit.rlim_max, 1200U);
    limit.rlim_cur = 512;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    keepServerLocal();
    ConsoleProgram program(inHome(QString()));
    program.start();
    ASSERT_TRUE(program.waitUntilItHandlesSignals());
    const QByteArray limits = readFile(QStringLiteral("/proc/%1/limits").arg(program.processId()));
    const QByteArray line = limits.mid(limits.indexOf("Max open files")).split('\n').first();
    EXPECT_EQ(line.simplified().split(' ').value(3), "1200") << line.toStdString();
    program.sendSignal(SIGTERM);
    EXPECT_EQ(program.exitCode(), 0);
}

TEST_F(Leaving, SigtermAtAnyMomentEndsTheProgramWithZero)
{
    keepServerLocal();
    for (int round = 0; round < rounds(); ++round) {
        ConsoleProgram program(inHome(QString()));
        program.start();
        ASSERT_TRUE(program.waitUntilItHandlesSignals()) << round;
        QThread::msleep(static_cast<unsigned long>(round % 10) * 33); // the moments of start-up, one after another
        program.sendSignal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0) << round << program.output().toStdString();
    }
}

TEST_F(Leaving, SigtermWhileTelephonesRegisterEndsTheProgramWithZero)
{
    const uint16_t port = keepServerLocal(kUsers);
    const BusyTelephone telephone(port);
    for (int round = 0; round < rounds(); ++round) {
        ConsoleProgram program(inHome(QString()));
        program.start();
        const int before = telephone.registered();
        const int wanted = before + 1 + round % 10 * 15; // the moments of three tenths of a second
        ASSERT_TRUE(waitUntil([&] { return telephone.registered() >= wanted; })) << round;
        program.sendSignal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0) << round << program.output().toStdString();
    }
}

TEST_F(Leaving, ExitItemWhileTelephonesRegisterEndsTheProgramWithZero)
{
    const uint16_t port = keepServerLocal(kUsers);
    const BusyTelephone telephone(port);
    for (int round = 0; round < rounds(); ++round) {
        ConsoleProgram program(inHome(QString()), QStringLiteral(PARLOVEX_PRESSED_PROGRAM));
        const int line = 2 + round % 10 * 15;
        program.setVariable(QStringLiteral("PARLOVEX_EXIT_AT_LINE"), QString::number(line));
        program.start();
        EXPECT_EQ(program.exitCode(), 0) << round << program.output().toStdString();
    }
    EXPECT_GE(telephone.registered(), rounds());
}

TEST_F(Leaving, ExitItemWhileTelephonesRegisterEndsThisProcessCleanly)
{
    const uint16_t port = keepServerLocal(kUsers);
    // Goes on until the process is gone.
    static const BusyTelephone& telephone = *new BusyTelephone(port);
    buildWindow().show();
    ASSERT_TRUE(waitUntil([] { return telephone.registered() > 0; }));
    callLater(qApp, 0, [this] { pressMenu({QStringLiteral("&File"), QStringLiteral("E&xit")}); });
    EXPECT_EQ(runEventLoop(), 0);
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
