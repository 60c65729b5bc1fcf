// What the configuration has to do with the network around it: names to look up, ports to map.
#include "store.h"

#include "bcl2/text.h"

unsigned Cdb_fac_mgr::DbSysDNSGet()
{
    if (!isOpen())
        return kDbFailed;
    const auto system = _impl->system.get();
    std::vector<HostUse> hosts{
        {"STUN server", hostOf(BclFieldText(system->stunAddr1))},
        {"STUN server", hostOf(BclFieldText(system->stunAddr2))},
        {"SMTP server", hostOf(BclFieldText(system->smtpAddr))},
        {"Public address", hostOf(BclFieldText(system->publicAddr))},
    };
    if (const std::string database = hostOf(BclFieldText(system->dbAddr)); database != kEmbeddedDatabase)
        hosts.push_back({"Remote database", database});
    for (const auto& line : _impl->rows<Cdb_ext_line_info>()->inOrder()) {
        const std::string name = "External line " + BclPrintable(BclFieldText(line->extName)) + ":";
        hosts.push_back({name + " server", hostOf(BclFieldText(line->serverAddr))});
        hosts.push_back({name + " proxy", hostOf(BclFieldText(line->proxyAddr))});
    }
    for (const auto& peer : _impl->rows<Cdb_peer_server>()->inOrder())
        hosts.push_back({"Peer server " + std::to_string(peer->sid), hostOf(BclFieldText(peer->peerAddr))});
    _impl->hostLookup.ask(std::move(hosts));
    return kDbOk;
}

unsigned Cdb_fac_mgr::searchUPnP()
{
    if (!isOpen())
        return kDbFailed;
    _impl->portMapper->ask(portsToMap(*_impl->system.get()));
    return kDbOk;
}
