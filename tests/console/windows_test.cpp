// What holds for every window of the console; the walk through them misses none.
#include "common/dlg_common.h"
#include "common/frm_list.h"
#include "support/child_process.h"
#include "support/console_fixture.h"
#include "support/tab_layout.h"
#include "support/window_walk.h"

#include <QAbstractButton>
#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QMetaMethod>
#include <QScrollBar>
#include <QTabBar>
#include <QToolBar>
#include <QToolButton>
#include <QTreeView>

#include <algorithm>

namespace {

class Windows : public ConsoleFixture {
protected:
    void openOffice(const QByteArray& switches = {})
    {
        writeSwitches(switches);
        ChildProcess program({PARLOVEX_DEMO_OFFICE}, inHome("demo.txt").toStdString());
        ASSERT_EQ(program.wait(), 0);
        startConsole();
        qApp->removeEventFilter(&boxes); // the walk answers them itself
    }
};

// The slots of the menu items that open a window are those with a result.
int openers()
{
    const QMetaObject& main = Cfrm_main::staticMetaObject;
    int count = 0;
    for (int at = 0; at < main.methodCount(); ++at) {
        const QMetaMethod method = main.method(at);
        if (method.name().startsWith("actShow") && method.returnType() == QMetaType::Int)
            ++count;
    }
    return count;
}

TEST_F(Windows, AreAllFoundByTheWalkWithTheirEditors)
{
    openOffice();
    QStringList names;
    QStringList lists;
    WindowWalk walk(*window, [&](const QString& name, QWidget& shown) {
        EXPECT_TRUE(shown.isVisible()) << name.toStdString();
        names.append(name);
        if (dynamic_cast<Cfrm_list*>(&shown) != nullptr)
            lists.append(name);
    });
    walk.run();
    EXPECT_EQ(walk.pages().size(), openers());
    EXPECT_EQ(lists.size(), openers() - 3); // two dialogs and the call records
    for (const QString& list : lists) {
        const auto isEditor = [&list](const QString& name) { return name.startsWith(list + "-add"); };
        EXPECT_TRUE(std::any_of(names.begin(), names.end(), isEditor)) << list.toStdString();
    }
    for (const char* const name : {"main", "menu-1", "menu-4-5", "main-says", "main-asks", "main-file", "sys_tbl-6",
                                   "callback", "realtime_cdr", "local_users-edit-7", "local_users-add_many",
                                   "local_users-find-asks", "time_cond-edit-says", "ana_cld_nbr-find-asks-again2"})
        EXPECT_TRUE(names.contains(name)) << name;
}

constexpr QSize kSmallList(683, 384); // half of the smallest desktop in use, 1366 by 768 pixels

constexpr int kFontPixels = 13; // of desktops; the one without a display takes larger ones

bool isTextCut(const QWidget& widget)
{
    if (widget.inherits("QGroupBox"))
        return widget.width() < widget.minimumSizeHint().width();
    if (const auto* const label = qobject_cast<const QLabel*>(&widget); label != nullptr && label->wordWrap())
        return label->heightForWidth(label->width()) > label->height();
    return widget.width() < widget.sizeHint().width();
}

// Buttons by which a row of tabs or a toolbar leads to what it has no room for.
bool isWayToHidden(const QWidget& button)
{
    return button.parentWidget()->inherits("QTabBar") || button.objectName() == "qt_toolbar_ext_button";
}

template <class Widget>
void expectNoCutText(const QWidget& window, const std::string& name)
{
    for (const Widget* const each : window.findChildren<Widget*>()) {
        if (!each->isVisible())
            continue;
        EXPECT_FALSE(isWayToHidden(*each)) << name << " has no room for all tabs or buttons";
        if (isWayToHidden(*each))
            continue;
        const std::string text =
            each->property(each->inherits("QGroupBox") ? "title" : "text").toString().toStdString();
        EXPECT_FALSE(isTextCut(*each)) << name << ": \"" << text << "\" needs " << each->sizeHint().width()
                                       << " pixels and has " << each->width();
    }
}

// As on the narrowest desktops.
void narrow(QWidget& window)
{
    if (dynamic_cast<Cdlg_common*>(&window) != nullptr)
        window.setFixedWidth(kNarrowEditor);
    else if (dynamic_cast<Cfrm_list*>(&window) != nullptr || dynamic_cast<Cfrm_main*>(&window) != nullptr)
        window.resize(kSmallList);
    QCoreApplication::processEvents();
}

// Of a list; the records of calls have more columns than anybody looks at together.
void expectAllColumns(const QWidget& window, const std::string& name)
{
    if (dynamic_cast<const Cfrm_list*>(&window) == nullptr)
        return;
    const auto* const view = window.findChild<QTreeView*>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->horizontalScrollBar()->maximum(), 0) << name << " has columns beyond its edge";
}

struct Language {
    const char* name;
    int code;
    friend std::ostream& operator<<(std::ostream& out, const Language& each) { return out << each.name; }
};

class WindowsIn : public Windows, public testing::WithParamInterface<Language> {
protected:
    void expectThatTextsFit(const QByteArray& switches)
    {
        QFont font = QApplication::font();
        font.setPixelSize(kFontPixels);
        QApplication::setFont(font);
        openOffice("gVarGuiLang=" + QByteArray::number(GetParam().code) + "\n" + switches);
        int windows = 0;
        WindowWalk walk(*window, [&windows](const QString& name, QWidget& shown) {
            ++windows;
            if (name.endsWith("-file"))
                return; // the toolkit's
            narrow(shown);
            expectNoCutText<QLabel>(shown, name.toStdString());
            expectNoCutText<QAbstractButton>(shown, name.toStdString());
            expectNoCutText<QGroupBox>(shown, name.toStdString());
            expectAllColumns(shown, name.toStdString());
        });
        walk.run();
        EXPECT_GT(windows, 150);
    }
};

TEST_P(WindowsIn, CutNoText)
{
    expectThatTextsFit("");
}

TEST_P(WindowsIn, CutNoTextWhereTheyAreMirrored)
{
    expectThatTextsFit("gVarGuiLayoutDir=1\n");
}

INSTANTIATE_TEST_SUITE_P(Every, WindowsIn,
                         testing::Values(Language{"English", 0}, Language{"Chinese", 1}, Language{"Spanish", 3},
                                         Language{"Japanese", 5}, Language{"German", 7}, Language{"Russian", 9}),
                         [](const auto& each) { return std::string(each.param.name); });

} // namespace
