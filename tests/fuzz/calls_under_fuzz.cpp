#include "fuzz/calls_under_fuzz.h"

#include "callserver/event_ids.h"
#include "fuzz/fuzz_checks.h"
#include "support/temporary_folder.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"

namespace {

constexpr const char* kUsers[] = {"2001", "2002", "2003", "2004"};

CallsUnderFuzz* theOne = nullptr;

void addUser(Cdb_fac_mgr& store, const char* name)
{
    Cdb_usr_info user;
    BclCopyStr(user.usrName, name);
    const std::string_view text(name);
    if (text == "2002") {
        user.noAnsTime = 10;
        user.maxCalls = 2;
        user.maxDuration = 100;
    } else if (text == "2003") {
        user.flags &= ~uint32_t{kUsrVideo};
    }
    require(store.DbSetLocalUserData(user) == kDbOk);
}

// One with session timers, and one without.
struct Stores {
    TemporaryFolder folders[2];
    std::unique_ptr<Cdb_fac_mgr> stores[2];
    CdrStore records{folders[0].path() + "/"};

    Stores()
    {
        for (const size_t hasTimers : {0, 1}) {
            Cdb_options options;
            options.dataFolder = folders[hasTimers].path();
            stores[hasTimers] = std::make_unique<Cdb_fac_mgr>(options);
            for (const char* user : kUsers)
                addUser(*stores[hasTimers], user);
            Cdb_sys_data system = *stores[hasTimers]->system().get();
            system.callFlags = static_cast<uint8_t>(kSysAcceptUnknown | (hasTimers == 1 ? kSysSessionTimers : 0));
            require(stores[hasTimers]->DbSetSysData(system) == kDbOk);
        }
    }
};

Stores& theStores()
{
    static Stores stores; // its folders go when the process ends
    return stores;
}

std::vector<Cdb_user_bindings> registrationsOf(const std::vector<FuzzPhone>& phones, Cbcl_timestamp now)
{
    std::map<std::string, Cdb_user_bindings> all;
    for (const FuzzPhone& phone : phones) {
        Cdb_user_bindings& bindings = all[phone.user];
        bindings.userName = phone.user;
        bindings.hasRow = true;
        BclCopyStr(bindings.row.userName, phone.user.c_str());
        bindings.row.usrStage = kUsrIdle;
        Cdb_sip_contact& contact = bindings.contacts.emplace_back();
        BclCopyStr(contact.userName, phone.user.c_str());
        BclCopyStr(contact.contact, phone.contact().c_str());
        BclCopyStr(contact.callId, phone.contact().c_str());
        BclCopyStr(contact.srcAddr, phone.source.address.c_str());
        contact.srcPort = phone.source.port;
        contact.transport = phone.source.transport;
        contact.registeredAt = now;
        contact.expiresAt = now + Registrar::kMaxExpires;
    }
    std::vector<Cdb_user_bindings> result;
    for (auto& [user, bindings] : all)
        result.push_back(std::move(bindings));
    return result;
}

} // namespace

std::string FuzzPhone::contact() const
{
    return "sip:" + user + "@" + source.address + ":" + std::to_string(source.port);
}

CallsUnderFuzz::CallsUnderFuzz(CallTransport& transport, const Clock& clock, const std::vector<FuzzPhone>& phones,
                               bool hasTimers)
    : _refusals(clock)
{
    static const bool isSubscribed = [] {
        BclSubEvent(kEvtCallRecord, nullptr, [](void*, void* id, void* record) {
            if (theOne != nullptr)
                theOne->onRecord(*static_cast<const int*>(id), *static_cast<const Ccdr_record_data*>(record));
        });
        return true;
    }();
    require(isSubscribed && theOne == nullptr);
    theOne = this;
    Stores& all = theStores();
    const Cdb_fac_mgr& store = *all.stores[hasTimers ? 1 : 0];
    _registrar = std::make_unique<Registrar>(store.users(), store.system(), clock, [](UserChange&&) {});
    _registrar->load(registrationsOf(phones, clock.wallSeconds()));
    _calls = std::make_unique<Calls>(store, *_registrar, _refusals, transport, all.records, clock,
                                     [](const SipSource&, Credentials) { return true; });
}

CallsUnderFuzz::~CallsUnderFuzz()
{
    theOne = nullptr;
}

void CallsUnderFuzz::onRecord(int id, const Ccdr_record_data& record)
{
    constexpr uint32_t kMoments = kCdrHasStart | kCdrHasRing | kCdrHasAnswer | kCdrHasEnd;
    const uint32_t moments = record.flags & kMoments;
    const uint32_t before = _records[id];
    // Something happened, nothing is taken back, and nothing follows the end.
    require(moments != before && (moments & before) == before && (before & kCdrHasEnd) == 0);
    require((moments & kCdrHasStart) != 0 && ((moments & kCdrHasEnd) != 0) == (record.releaseCode != 0));
    // A side may be lost, or take back what was answered meanwhile.
    require((moments & kCdrHasEnd) == 0 || ((moments & kCdrHasAnswer) != 0) == (record.releaseCode < 300) ||
            record.releaseCode == 408 || record.releaseCode == 487);
    _records[id] = moments;
}

void CallsUnderFuzz::checkNothingLeft() const
{
    const Calls::Load load = _calls->load();
    require(load.calls == 0);
    require(load.legs == 0);
    require(load.callIds == 0);
    require(load.due == 0);
    require(_calls->size() == 0 && _calls->statusTable().empty());
    for (const char* user : kUsers)
        require(_calls->counts().ofUser(user) == 0 && _calls->counts().madeByUser(user) == 0);
    for (const auto& [id, moments] : _records)
        require((moments & kCdrHasEnd) != 0);
}
