#include "support/server_fixture.h"

#include "support/free_port.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"
#include "callserver/app.h"

#include <cstdlib>
#include <utility>

namespace {

Capp* theServer = nullptr; // never destroyed

} // namespace

ServerFixture::ServerFixture() : port(freeUdpPort())
{
    setenv("PARLOVEX_HOME", home.path().c_str(), 1);
}

ServerFixture::~ServerFixture()
{
    if (theServer != nullptr)
        CloseServer();
}

void ServerFixture::fillStore(const std::function<void(Cdb_fac_mgr&)>& fill)
{
    Cdb_fac_mgr store;
    ASSERT_TRUE(store.isOpen());
    fill(store);
}

void ServerFixture::setListening(Cdb_fac_mgr& store, const std::string& address, uint16_t port)
{
    Cdb_sys_tbl* record = store.DbGetSysTbl();
    ASSERT_NE(record, nullptr);
    BclCopyStr(record->localAddr, address.c_str());
    record->udpPort = port;
    record->tcpPort = 0;
    record->tlsPort = 0;
    record->SetModified();
    ASSERT_EQ(record->SaveDB(), kDbOk);
}

void ServerFixture::addUsers(Cdb_fac_mgr& store, unsigned first, unsigned count)
{
    ASSERT_EQ(store.DbAddUserMany(first, count, "secret"), kDbOk);
}

void ServerFixture::addUser(Cdb_fac_mgr& store, const std::string& name, const std::string& password,
                            const std::function<void(Cdb_usr_info&)>& change)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    BclCopyStr(record.password, password.c_str());
    if (change)
        change(record);
    ASSERT_EQ(store.DbSetLocalUserData(record), kDbOk);
}

void ServerFixture::startOnly()
{
    theServer = new Capp;
    theServer->Run();
}

void ServerFixture::start(const std::string& address)
{
    fillStore([&](Cdb_fac_mgr& filled) {
        setListening(filled, address, port);
        Cdb_sys_tbl* record = filled.DbGetSysTbl();
        record->tcpPort = tcpPort;
        record->tlsPort = tlsPort;
        record->SetModified();
        ASSERT_EQ(record->SaveDB(), kDbOk);
    });
    startOnly();
    Cbcl_uaddr listening;
    listening.setAddress(address.c_str(), port);
    ASSERT_TRUE(events.waitFor("log SIP over UDP is ready on " + std::string(listening.getURLStr()) + "."));
    for (const auto& [name, streamPort] : {std::pair("TCP", tcpPort), std::pair("TLS", tlsPort)}) {
        listening.setAddress(address.c_str(), streamPort);
        const std::string line = std::string("log SIP over ") + name + " is ready on " + listening.getURLStr() + ".";
        ASSERT_TRUE(streamPort == 0 || events.waitFor(line)) << line;
    }
}

Capp& ServerFixture::server()
{
    return *theServer;
}

Cdb_fac_mgr& ServerFixture::store()
{
    return *theServer->GetFacMgr();
}

std::string ServerFixture::sql(const std::string& statement)
{
    Cdb_query query(store().GetCacheDB());
    return query.prepare(statement.c_str()) == kDbOk && query.step() == kDbRow ? query.getRow(0) : "no row";
}
