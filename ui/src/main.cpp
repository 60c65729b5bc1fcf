// Entry point: the console and the call server in one process.
#include "bcl2/process.h"
#include "callserver/app.h"
#include "frm_main.h"
#include "start_up.h"
#include "termination.h"

#include <QApplication>

#include <memory>

extern int qInitResources_plx();

namespace {

constexpr unsigned kFileHandles = 1200; // room for the sockets of the calls in progress beside files and displays

} // namespace

int main(int argc, char** argv)
{
    if (ParlovexIsRunning() == 1)
        return 0;
    BclSetMaxFileHandles(kFileHandles);
    set_app_singals();
    qInitResources_plx();
    PrepareProcess();
    QApplication application(argc, argv);
    QuitOnTermination();
    PrepareApplication();

    auto window = std::make_unique<Cfrm_main>(nullptr);
    window->show();
    const int code = QApplication::exec();

    // The server's threads still run: none of them may reach the window any more when it goes.
    CloseServer();
    window.reset();
    return code;
}
