// From the server's "the process was asked to end" to the end of the event loop.
#pragma once

// Subscribes kEvtTerminate: from now on SIGTERM and SIGINT end the application's event loops, nested ones of modal
// boxes too. A request that came earlier counts as well. Once, on the GUI thread, when the application object exists
// and before its event loop runs.
void QuitOnTermination();
