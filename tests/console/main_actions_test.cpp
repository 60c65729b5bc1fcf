// What the items of the File, Maintenance, Windows and Help menus do.
#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "cachedb2/switch_variants.h"
#include "callserver/app.h"
#include "callserver/event_ids.h"
#include "common/lang_res.h"
#include "support/console_fixture.h"
#include "support/help_spy.h"
#include "support/http_server.h"

#include <QAction>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <csignal>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

namespace {

// As a server thread does it.
void publishElsewhere(const char* text)
{
    std::thread([=] { BclPubEvent(kEvtLog, text, nullptr); }).join();
}

class MainActions : public ConsoleFixture {
protected:
    void press(int menu, int item) const { pressMenu({GetLangItem(menu), GetLangItem(item)}); }
    // Answers the box that asks where to save; a null name cancels it. The line comes at the last moment.
    void expectSaveBox(const QString& name, const char* lateLine = nullptr)
    {
        boxes.expectEditor(QStringLiteral("Save log text file"), [=](QDialog& dialog) {
            auto& box = dynamic_cast<QFileDialog&>(dialog);
            EXPECT_EQ(box.nameFilters(), QStringList("PLX log file (*.txt)"));
            EXPECT_EQ(box.acceptMode(), QFileDialog::AcceptSave);
            EXPECT_EQ(box.directory(), QDir("."));
            if (name.isNull())
                return dialog.reject();
            box.findChild<QLineEdit*>()->setText(name);
            if (lateLine != nullptr)
                publishElsewhere(lateLine);
            dialog.accept();
        });
    }
    // What `act` puts into the log, whoever writes it.
    QStringList linesOf(const std::function<void()>& act, const QString& last)
    {
        const int before = logLines();
        act();
        EXPECT_TRUE(waitUntil([&] { return logTexts().mid(before).contains(last); }))
            << logTexts().mid(before).join('\n').toStdString();
        return logTexts().mid(before);
    }
    void expectLine(const std::function<void()>& act, const QString& line)
    {
        EXPECT_EQ(linesOf(act, line).last(), line);
    }
    // Looks for a new version at this address and gives the lines that tell of it.
    QStringList checkVersionAt(const std::string& url)
    {
        BclCopyStr(gVarGuiVersionUrl, url.c_str());
        const int before = logLines();
        press(50, 449);
        return logTexts().mid(before);
    }
    QStringList checkVersionOf(const std::string& reply)
    {
        const HttpServer server([reply](const std::string&) { return HttpServer::answer("200 OK", reply); });
        return checkVersionAt(server.url("/version.txt"));
    }
};

const QString kChecking = "Checking version online ...";
const QString kNoUpdates = "There are no new updates available.";
const QString kVisit = "Please visit 'https://www.parlovex.test/download/' to get the latest version.";

TEST_F(MainActions, SavingWritesTheVisibleTextAndTheLinesThatStillWait)
{
    buildWindow();
    for (const char* const line : {"Grüße für 王小明", "a\tb", "third"})
        window->displayLog(line);
    expectSaveBox(inRunFolder("log.txt"), "at the last moment");
    press(1, 14);
    const QByteArray saved = readFile(inRunFolder("log.txt"));
    EXPECT_EQ(QString::fromUtf8(saved), logView().toPlainText());
    EXPECT_EQ(saved.count('\n'), 3);
    EXPECT_EQ(saved.count('\r'), 0);
    EXPECT_TRUE(saved.contains(" | Grüße für 王小明\n"));
    EXPECT_TRUE(saved.endsWith(" | at the last moment"));
}

TEST_F(MainActions, SavingReplacesAFileAndAddsNoExtension)
{
    writeFile(inRunFolder("mylog"), QByteArray(1000, 'x'));
    buildWindow();
    window->displayLog("one");
    boxes.expectEditor(QStringLiteral("Save log text file"), [this](QDialog& dialog) {
        dialog.findChild<QLineEdit*>()->setText(inRunFolder("mylog"));
        boxes.expectEditor(QStringLiteral("Save log text file"), [](QDialog& question) {
            // the toolkit's own question
            question.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Yes)->click();
        });
        dialog.accept();
    });
    press(1, 14);
    EXPECT_EQ(QString::fromUtf8(readFile(inRunFolder("mylog"))), logView().toPlainText());
    EXPECT_FALSE(QFile::exists(inRunFolder("mylog.txt")));
}

TEST_F(MainActions, SavingEndsSilentlyWhenItIsCancelledOrTheFileCannotBeWritten)
{
    buildWindow();
    window->displayLog("one");
    const QStringList files = QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    expectSaveBox(QString());
    press(1, 14);
    expectSaveBox("/proc/no such folder/log.txt");
    press(1, 14);
    EXPECT_EQ(QDir().entryList(QDir::AllEntries | QDir::NoDotAndDotDot), files);
    EXPECT_EQ(logTexts(), QStringList("one"));
}

TEST_F(MainActions, ClearingEmptiesTheViewAndForgetsTheLinesThatStillWait)
{
    buildWindow();
    window->displayLog("one");
    window->displayLog("two");
    publishElsewhere("published before");
    press(1, 269);
    QCoreApplication::processEvents();
    EXPECT_EQ(logTexts(), QStringList(""));
    publishElsewhere("published after");
    QCoreApplication::processEvents();
    EXPECT_EQ(logTexts(), QStringList("published after"));
}

TEST_F(MainActions, TheKeysOfTheFileMenuWorkInTheLogView)
{
    startConsole();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get(), kPatienceMs));
    ASSERT_TRUE(logView().hasFocus());
    window->displayLog("one");
    ASSERT_TRUE(logTexts().contains("one"));
    QTest::keyClick(&logView(), Qt::Key_Delete);
    EXPECT_FALSE(logTexts().contains("one"));
    expectSaveBox(QString());
    QTest::keyClick(&logView(), Qt::Key_S, Qt::ControlModifier);
}

TEST_F(MainActions, TracesAskForTheirTargetAndHandItToTheServer)
{
    startConsole();
    boxes.expectInput("Set IP address", "Please input IP address to be traced:", "", "192.0.2.1");
    expectLine([this] { press(36, 270); }, "Trace on: SIP messages to and from 192.0.2.1.");
    boxes.expectInput("Set caller number", "Please input caller number to be traced:", "", "10");
    expectLine([this] { press(36, 296); }, "Trace on: calls whose caller number begins with 10.");
    boxes.expectInput("Set called number", "Please input called number to be traced:", "", "0049");
    expectLine([this] { press(36, 297); }, "Trace on: calls whose called number begins with 0049.");
    expectLine([this] { press(36, 46); }, "Trace off: calls whose called number begins with 0049.");
}

TEST_F(MainActions, TheServerDecidesWhatAnAddressIs)
{
    startConsole();
    boxes.expectInput("Set IP address", "Please input IP address to be traced:", "", "not an address");
    expectLine([this] { press(36, 270); }, "No trace was set: \"not an address\" is not an IP address.");
}

TEST_F(MainActions, ATraceOfBlanksIsHandedOnAndAnEmptyOneIsNot)
{
    startConsole();
    boxes.expectInput("Set caller number", "Please input caller number to be traced:", "", " ");
    expectLine([this] { press(36, 296); }, "No trace was set: the caller number is blank.");
    const int before = logTexts().filter("race").size();
    for (const bool isCancelled : {false, true}) {
        for (const auto& [item, name] :
             {std::pair(270, "IP address"), {296, "caller number"}, {297, "called number"}}) {
            const QString title = QString("Set ") + name;
            const QString prompt = QString("Please input %1 to be traced:").arg(name);
            isCancelled ? boxes.expectInputToCancel(title, prompt, "") : boxes.expectInput(title, prompt, "", "");
            press(36, item);
        }
    }
    expectLine([this] { press(36, 46); }, "No trace was on.");
    EXPECT_EQ(logTexts().filter("race").size(), before + 1);
}

TEST_F(MainActions, TheServerReportsItsStatusToTheLog)
{
    startConsole();
    expectLine([this] { press(36, 271); }, "Call status: no call is in progress, 0 users are registered.");
    Cdb_hunting_group_cfg_data group;
    group.groupID = 5;
    BclCopyStr(group.name, "Sales");
    ASSERT_EQ(window->GetApp()->GetFacMgr()->DbAddHuntingGroup(group), kDbOk);
    EXPECT_TRUE(
        linesOf([this] { press(36, 286); }, "Hunting group 5 Sales: 0 operators.").contains("Hunting groups: 1."));
}

TEST_F(MainActions, ReleasingAllCallsIsTheServersBusiness)
{
    startConsole();
    static std::atomic<int> published = 0;
    static std::atomic<bool> hasData = false;
    BclSubEvent(kEvtReleaseCalls, nullptr, [](void*, void* data1, void* data2) {
        ++published;
        hasData = data1 != nullptr || data2 != nullptr;
    });
    expectLine(
        [this] {
            pressMenu({GetLangItem(36), GetLangItem(456), GetLangItem(385)});
        },
        "Release of all calls: no call is in progress.");
    EXPECT_EQ(published, 1);
    EXPECT_FALSE(hasData);
}

TEST_F(MainActions, TheHistoryViewerIsStartedAnewOnEveryUse)
{
    writeFile(inRunFolder("histrec"), "#!/bin/sh\necho $# > started.$$\nexec sleep 1000\n");
    QFile::setPermissions(inRunFolder("histrec"), QFile::ReadOwner | QFile::ExeOwner);
    buildWindow();
    press(47, 49);
    press(47, 49);
    const QList<QProcess*> viewers = window->findChildren<QProcess*>();
    ASSERT_EQ(viewers.size(), 2);
    for (QProcess* const viewer : viewers) {
        EXPECT_EQ(viewer->program(), inRunFolder("histrec"));
        ASSERT_TRUE(viewer->waitForStarted(kPatienceMs));
        const QString note = inRunFolder(QString("started.%1").arg(viewer->processId()));
        EXPECT_TRUE(waitUntil([&] { return readFile(note) == "0\n"; })) << "without arguments";
    }
    for (QProcess* const viewer : viewers)
        viewer->kill();
    EXPECT_TRUE(waitUntil([this] { return window->findChildren<QProcess*>().isEmpty(); })) << "none is kept for ever";
}

TEST_F(MainActions, AHistoryViewerGoesOnWhenTheProgramEnds)
{
    writeFile(inRunFolder("histrec"), "#!/bin/sh\nexec sleep 1000\n");
    QFile::setPermissions(inRunFolder("histrec"), QFile::ReadOwner | QFile::ExeOwner);
    buildWindow();
    press(47, 49);
    const auto viewers = window->findChildren<QProcess*>();
    ASSERT_EQ(viewers.size(), 1);
    QProcess* const viewer = viewers.front();
    ASSERT_TRUE(viewer->waitForStarted(kPatienceMs));
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    (void)QCoreApplication::exec();
    window.reset();
    EXPECT_EQ(::kill(static_cast<pid_t>(viewer->processId()), 0), 0) << "the process is there";
    viewer->kill();
    EXPECT_TRUE(viewer->waitForFinished(kPatienceMs));
    delete viewer;
}

TEST_F(MainActions, AMissingHistoryViewerFailsSilently)
{
    buildWindow();
    press(47, 49);
    EXPECT_TRUE(waitUntil([this] { return window->findChildren<QProcess*>().isEmpty(); }));
    EXPECT_EQ(logTexts(), QStringList(""));
}

TEST_F(MainActions, AVersionThatIsNotNewerIsNoUpdate)
{
    buildWindow();
    for (const char* const reply : {"20240502", "20240502\n", "20231231", "0", "", "soon", "20240503 or so", "-1"})
        EXPECT_EQ(checkVersionOf(reply), (QStringList{kChecking, kNoUpdates})) << reply;
}

TEST_F(MainActions, ANewerVersionIsNamedWithItsPage)
{
    buildWindow();
    for (const char* const reply : {"20240503", "20240503\r\n", "20991231"})
        EXPECT_EQ(checkVersionOf(reply), (QStringList{kChecking, kVisit})) << reply;
}

TEST_F(MainActions, AVersionCheckThatFailsSaysNothingMore)
{
    buildWindow();
    const HttpServer server([](const std::string&) { return HttpServer::answer("404 Not Found", "20240503"); });
    EXPECT_EQ(checkVersionAt(server.url()), QStringList(kChecking));
    EXPECT_EQ(checkVersionAt("http://127.0.0.1:1/"), QStringList(kChecking));
}

TEST_F(MainActions, AVersionCheckOfASilentServerEnds)
{
    buildWindow();
    const HttpServer server([](const std::string&) { return std::string(); });
    EXPECT_EQ(checkVersionAt(server.url()), QStringList(kChecking));
}

TEST_F(MainActions, TheWebsiteFollowsTheLanguage)
{
    buildWindow();
    HelpSpy browser;
    for (const int language : {0, 1, 6}) {
        gVarGuiLang = language;
        press(50, 51);
    }
    EXPECT_EQ(browser.takeOpened(), (QStringList{"https://www.parlovex.test/", "https://www.parlovex.test/cn/",
                                                 "https://www.parlovex.test/"}));
}

} // namespace
