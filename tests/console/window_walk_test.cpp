// The walk through all windows, which pictures and tests of looks stand on, misses none.
#include "common/frm_list.h"
#include "support/child_process.h"
#include "support/console_fixture.h"
#include "support/window_walk.h"

#include <QApplication>
#include <QMetaMethod>

#include <algorithm>

namespace {

class Windows : public ConsoleFixture {
protected:
    void openOffice()
    {
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

} // namespace
