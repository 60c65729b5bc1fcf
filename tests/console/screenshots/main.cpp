// Takes a picture of every window of the console, in one language and look; scripts/screenshots runs it for many.
#include "bcl2/process.h"
#include "callserver/app.h"
#include "console/screenshots/busy_office.h"
#include "console/screenshots/contact_sheet.h"
#include "console/virtual_desktop.h"
#include "frm_main.h"
#include "start_up.h"
#include "support/window_walk.h"
#include "termination.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextDocument>
#include <QTextEdit>
#include <QtTest/QTest>

#include <cstdio>
#include <memory>

extern int qInitResources_plx();

namespace {

struct Wish {
    QString folder;
    QString name;     // of the sheets
    QString language; // code
    bool isMirrored = false;
    bool isDark = false;
    int scale = 1;
    QSize screen; // in units of the toolkit
    QRegularExpression only;
};

bool fail(const QString& reason)
{
    std::fprintf(stderr, "%s\n", qPrintable(reason));
    return false;
}

bool readWish(const QStringList& arguments, Wish& wish)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("where the pictures go"));
    parser.addOptions({{QStringLiteral("name"), QString(), QStringLiteral("name"), QStringLiteral("sheet")},
                       {QStringLiteral("language"), QString(), QStringLiteral("code"), QStringLiteral("0")},
                       {QStringLiteral("screen"), QString(), QStringLiteral("size"), QStringLiteral("1366x768")},
                       {QStringLiteral("scale"), QString(), QStringLiteral("factor"), QStringLiteral("1")},
                       {QStringLiteral("only"), QString(), QStringLiteral("expression"), QString()},
                       QCommandLineOption(QStringLiteral("mirrored")),
                       QCommandLineOption(QStringLiteral("dark"))});
    if (!parser.parse(arguments) || parser.positionalArguments().size() != 1)
        return fail(parser.errorText() + QStringLiteral(" A folder is needed."));
    wish.folder = QDir().absoluteFilePath(parser.positionalArguments().constFirst());
    wish.name = parser.value(QStringLiteral("name"));
    wish.language = parser.value(QStringLiteral("language"));
    wish.isMirrored = parser.isSet(QStringLiteral("mirrored"));
    wish.isDark = parser.isSet(QStringLiteral("dark"));
    wish.scale = parser.value(QStringLiteral("scale")).toInt();
    const QStringList size = parser.value(QStringLiteral("screen")).split(QLatin1Char('x'));
    wish.screen = QSize(size.value(0).toInt(), size.value(1).toInt());
    wish.only = QRegularExpression(parser.value(QStringLiteral("only")));
    if (wish.scale < 1 || wish.screen.isEmpty() || !wish.only.isValid())
        return fail(QStringLiteral("Not understood: scale, screen or expression."));
    return QDir().mkpath(wish.folder) || fail(QStringLiteral("The folder cannot be made."));
}

// The demo office in a data folder of its own, and a folder with the language files as the current one.
bool prepareFolders(const QTemporaryDir& home, const Wish& wish)
{
    qputenv("PARLOVEX_HOME", home.path().toUtf8());
    QProcess demo;
    demo.setStandardOutputFile(QProcess::nullDevice()); // names and passwords
    demo.start(QStringLiteral(PARLOVEX_DEMO_OFFICE), QStringList());
    if (!demo.waitForFinished() || demo.exitCode() != 0)
        return fail(QStringLiteral("The demo office could not be made."));
    QFile switches(home.filePath(QStringLiteral("switch.ini")));
    if (!switches.open(QIODevice::WriteOnly))
        return fail(switches.errorString());
    switches.write("[switch]\ngVarGuiLang=" + wish.language.toUtf8() +
                   "\ngVarGuiLayoutDir=" + (wish.isMirrored ? "1" : "0") + "\n");
    return QDir::setCurrent(QStringLiteral(PARLOVEX_RUN_DIR));
}

void darken()
{
    QPalette dark(QColor(0x35, 0x35, 0x35));
    dark.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    dark.setColor(QPalette::AlternateBase, QColor(0x2c, 0x2c, 0x2c));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(role, QColor(0xee, 0xee, 0xee));
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        dark.setColor(QPalette::Disabled, role, QColor(0x80, 0x80, 0x80));
    dark.setColor(QPalette::Highlight, QColor(0x2a, 0x6f, 0xc9));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::Link, QColor(0x6a, 0xa9, 0xff));
    QApplication::setPalette(dark);
}

// Until it is as it will be looked at. Popups never become active.
void settle(QWidget& window)
{
    (void)QTest::qWaitForWindowExposed(&window);
    if (window.windowType() != Qt::Popup)
        (void)QTest::qWaitForWindowActive(&window);
    QCoreApplication::processEvents();
}

// A line of the list of pictures: its name, the title of its window and of its tab, parted by tabulators.
QString describe(const QString& name, const QWidget& window)
{
    const auto* const tabs = window.findChild<QTabWidget*>(QString(), Qt::FindDirectChildrenOnly);
    const QString tab = tabs == nullptr ? QString() : tabs->tabText(tabs->currentIndex());
    return QStringList{name, window.windowTitle(), tab}.join(QLatin1Char('\t')) + QLatin1Char('\n');
}

bool takePictures(const Wish& wish)
{
    const auto main = std::make_unique<Cfrm_main>(nullptr);
    main->show();
    registerTelephones(*main->GetApp()->GetFacMgr());
    const QTextDocument& log = *main->findChild<QTextEdit*>()->document();
    (void)QTest::qWaitFor([&log] { return log.blockCount() > kTelephones; });
    publishCalls();
    QList<Picture> pictures;
    QFile list(QDir(wish.folder).filePath(QStringLiteral("windows.txt")));
    if (!list.open(QIODevice::WriteOnly | QIODevice::Text))
        return fail(list.errorString());
    bool isSaved = true;
    WindowWalk walk(*main, [&](const QString& name, QWidget& window) {
        if (!wish.only.match(name).hasMatch())
            return;
        publishStates(*main->GetApp()->GetFacMgr());
        settle(window);
        const Picture picture{name, pictureOf(window)};
        isSaved = picture.image.save(QDir(wish.folder).filePath(name + QStringLiteral(".png"))) && isSaved;
        pictures.append(picture);
        list.write(describe(name, window).toUtf8());
    });
    walk.run();
    int number = 0;
    for (const QImage& sheet : contactSheets(pictures)) {
        const QString name = QStringLiteral("../%1-%2.png").arg(wish.name).arg(++number);
        isSaved = sheet.save(QDir(wish.folder).filePath(name)) && isSaved;
    }
    std::printf("%s: %d pictures, %d sheets\n", qPrintable(wish.name), pictures.size(), number);
    CloseServer();
    return isSaved;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int at = 0; at < argc; ++at)
        arguments.append(QString::fromLocal8Bit(argv[at]));
    Wish wish;
    const QTemporaryDir home;
    if (!readWish(arguments, wish) || !prepareFolders(home, wish) || ParlovexIsRunning() == 1 || !completeOffice())
        return 1;
    set_app_singals(); // before any thread exists, as in the program
    qInitResources_plx();
    VirtualDesktop desktop(wish.screen.width() * wish.scale, wish.screen.height() * wish.scale, 0);
    QString reason;
    if (!desktop.start(reason)) {
        fail(reason);
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_SCALE_FACTOR", QByteArray::number(wish.scale));
    PrepareProcess();
    int one = 1;
    const QApplication application(one, argv);
    if (!desktop.isReady()) {
        fail(QStringLiteral("The virtual desktop has no tray."));
        return 1;
    }
    if (wish.isDark)
        darken();
    PrepareApplication();
    return takePictures(wish) ? 0 : 1;
}
