// Start-up on a damaged or unusable surrounding: the console comes up and says what is wrong.
#include "common/lang_res.h"
#include "console/console_program.h"
#include "support/console_fixture.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMenuBar>
#include <QTextEdit>

#include <csignal>
#include <sched.h>

namespace {

class BadStart : public ConsoleFixture {
protected:
    // Without a record that says otherwise the server listens on every address of the machine: these tests get one that
    // has none, where they may. What is started from here on lies in it.
    BadStart() { (void)unshare(CLONE_NEWNET); }

    // Shows the window on what lies in the home now and waits for the lines that name `what`.
    QStringList linesAbout(const QString& what)
    {
        if (!window)
            buildWindow().show();
        EXPECT_TRUE(window->isVisible());
        EXPECT_NE(window->GetApp(), nullptr);
        waitUntil([&] { return !logTexts().filter(what).isEmpty(); });
        return logTexts().filter(what);
    }
    // The real program starts and ends on such a home as on a good one.
    static void expectProgramRuns(const QString& home)
    {
        ConsoleProgram program(home);
        program.start();
        ASSERT_TRUE(program.waitUntilItHandlesSignals()) << program.output().toStdString();
        program.sendSignal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0) << program.output().toStdString();
    }
};

TEST_F(BadStart, DamagedStoreIsNamedAndKept)
{
    const QByteArray garbage = QByteArray("this is no database ").repeated(1000);
    writeFile(inHome(QStringLiteral("config.db")), garbage);
    const QStringList lines = linesAbout(QStringLiteral("config.db"));
    EXPECT_EQ(lines.size(), 1) << lines.join('\n').toStdString();

    bool isKept = false;
    const QDir home(inHome(QString()));
    for (const QString& name : home.entryList(QDir::Files))
        isKept = isKept || readFile(home.filePath(name)) == garbage;
    EXPECT_TRUE(isKept) << "the damaged file must not be lost";
}

TEST_F(BadStart, ProgramRunsOnADamagedStore)
{
    writeFile(inHome(QStringLiteral("config.db")), QByteArray("this is no database ").repeated(1000));
    expectProgramRuns(inHome(QString()));
}

TEST_F(BadStart, UnusableDataFolderIsNamed)
{
    const QString file = inHome(QStringLiteral("no_folder"));
    writeFile(file, "a file");
    qputenv("PARLOVEX_HOME", file.toUtf8());
    EXPECT_FALSE(linesAbout(QStringLiteral("no_folder")).isEmpty());
    EXPECT_EQ(readFile(file), QByteArray("a file"));
}

TEST_F(BadStart, ProgramRunsOnAnUnusableDataFolder)
{
    const QString file = inHome(QStringLiteral("no_folder"));
    writeFile(file, "a file");
    expectProgramRuns(file);
}

TEST_F(BadStart, SwitchFileOfGarbageIsNamedAndLeftAlone)
{
    constexpr char kGarbage[] = "\0\xff\xfe garbage\n=\n[[[";
    const QByteArray garbage(kGarbage, sizeof kGarbage - 1);
    writeFile(inHome(QStringLiteral("switch.ini")), garbage);
    keepServerLocal();
    EXPECT_EQ(linesAbout(QStringLiteral("switch.ini")).size(), 1);
    EXPECT_EQ(readFile(inHome(QStringLiteral("switch.ini"))), garbage);
    EXPECT_EQ(GetLangItem(1, QString()), QStringLiteral("&File"));
    expectProgramRuns(inHome(QString()));
}

TEST_F(BadStart, MissingLanguageFileGivesBlankMenusAndNoLine)
{
    writeSwitches("gVarGuiLang=0\n");
    ASSERT_TRUE(QFile::remove(inRunFolder(QStringLiteral("res.english"))));
    startConsole();
    window->displayLog("the end of this test");
    ASSERT_TRUE(waitUntil([this] { return logTexts().contains(QStringLiteral("the end of this test")); }));
    EXPECT_TRUE(logTexts().filter(QStringLiteral("res.")).isEmpty()) << logView().toPlainText().toStdString();
    const QList<QAction*> menus = window->menuBar()->actions();
    EXPECT_EQ(menus.size(), 7);
    for (const QAction* const menu : menus) {
        EXPECT_EQ(menu->text(), QString());
        EXPECT_FALSE(menu->menu()->actions().isEmpty());
    }
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Parlovex V50 build 20240502"));
}

} // namespace
