// A registrar with users, a fake clock and the changes that it told of.
#pragma once

#include "callserver/fake_clock.h"
#include "registrar/registrar.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

class RegistrarFixture : public testing::Test {
protected:
    RegistrarFixture();

    // Adds or changes a user of the store; the registrar is not told.
    void putUser(const std::string& name, const std::string& password,
                 const std::function<void(Cdb_usr_info&)>& change = {});
    void removeUser(const std::string& name);

    static RegisterContact contact(const std::string& uri, std::optional<uint32_t> expires = std::nullopt);
    // A request of user 1000 from 192.0.2.1:5060 without credentials.
    static RegisterRequest request(const std::vector<RegisterContact>& contacts, const std::string& user = "1000");
    // Credentials of the user, for the first challenge of a reply.
    std::string credentials(const RegisterReply& challenge, const RegisterRequest& asked, const std::string& user,
                            const std::string& password, const std::string& nc = "00000001");
    // The whole of it: challenge, credentials, answer. CSeq counts on by itself when `asked.cseq` is 0.
    RegisterReply handle(RegisterRequest asked, const std::string& password = "secret");
    RegisterReply registerFrom(const std::string& uri, const std::string& address = "192.0.2.1", uint16_t port = 5060);

    // The changes since the last call.
    std::vector<UserChange> takeChanges() { return std::exchange(changes, {}); }
    // The only change since the last call.
    UserChange takeChange();
    // What would be read from the store after a restart: the newest state of each user.
    std::vector<Cdb_user_bindings> stored() const;
    // A registrar as the next start of the server would make it.
    void restart();

    FakeClock clock;
    SnapshotBox<Snapshot<Cdb_usr_info>> users;
    SnapshotBox<Cdb_sys_data> system;
    std::vector<UserChange> changes;
    std::unique_ptr<Registrar> registrar;

private:
    std::map<std::string, Cdb_user_bindings> _stored;
    uint32_t _cseq = 0;
};
