// Runs the tests with an application object on a virtual desktop of their own.
#include "console/virtual_desktop.h"

#include "callserver/app.h"
#include "start_up.h"

#include <QApplication>
#include <gtest/gtest.h>

#include <iostream>

extern int qInitResources_plx();

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    set_app_singals(); // before any thread exists, as in the program
    qInitResources_plx();
    VirtualDesktop desktop;
    QString reason;
    if (!desktop.start(reason)) {
        std::cerr << "No virtual desktop: " << reason.toStdString() << '\n';
        return 1;
    }
    qputenv("QT_QPA_PLATFORM", "xcb");
    PrepareProcess();
    const QApplication application(argc, argv);
    if (!desktop.isReady()) {
        std::cerr << "The virtual desktop has no tray\n";
        return 1;
    }
    return RUN_ALL_TESTS();
}
