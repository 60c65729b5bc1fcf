// The one record of the system settings.
#pragma once

#include "dbproxy2/remote_settings.h"

#include <cstdint>
#include <string_view>
#include <type_traits>

class Cdb_fac_mgr;

// Bits of Cdb_sys_data::callFlags.
enum Esys_flag : uint8_t {
    kSysRelayMedia = 0x1,
    kSysAuthCalls = 0x2,
    kSysAcceptUnknown = 0x4,
    kSysAnnounce = 0x8,
    kSysTransit = 0x10,
    kSysStoreCdr = 0x20,
    kSysSessionTimers = 0x40,
};

// The fields, as plain bytes without padding.
struct Cdb_sys_data {
    Cdb_sys_data() { Init(); }
    void Init();

    // Each resets one group of fields to its defaults; the groups do not overlap.
    void InitV11(); // remote database: user name, password
    void InitV13(); // public address learned by STUN
    void InitV14(); // remote database: database name
    void InitV15(); // SMTP server, account, password
    void InitV16(); // SMTP over TLS, default route
    void InitV17(); // remote database: address, port
    void InitV18(); // event channel port
    void InitV24(); // UPnP

    // The port of SIP over UDP: the default one where the field holds none.
    [[nodiscard]] uint16_t servedUdpPort() const;

    // At most 64 bytes; a blank text gives the default realm.
    void SetRealm(const char* text);

    int32_t rtpPortFirst; // even
    int32_t rtpPortLast;  // not above rtpPortFirst: rtpPortFirst + 999
    int32_t udpPort;      // SIP over UDP; outside 1 to 65535: 5060
    int32_t stunPort1;
    int32_t stunPort2;
    int32_t dbPort;          // 0: the engine's own
    uint32_t evtChannelPort; // TCP, 0 off
    uint16_t tcpPort;        // SIP over TCP, 0 off
    uint16_t tlsPort;        // SIP over TLS, 0 off
    uint8_t id;              // key, always 1
    uint8_t isUpnp;
    uint8_t callFlags;    // Esys_flag; bit 7 kept
    uint8_t defaultRoute; // 0 local user, 1 else an external line
    uint8_t isSmtpTls;
    char servicePrefix; // first character of service codes; NUL: off
    char evtChannelPassword[33];
    char localAddr[65];  // blank: all interfaces
    char publicAddr[65]; // blank: learned by STUN, else none
    char sipDomain[65];  // blank: own address
    char realm[65];
    char stunAddr1[65]; // blank: STUN off
    char stunAddr2[65];
    char dbAddr[65]; // "local": embedded engine; blank: none
    char dbUser[80];
    char dbPassword[80];
    char dbName[65];
    char smtpAddr[65]; // "host[:port]"; blank: no mail
    char smtpUser[80];
    char smtpPassword[80];
    char learnedAddr[65]; // public address that STUN told last
    char reserved[3];     // fills the last word; always zero
};

static_assert(std::has_unique_object_representations_v<Cdb_sys_data>, "padding would break byte comparison");

// A record that its user changes in place and then saves.
class Cbcl_db_tbl {
public:
    Cbcl_db_tbl() = default;
    virtual ~Cbcl_db_tbl() = default;
    Cbcl_db_tbl(const Cbcl_db_tbl&) = delete;
    Cbcl_db_tbl& operator=(const Cbcl_db_tbl&) = delete;

    void SetModified() { _isModified = true; }
    // Stores the record when it was marked as modified. 0 when it is on disk (or nothing was to be done), else 1; then
    // it holds again what is stored.
    unsigned SaveDB();

protected:
    virtual unsigned save() = 0;

private:
    bool _isModified = false;
};

// The record that the facade holds and the console edits, on the GUI thread. The server reads snapshots of it.
class Cdb_sys_tbl : public Cbcl_db_tbl, public Cdb_sys_data {
public:
    explicit Cdb_sys_tbl(Cdb_fac_mgr& store) : _store(store) {}

protected:
    unsigned save() override;

private:
    Cdb_fac_mgr& _store;
};
