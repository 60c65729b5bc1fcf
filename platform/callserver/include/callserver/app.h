// The server application object and what a process with a server in it needs around it.
#pragma once

#include "bcl2/task_mgr.h"

#include <memory>

class Cdb_fac_mgr;
class Csip_fac_mgr;

// 1 when another process serves the same data folder, else 0; then this process holds the folder until it ends. A
// folder that cannot be locked (missing rights, a full disk) counts as free: the store says later what is wrong with
// it.
[[nodiscard]] unsigned ParlovexIsRunning();

// SIGTERM and SIGINT publish kEvtTerminate on a thread of its own (kept until somebody has subscribed, see
// TerminationWanted); SIGPIPE is ignored. Call before the first thread is started.
void set_app_singals();

// True when the process was asked to end, also before anybody heard kEvtTerminate. Any thread.
[[nodiscard]] bool TerminationWanted();

// The call server with all its facilities. Made and run once; never destroyed: its threads use it until the process
// ends.
class Capp : public Cbcl_task_mgr {
public:
    // Opens the log and the store, reads the registrations back. Nothing runs yet.
    Capp();
    ~Capp() override;

    // The configuration store. Never null.
    [[nodiscard]] Cdb_fac_mgr* GetFacMgr();
    // The SIP side. Never null.
    [[nodiscard]] Csip_fac_mgr* GetSipFacMgr();

    // One trace at a time: it runs until the next one or its end. What came of each order, and what is traced, is
    // written to the server log. UTF-8, null is empty. Any thread.
    // SIP messages to and from the address, an IPv4 or IPv6 literal; anything else changes nothing.
    void traceOnIPAddr(const char* address);
    // Calls whose caller, respectively called, number begins so; a blank one changes nothing.
    void traceOnCallerPrefix(const char* prefix);
    void traceOnCalledPrefix(const char* prefix);
    void stopTrace();

private:
    struct Impl;
    std::unique_ptr<Impl> _impl;
};

// Ends the server's speaking, after the event loop and before the windows are destroyed: closes the event bus (waits at
// most two seconds for publications under way) and writes what is held back of registrations and call records to disk.
// The server's threads go on until the process ends. A second call does nothing; exit() makes it at the latest.
void CloseServer();
