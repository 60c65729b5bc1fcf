// What `cmake --install` puts into place, started as a desktop starts it.
#include "support/console_fixture.h"
#include "support/sip_client.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include <csignal>

namespace {

constexpr int kOk = 200;

class Installed : public ConsoleFixture {
protected:
    void SetUp() override
    {
        ConsoleFixture::SetUp();
        // The folder that the program takes for itself: nothing is said to it.
        qputenv("PARLOVEX_HOME", dataFolder().toUtf8());
        expectSuccess(QStringLiteral(CMAKE_PROGRAM), {QStringLiteral("--install"), QStringLiteral(BUILD_FOLDER),
                                                      QStringLiteral("--prefix"), prefix()});
    }
    void TearDown() override
    {
        for (const int process : programs())
            ::kill(process, SIGKILL);
        ConsoleFixture::TearDown();
    }

    [[nodiscard]] QString prefix() const { return inHome(QStringLiteral("a prefix")); }
    [[nodiscard]] QString dataFolder() const { return inHome(QStringLiteral("data/parlovex")); }
    [[nodiscard]] QString entry() const { return prefix() + QStringLiteral("/share/applications/parlovex.desktop"); }
    // The value of a key of the menu entry.
    [[nodiscard]] QString valueOf(const QString& key) const
    {
        const QString text = QString::fromUtf8(readFile(entry()));
        return QRegularExpression(QStringLiteral("^%1=(.*)$").arg(key), QRegularExpression::MultilineOption)
            .match(text)
            .captured(1);
    }

    static void expectSuccess(const QString& tool, const QStringList& arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(tool, arguments);
        EXPECT_TRUE(process.waitForFinished(kPatienceMs)) << tool.toStdString();
        EXPECT_EQ(process.exitCode(), 0) << process.readAll().toStdString();
    }
    // The processes that run the installed program: the desktop that starts one does not wait for it.
    [[nodiscard]] QList<int> programs() const
    {
        QList<int> found;
        for (const QString& name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
            bool isNumber = false;
            const int process = name.toInt(&isNumber);
            if (isNumber && QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(process))
                                .startsWith(prefix() + QLatin1Char('/')))
                found.append(process);
        }
        return found;
    }
    void startFromTheMenu() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("PARLOVEX_HOME"));
        environment.insert(QStringLiteral("XDG_DATA_HOME"), inHome(QStringLiteral("data")));
        // Under sanitizers: leaks of the toolkit would spoil its end.
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           environment.value(QStringLiteral("ASAN_OPTIONS")) + QStringLiteral(":detect_leaks=0"));
        QProcess launch;
        launch.setProcessEnvironment(environment);
        launch.setWorkingDirectory(QStringLiteral("/"));
        launch.setStandardOutputFile(inHome(QStringLiteral("output")));
        launch.setStandardErrorFile(inHome(QStringLiteral("errors")));
        launch.start(QStringLiteral("gio"), {QStringLiteral("launch"), entry()});
        EXPECT_TRUE(launch.waitForFinished(kPatienceMs));
        EXPECT_EQ(launch.exitCode(), 0);
    }
    // The output of a tool about the windows of the display, trimmed.
    static QString askDisplay(const QString& tool, const QStringList& arguments)
    {
        QProcess process;
        process.start(tool, arguments);
        process.waitForFinished(kPatienceMs);
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    }
    static QString mainWindow()
    {
        return askDisplay(QStringLiteral("xdotool"), {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                                      QStringLiteral("--name"), QStringLiteral("^Parlovex V")});
    }
};

TEST_F(Installed, MenuEntryAndDescriptionAreValid)
{
    expectSuccess(QStringLiteral("desktop-file-validate"), {entry()});
    expectSuccess(QStringLiteral("appstreamcli"),
                  {QStringLiteral("validate-tree"), QStringLiteral("--no-net"), prefix()});
}

TEST_F(Installed, MenuEntryNamesAnIconThatIsThere)
{
    const QDir icons(prefix() + QStringLiteral("/share/icons/hicolor"));
    for (const char* const path : {"scalable/apps/%1.svg", "64x64/apps/%1.png", "128x128/apps/%1.png"})
        EXPECT_TRUE(icons.exists(QString::fromLatin1(path).arg(valueOf(QStringLiteral("Icon"))))) << path;
}

TEST_F(Installed, RunsFromTheMenuInTheFolderOfItsFilesAndAnswers)
{
    const uint16_t port = keepServerLocal();
    startFromTheMenu();
    ASSERT_TRUE(waitUntil([] { return !mainWindow().isEmpty(); }))
        << readFile(inHome(QStringLiteral("errors"))).toStdString();

    ASSERT_EQ(programs().size(), 1);
    const QString folder = QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(programs().constFirst()));
    EXPECT_EQ(folder, dataFolder() + QStringLiteral("/desktop"));
    EXPECT_TRUE(QFileInfo(folder).isWritable());
    const QDir languages(QStringLiteral(PARLOVEX_LANG_DIR));
    for (const QString& name : languages.entryList({QStringLiteral("res.*")}, QDir::Files))
        EXPECT_EQ(readFile(folder + QLatin1Char('/') + name), readFile(languages.filePath(name))) << name.toStdString();
    EXPECT_TRUE(QFile::exists(folder + QStringLiteral("/help/index.html")));

    const QString windowClass =
        askDisplay(QStringLiteral("xprop"), {QStringLiteral("-id"), mainWindow(), QStringLiteral("WM_CLASS")});
    EXPECT_TRUE(windowClass.contains(QLatin1Char('"') + valueOf(QStringLiteral("StartupWMClass")) + QLatin1Char('"')))
        << windowClass.toStdString();

    SipClient client("127.0.0.1", port);
    EXPECT_TRUE(waitUntil([&client] { return client.request("OPTIONS", "1000").status == kOk; }));

    ::kill(programs().constFirst(), SIGTERM);
    EXPECT_TRUE(waitUntil([this] { return programs().isEmpty(); }));
}

} // namespace
