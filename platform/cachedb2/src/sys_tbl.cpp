#include "cachedb2/sys_tbl.h"

#include "bcl2/text.h"
#include "cachedb2/fac_mgr.h"
#include "tables.h"

#include <array>
#include <cstring>
#include <string>

namespace {

using S = Cdb_sys_data;

constexpr const char* kDefaultRealm = "parlovex";
constexpr int kSipPort = 5060;  // RFC 3261 section 19.1.2
constexpr int kStunPort = 3478; // RFC 8489 section 18.6
constexpr uint8_t kDefaultFlags = kSysAuthCalls | kSysAnnounce | kSysStoreCdr | kSysSessionTimers;
static_assert(kDefaultFlags == 106);

// Stored order.
constexpr std::array kFields = {
    field<&S::id>("id").key().def(1),
    field<&S::evtChannelPassword>("evtChannelPassword"),
    field<&S::rtpPortFirst>("rtpPortFirst").def(10000),
    field<&S::rtpPortLast>("rtpPortLast").def(19999),
    field<&S::evtChannelPort>("evtChannelPort").group(18),
    field<&S::isUpnp>("isUpnp").group(24),
    field<&S::localAddr>("localAddr"),
    field<&S::publicAddr>("publicAddr"),
    field<&S::sipDomain>("sipDomain"),
    field<&S::udpPort>("udpPort").def(kSipPort),
    field<&S::tcpPort>("tcpPort").def(kSipPort),
    field<&S::tlsPort>("tlsPort"),
    field<&S::realm>("realm").def(kDefaultRealm),
    field<&S::servicePrefix>("servicePrefix").def('*'),
    field<&S::defaultRoute>("defaultRoute").group(16),
    field<&S::callFlags>("callFlags").def(kDefaultFlags),
    field<&S::stunAddr1>("stunAddr1"),
    field<&S::stunPort1>("stunPort1").def(kStunPort),
    field<&S::stunAddr2>("stunAddr2"),
    field<&S::stunPort2>("stunPort2").def(kStunPort),
    field<&S::dbAddr>("dbAddr").def("local").group(17),
    field<&S::dbPort>("dbPort").group(17),
    field<&S::dbUser>("dbUser").group(11),
    field<&S::dbPassword>("dbPassword").group(11),
    field<&S::dbName>("dbName").group(14),
    field<&S::smtpAddr>("smtpAddr").group(15),
    field<&S::smtpUser>("smtpUser").group(15),
    field<&S::smtpPassword>("smtpPassword").group(15),
    field<&S::isSmtpTls>("isSmtpTls").group(16),
    field<&S::learnedAddr>("learnedAddr").group(13),
};

} // namespace

const Table& systemTable()
{
    static const Table& table = *new Table("tbl_system", kFields, Edb_table::System);
    return table;
}

void Cdb_sys_data::Init()
{
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    systemTable().init(this);
}

uint16_t Cdb_sys_data::servedUdpPort() const
{
    constexpr int kMaxPort = 65535;
    return static_cast<uint16_t>(udpPort >= 1 && udpPort <= kMaxPort ? udpPort : kSipPort);
}

void Cdb_sys_data::InitV11()
{
    systemTable().initGroup(this, 11);
}

void Cdb_sys_data::InitV13()
{
    systemTable().initGroup(this, 13);
}

void Cdb_sys_data::InitV14()
{
    systemTable().initGroup(this, 14);
}

void Cdb_sys_data::InitV15()
{
    systemTable().initGroup(this, 15);
}

void Cdb_sys_data::InitV16()
{
    systemTable().initGroup(this, 16);
}

void Cdb_sys_data::InitV17()
{
    systemTable().initGroup(this, 17);
}

void Cdb_sys_data::InitV18()
{
    systemTable().initGroup(this, 18);
}

void Cdb_sys_data::InitV24()
{
    systemTable().initGroup(this, 24);
}

void Cdb_sys_data::SetRealm(const char* text)
{
    // It stands in the headers of every challenge: a line break would end them there.
    std::string clean(text == nullptr ? "" : text);
    std::erase_if(clean, [](unsigned char each) { return each < 0x20 || each == 0x7f; });
    const std::string_view trimmed = BclTrimmed(clean);
    BclCopyStr(realm, trimmed.empty() ? kDefaultRealm : std::string(trimmed).c_str());
}

unsigned Cbcl_db_tbl::SaveDB()
{
    if (!_isModified)
        return kDbOk;
    const unsigned result = save();
    if (result == kDbOk)
        _isModified = false;
    return result;
}

unsigned Cdb_sys_tbl::save()
{
    const unsigned result = _store.DbSetSysData(*this);
    // What is not stored is not to be seen as if it were.
    if (result != kDbOk)
        static_cast<Cdb_sys_data&>(*this) = *_store.system().get();
    return result;
}
