// Runs the tests with an application object that needs no display.
#include "callserver/app.h"
#include "start_up.h"

#include <QApplication>
#include <gtest/gtest.h>

extern int qInitResources_plx();

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    set_app_singals(); // before any thread exists, as in the program
    qInitResources_plx();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    PrepareProcess();
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
