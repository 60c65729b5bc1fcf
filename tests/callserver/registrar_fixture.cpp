#include "callserver/registrar_fixture.h"

#include "registrar/digest.h"
#include "registrar/digest_params.h"

#include "bcl2/text.h"

namespace {

std::string valueOf(const std::string& challenge, const std::string& name)
{
    const size_t start = challenge.find(name + "=");
    if (start == std::string::npos)
        return {};
    const size_t value = start + name.size() + 1;
    const bool isQuoted = challenge[value] == '"';
    const size_t end = challenge.find(isQuoted ? '"' : ',', value + 1);
    return isQuoted ? challenge.substr(value + 1, end - value - 1) : challenge.substr(value, end - value);
}

} // namespace

RegistrarFixture::RegistrarFixture()
{
    users.put(std::make_shared<const Snapshot<Cdb_usr_info>>());
    system.put(std::make_shared<const Cdb_sys_data>());
    restart();
    putUser("1000", "secret");
}

void RegistrarFixture::restart()
{
    const std::vector<Cdb_user_bindings> before = stored();
    registrar = std::make_unique<Registrar>(users, system, clock, [this](UserChange&& change) {
        if (!change.stored.userName.empty())
            _stored[change.stored.userName].follow(Cdb_user_bindings(change.stored));
        changes.push_back(std::move(change));
    });
    registrar->load(before);
}

std::vector<Cdb_user_bindings> RegistrarFixture::stored() const
{
    std::vector<Cdb_user_bindings> result;
    for (const auto& [name, bindings] : _stored)
        if (bindings.hasRow || !bindings.contacts.empty())
            result.push_back(bindings);
    return result;
}

void RegistrarFixture::putUser(const std::string& name, const std::string& password,
                               const std::function<void(Cdb_usr_info&)>& change)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    BclCopyStr(record.password, password.c_str());
    if (change)
        change(record);
    Snapshot<Cdb_usr_info>::Builder next(users.get());
    next.set(name, record);
    users.put(next.finish());
}

void RegistrarFixture::removeUser(const std::string& name)
{
    Snapshot<Cdb_usr_info>::Builder next(users.get());
    next.erase(name);
    users.put(next.finish());
}

RegisterContact RegistrarFixture::contact(const std::string& uri, std::optional<uint32_t> expires)
{
    RegisterContact result;
    result.uri = makeContactUri(uri);
    result.expires = expires;
    return result;
}

RegisterRequest RegistrarFixture::request(const std::vector<RegisterContact>& contacts, const std::string& user)
{
    RegisterRequest result;
    result.source = {"192.0.2.1", 5060, 0};
    result.requestUri = "sip:server.test";
    result.user = user;
    result.callId = "call-1";
    result.contacts = contacts;
    result.userAgent = "phone/1";
    return result;
}

std::string RegistrarFixture::credentials(const RegisterReply& challenge, const RegisterRequest& asked,
                                          const std::string& user, const std::string& password, const std::string& nc)
{
    const std::string& text = challenge.challenges.at(0);
    const std::string nonce = valueOf(text, "nonce");
    const std::string realm = valueOf(text, "realm");
    const std::string algorithm = valueOf(text, "algorithm");
    DigestHasher hasher;
    const HexDigest response = hasher.response(digestAlgorithmOf(algorithm).value(), user, realm, password,
                                               {"REGISTER", asked.requestUri, nonce, nc, "c0"});
    return "Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce + "\", uri=\"" +
           asked.requestUri + "\", response=\"" + std::string(response.view()) + "\", algorithm=" + algorithm +
           ", cnonce=\"c0\", qop=auth, nc=" + nc;
}

RegisterReply RegistrarFixture::handle(RegisterRequest asked, const std::string& password)
{
    if (asked.cseq == 0)
        asked.cseq = ++_cseq;
    const RegisterReply challenge = registrar->handle(asked);
    EXPECT_EQ(challenge.status, 401);
    asked.authorizations = {credentials(challenge, asked, asked.user, password)};
    return registrar->handle(asked);
}

RegisterReply RegistrarFixture::registerFrom(const std::string& uri, const std::string& address, uint16_t port)
{
    RegisterRequest asked = request({contact(uri)});
    asked.source = {address, port, 0};
    asked.callId = uri;
    return handle(asked);
}

UserChange RegistrarFixture::takeChange()
{
    std::vector<UserChange> all = takeChanges();
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? UserChange{} : std::move(all.front());
}
