#include "cachedb2/registrations.h"

#include "tables.h"

#include <array>
#include <cstring>

namespace {

using R = Cdb_sip_reg;
using C = Cdb_sip_contact;

constexpr std::array kRowFields = {
    field<&R::userName>("userName").key(), field<&R::preAddr>("preAddr"),     field<&R::prePort>("prePort"),
    field<&R::usrStage>("usrStage"),       field<&R::userAgent>("userAgent"),
};

constexpr std::array kContactFields = {
    field<&C::userName>("userName").key(),
    field<&C::contact>("contact").key(),
    field<&C::callId>("callId"),
    field<&C::cseq>("cseq"),
    field<&C::registeredAt>("registeredAt"),
    field<&C::expiresAt>("expiresAt"),
    field<&C::srcAddr>("srcAddr"),
    field<&C::srcPort>("srcPort"),
    field<&C::transport>("transport"),
    field<&C::priority>("priority"),
    field<&C::userAgent>("userAgent"),
};

} // namespace

const Table& registrationsTable()
{
    static const Table& table = *new Table("tbl_sip_reg", kRowFields);
    return table;
}

const Table& contactsTable()
{
    static const Table& table = *new Table("tbl_sip_contact", kContactFields);
    return table;
}

void Cdb_sip_reg::Init()
{
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    registrationsTable().init(this);
}

void Cdb_sip_contact::Init()
{
    std::memset(static_cast<void*>(this), 0, sizeof *this);
    contactsTable().init(this);
}
