// Prints the width that an editor takes on the display that it is started on.
#include "common/dlg_common.h"
#include "start_up.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    PrepareProcess();
    const QApplication application(argc, argv);
    Cdlg_common editor(nullptr, nullptr);
    editor.show();
    std::printf("%d\n", editor.width());
    return 0;
}
