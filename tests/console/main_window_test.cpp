// The main window: how it is built, shown and closed.
#include "cachedb2/switch_variants.h"
#include "common/desktop.h"
#include "log_view.h"
#include "support/console_fixture.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QIcon>
#include <QImage>

namespace {

class MainWindow : public ConsoleFixture {};

// A desktop whose tray the test switches on and off.
class WindowWithTray : public Cfrm_main {
public:
    explicit WindowWithTray(bool hasTray) : Cfrm_main(nullptr), _hasTray(hasTray) {}

protected:
    [[nodiscard]] bool isTrayUsable() const override { return _hasTray; }

private:
    bool _hasTray;
};

// What the window manager's close button sends.
bool pressClose(QWidget& window)
{
    QCloseEvent event;
    event.accept();
    QCoreApplication::sendEvent(&window, &event);
    return event.isAccepted();
}

TEST_F(MainWindow, CaptionNamesProductVersionAndBuild)
{
    EXPECT_EQ(buildWindow().windowTitle(), QStringLiteral("Parlovex V50 build 20240502"));
}

TEST_F(MainWindow, TakesHalfOfTheDesktopAndIsCentred)
{
    const Cfrm_main& main = buildWindow();
    EXPECT_EQ(main.size(), QSize(qRound(WinDesktopWidth() * 0.5), qRound(WinDesktopHeight() * 0.5)));
    EXPECT_EQ(main.pos(), QPoint((WinDesktopWidth() - main.width()) / 2, (WinDesktopHeight() - main.height()) / 2));
    EXPECT_GT(main.width(), 0);
}

TEST_F(MainWindow, HasNameModalityAndNoContextMenu)
{
    const Cfrm_main& main = buildWindow();
    EXPECT_EQ(main.objectName(), QStringLiteral("MainWindow"));
    EXPECT_EQ(main.windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(main.contextMenuPolicy(), Qt::NoContextMenu);
    EXPECT_EQ(main.centralWidget(), &logView());
    EXPECT_EQ(main.focusWidget(), &logView());
    EXPECT_EQ(main.GetApp(), nullptr) << "the server starts with the first show only";
}

TEST_F(MainWindow, CreatesTheServerOnceHoweverOftenItIsShown)
{
    Cfrm_main& main = startConsole();
    const Capp* const server = main.GetApp();
    ASSERT_NE(server, nullptr);
    for (int round = 0; round < 3; ++round) {
        main.hide();
        main.show();
        EXPECT_EQ(main.GetApp(), server);
    }
}

TEST_F(MainWindow, CloseHidesWhereTheDesktopHasATray)
{
    keepServerLocal();
    buildWindow([] { return std::make_unique<WindowWithTray>(true); }).show();
    EXPECT_FALSE(pressClose(*window)) << "the close event must be ignored";
    EXPECT_TRUE(window->isHidden());
    EXPECT_FALSE(window->isMinimized());
}

TEST_F(MainWindow, CloseMinimisesWhereTheDesktopHasNoTray)
{
    keepServerLocal();
    buildWindow([] { return std::make_unique<WindowWithTray>(false); }).show();
    EXPECT_FALSE(pressClose(*window));
    EXPECT_FALSE(window->isHidden());
    EXPECT_TRUE(window->isMinimized());
}

TEST_F(MainWindow, CloseMinimisesOnThisDesktopWithoutTray)
{
    startConsole();
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->isMinimized());
}

TEST_F(MainWindow, CloseMinimisesWhenTheTrayIconIsSwitchedOff)
{
    writeSwitches("gVarGuiHideSysTrayIcon=1\n");
    keepServerLocal();
    buildWindow([] { return std::make_unique<WindowWithTray>(true); }).show();
    EXPECT_EQ(window->findChild<QSystemTrayIcon*>(), nullptr);
    EXPECT_FALSE(pressClose(*window));
    EXPECT_TRUE(window->isMinimized());
}

TEST_F(MainWindow, KeepsTheEventLoopRunningWhenHidden)
{
    keepServerLocal();
    buildWindow([] { return std::make_unique<WindowWithTray>(true); }).show();
    constexpr int kOwnEnd = 7;
    callLater(qApp, 0, [this] {
        window->close();
        callLater(qApp, 100, [] { QCoreApplication::exit(kOwnEnd); });
    });
    EXPECT_EQ(QApplication::exec(), kOwnEnd);
    EXPECT_TRUE(window->isHidden());
}

TEST_F(MainWindow, OnlyADoubleClickOnTheTrayIconRestores)
{
    startConsole();
    auto* const icon = window->findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    window->hide();
    for (const auto reason : {QSystemTrayIcon::Trigger, QSystemTrayIcon::Context, QSystemTrayIcon::MiddleClick}) {
        emit icon->activated(reason);
        QCoreApplication::processEvents();
        EXPECT_TRUE(window->isHidden()) << reason;
    }
    emit icon->activated(QSystemTrayIcon::DoubleClick);
    QCoreApplication::processEvents();
    EXPECT_TRUE(window->isVisible());
    EXPECT_FALSE(window->isMinimized() || window->isMaximized());
}

TEST_F(MainWindow, TrayIconHasTheImageButNoToolTipAndNoMenu)
{
    buildWindow();
    const auto* const icon = window->findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    EXPECT_FALSE(icon->icon().isNull());
    EXPECT_TRUE(icon->toolTip().isEmpty());
    EXPECT_EQ(icon->contextMenu(), nullptr);
    EXPECT_TRUE(icon->isVisible());
}

TEST_F(MainWindow, ApplicationIconLoadsForNormalAndDoubleDensity)
{
    buildWindow();
    EXPECT_FALSE(QApplication::windowIcon().isNull());
    EXPECT_EQ(QApplication::windowIcon().pixmap(64, 64).size(), QSize(64, 64));
    EXPECT_EQ(QImage(QStringLiteral(":/images/plx_64x64.png")).size(), QSize(64, 64));
    EXPECT_EQ(QImage(QStringLiteral(":images/plx_64x64.png")).size(), QSize(64, 64));
    EXPECT_EQ(QImage(QStringLiteral(":/images/plx_64x64@2x.png")).size(), QSize(128, 128));
    EXPECT_TRUE(QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps));
}

TEST_F(MainWindow, LayoutDirectionComesFromTheSwitches)
{
    writeSwitches("gVarGuiLayoutDir=1\n");
    buildWindow();
    EXPECT_EQ(QApplication::layoutDirection(), Qt::RightToLeft);
    EXPECT_EQ(window->layoutDirection(), Qt::RightToLeft);
}

TEST_F(MainWindow, LayoutDirectionIsLeftToRightOtherwise)
{
    buildWindow();
    EXPECT_EQ(window->layoutDirection(), Qt::LeftToRight);
}

TEST_F(MainWindow, DeciphersTheMakersAddresses)
{
    const Cfrm_main::SpecialStrings& texts = buildWindow().specialStrings();
    EXPECT_STREQ(texts.website.c_str(), "https://www.parlovex.test/");
    EXPECT_STREQ(texts.websiteChinese.c_str(), "https://www.parlovex.test/cn/");
    EXPECT_STREQ(texts.support.c_str(), "https://www.parlovex.test/support/");
    EXPECT_STREQ(texts.supportChinese.c_str(), "https://www.parlovex.test/cn/support/");
    EXPECT_EQ(texts.website.getStrLen(), 26u);
    EXPECT_EQ(texts.websiteChinese.getStrLen(), 29u);
    EXPECT_EQ(texts.support.getStrLen(), 34u);
    EXPECT_EQ(texts.supportChinese.getStrLen(), 37u);
}

TEST_F(MainWindow, TheProgramFileDoesNotShowTheVeiledAddresses)
{
    const QByteArray program = readFile(QStringLiteral(PARLOVEX_PROGRAM));
    ASSERT_TRUE(program.contains("Parlovex is here")) << "the program was not read";
    EXPECT_FALSE(program.contains("parlovex.test/support/"));
    EXPECT_FALSE(program.contains("parlovex.test/cn/"));
}

} // namespace
