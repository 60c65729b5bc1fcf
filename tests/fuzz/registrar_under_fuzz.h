// A registrar with a few users, whose clock stands still, and what must hold of its answers.
#pragma once

#include "callserver/fake_clock.h"
#include "registrar/digest.h"
#include "registrar/registrar.h"

#include <memory>
#include <string>

// Users 1000 and watson have the password "secret", user 1001 has none, user 1002 is expired. One thread at a time.
class RegistrarUnderFuzz {
public:
    RegistrarUnderFuzz();

    // Begins anew, so that an input means the same whatever came before it.
    void reset();
    // In credentials NONCE and RESPONSE stand for a valid nonce and the right answer, so that an input can get in.
    RegisterReply handle(RegisterRequest request);

private:
    [[nodiscard]] std::string signedText(const RegisterRequest& request, const std::string& text);
    void checkChange(const UserChange& change) const;

    FakeClock _clock;
    SnapshotBox<Snapshot<Cdb_usr_info>> _users;
    SnapshotBox<Cdb_sys_data> _system;
    DigestHasher _hasher;
    std::unique_ptr<Registrar> _registrar;
};
