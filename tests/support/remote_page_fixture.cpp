#include "support/remote_page_fixture.h"

#include "bcl2/text.h"
#include "cachedb2/sys_tbl.h"

void RemotePageFixture::SetUp()
{
    EditorFixture::SetUp();
    if (engine() == RemoteEngine::MariaDb) {
        _server = std::make_unique<MariaServer>();
        _server->start();
        applySettings(ownSettings());
    }
    ASSERT_TRUE(waitForRemote(true));
}

bool RemotePageFixture::waitForRemote(bool isActive)
{
    return waitUntil([this, isActive] { return (store().IsRemoteDbActive() != 0) == isActive; });
}

void RemotePageFixture::leaveRemote()
{
    applySettings({});
    ASSERT_TRUE(waitForRemote(false));
}

void RemotePageFixture::comeBack()
{
    applySettings(ownSettings());
    ASSERT_TRUE(waitForRemote(true));
}

Cdb_remote_settings RemotePageFixture::ownSettings() const
{
    if (engine() == RemoteEngine::Embedded)
        return {"local", 0, "", "", ""};
    return {"127.0.0.1", _server->port(), MariaServer::kUser, MariaServer::kPassword, MariaServer::kDatabase};
}

void RemotePageFixture::applySettings(const Cdb_remote_settings& settings)
{
    Cdb_sys_data system = *store().system().get();
    BclCopyStr(system.dbAddr, settings.address.c_str());
    system.dbPort = static_cast<int32_t>(settings.port);
    BclCopyStr(system.dbUser, settings.user.c_str());
    BclCopyStr(system.dbPassword, settings.password.c_str());
    BclCopyStr(system.dbName, settings.database.c_str());
    ASSERT_EQ(store().DbSetSysData(system), kDbOk);
}

void RemotePageFixture::sql(const std::string& statements)
{
    if (engine() == RemoteEngine::MariaDb)
        _server->sql(statements);
    else
        writeFromOutside(statements.c_str(), "billing.db");
}

void RemotePageFixture::refuse(const std::string& what, const std::string& table)
{
    const std::string refusal = engine() == RemoteEngine::MariaDb
                                    ? "for each row signal sqlstate '45000'"
                                    : "begin select raise(abort, 'refused by the test'); end";
    sql("create trigger refuse_" + what + " before " + what + " on " + table + ' ' + refusal);
}

std::string remoteEngineName(const testing::TestParamInfo<RemoteEngine>& info)
{
    return info.param == RemoteEngine::Embedded ? "Embedded" : "MariaDb";
}
