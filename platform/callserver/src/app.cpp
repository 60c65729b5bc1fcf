#include "callserver/app.h"

#include "calls/cdr_store.h"
#include "clock.h"
#include "registrar/registrar.h"
#include "registrar/registration_writer.h"
#include "server_log.h"
#include "sip_service.h"
#include "streams/stream_server.h"
#include "trace/tracing.h"

#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "cachedb2/data_folder.h"
#include "cachedb2/fac_mgr.h"
#include "callserver/event_ids.h"
#include "callserver/sip_fac.h"
#include "dbproxy2/bookings.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <openssl/crypto.h>
#include <string>
#include <utility>
#include <vector>

namespace {

// Together within what a user waits for without wondering, and what a session manager grants.
constexpr unsigned kCloseEventsMs = 2000;
constexpr unsigned kParkMs = 1000;
constexpr unsigned kFlushMs = 2000;
constexpr std::chrono::milliseconds kBookMs{500};
constexpr std::chrono::milliseconds kKeepMs{2500}; // longer than an operation of a database that hangs

// First, before anything uses the library: its clean-up at exit would pull the ground from under running threads.
bool initCrypto()
{
    return OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) == 1;
}

std::string dataFolder()
{
    Cbcl_tmp_str folder;
    DbGetDataFolder(folder);
    return folder.c_str();
}

} // namespace

// In the order of their needs: each uses those above it only.
struct Capp::Impl {
    const bool hasCrypto = initCrypto();
    SystemClock clock;
    Cdb_fac_mgr store;
    RegistrationWriter writer{[this](const std::vector<Cdb_user_bindings>& batch, std::string& reason) {
        return store.DbWriteRegistrations(batch, &reason);
    }};
    CdrStore callRecords{dataFolder()};
    Registrar registrar{store.users(), store.system(), clock,
                        [this](UserChange&& change) { writer.add(std::move(change)); }};
    StreamServer streams{clock, dataFolder()};
    SipService sip{store, registrar, streams, callRecords, clock};
    // From the start: it books what calls have cost that an earlier run was killed in. Null: no store.
    std::unique_ptr<Cdb_bookings> bookings =
        store.DbGetRemote() != nullptr ? std::make_unique<Cdb_bookings>(*store.DbGetRemote(), dataFolder()) : nullptr;
    Csip_fac_mgr sipFac{sip};
    Tracing tracing{messageTrace()};
};

namespace {

// Of the one Capp, for CloseServer.
std::atomic<RegistrationWriter*> theWriter = nullptr;
std::atomic<SipService*> theSip = nullptr;
std::atomic<CdrStore*> theCallRecords = nullptr;
std::atomic<Cdb_bookings*> theBookings = nullptr;

// On the publishing thread, which may be the console's.
void spfReleaseCalls(void* context, void* /*data1*/, void* /*data2*/)
{
    static_cast<SipService*>(context)->releaseAllCalls();
}

} // namespace

Capp::Capp()
{
    BclOpenLog();
    // A library may call exit() by itself, as the toolkit does when it loses its display.
    std::atexit(CloseServer);
    _impl = std::make_unique<Impl>();
    if (!_impl->hasCrypto)
        ServerLog("The cryptographic library could not be started: no telephone can register.");
    (void)_impl->store.DbClearExtLineStates(); // what could not be written is in the log
    _impl->registrar.load(_impl->store.DbReadRegistrations());
    if (_impl->store.system().get()->isUpnp != 0)
        (void)_impl->store.searchUPnP(); // what comes of it is in the log
    theWriter.store(&_impl->writer);
    theSip.store(&_impl->sip);
    theCallRecords.store(&_impl->callRecords);
    theBookings.store(_impl->bookings.get());
    BclSubEvent(kEvtReleaseCalls, &_impl->sip, spfReleaseCalls);
    addTask("sip", [impl = _impl.get()] { impl->sip.run(); });
    addTask("connections", [impl = _impl.get()] { impl->streams.run(); });
    addTask("registrations", [impl = _impl.get()] { impl->writer.run(); });
    addTask("call records", [impl = _impl.get()] { impl->callRecords.run(); });
}

Capp::~Capp() = default;

Cdb_fac_mgr* Capp::GetFacMgr()
{
    return &_impl->store;
}

Csip_fac_mgr* Capp::GetSipFacMgr()
{
    return &_impl->sipFac;
}

void Capp::traceOnIPAddr(const char* address)
{
    _impl->tracing.onAddress(address);
}

void Capp::traceOnCallerPrefix(const char* prefix)
{
    _impl->tracing.onCallerPrefix(prefix);
}

void Capp::traceOnCalledPrefix(const char* prefix)
{
    _impl->tracing.onCalledPrefix(prefix);
}

void Capp::stopTrace()
{
    _impl->tracing.stop();
}

void CloseServer()
{
    static std::atomic<bool> isClosed = false;
    if (isClosed.exchange(true))
        return;
    BclCloseEvents(kCloseEventsMs);
    if (SipService* sip = theSip.load(); sip != nullptr)
        sip->close(kParkMs);
    if (RegistrationWriter* writer = theWriter.load(); writer != nullptr)
        writer->flush(kFlushMs);
    if (CdrStore* records = theCallRecords.load(); records != nullptr)
        (void)records->flush(kFlushMs); // what could not be written is in the log
    // What is not booked by then is booked at the next start, if it is on disk.
    if (Cdb_bookings* bookings = theBookings.load(); bookings != nullptr && !bookings->waitUntilBooked(kBookMs))
        (void)bookings->waitUntilKept(kKeepMs);
}
