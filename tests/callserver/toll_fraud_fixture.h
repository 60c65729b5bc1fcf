// A house with ways out, and those who try them.
#pragma once

#include "callserver/calls_fixture.h"
#include "registrar/digest.h"

#include "bcl2/text.h"
#include "cachedb2/switch_variants.h"

#include <string>

class TollFraudTest : public CallsFixture {
protected:
    static constexpr const char* kOutside = "0049301234"; // over the external line, level 2
    static constexpr const char* kTrunk = "99100";        // over the peer server
    static constexpr const char* kFree = "0800";          // over the line, free for all
    static constexpr const char* kEmergency = "112";
    static constexpr const char* kElsewhere = "203.0.113.9";

    // A line for numbers that begin with 0 and emergency calls, a peer server for those with 99. Users are asked for
    // their password, "secret".
    TollFraudTest()
    {
        BclCopyStr(gVarCcfEmergencyNumbers, kEmergency);
        changeSystem([](Cdb_sys_data& system) { system.callFlags = kSysAuthCalls; });
        for (const char* user : {"2001", "2002", "2003"})
            changeUser(user, [](Cdb_usr_info& record) { BclCopyStr(record.password, "secret"); });
        Cdb_ext_line_info line;
        BclCopyStr(line.extName, "city");
        BclCopyStr(line.serverAddr, "198.51.100.200");
        EXPECT_EQ(store.DbExtLineSet(line), kDbOk);
        EXPECT_EQ(store.DbPeerServerSet(1, Cdb_sip_domain_data()), kDbOk);
        addRule("0", kRtExtLine, 2);
        addRule("99", kRtSipTrunk, 0);
        addRule(kFree, kRtExtLine, 0);
        addRule(kEmergency, kRtExtLine, 2);
    }

    void addRule(const char* prefix, uint32_t route, uint32_t level, const char* plan = "default")
    {
        Cdb_nbr_cld_ana_data rule;
        BclCopyStr(rule.calledPrefix, prefix);
        BclCopyStr(rule.dialPlan, plan);
        BclCopyStr(rule.extLine, "city");
        rule.routeType = route;
        rule.level = level;
        rule.peerServerId = 1;
        EXPECT_EQ(store.DbNbrCldAnaSet(rule), kDbOk);
    }
    void setFlags(uint8_t flags)
    {
        changeSystem([flags](Cdb_sys_data& system) { system.callFlags = flags; });
    }
    void giveAddress(const char* name, const std::string& address, uint32_t port)
    {
        changeUser(name, [&](Cdb_usr_info& user) {
            user.flags |= kUsrIpAuth;
            user.ipPort = port;
            BclCopyStr(user.ipAddr, address.c_str());
        });
    }
    void restrict(const char* name, uint32_t levels)
    {
        changeUser(name, [levels](Cdb_usr_info& user) { user.levels = Cbcl_bit_set(levels); });
    }

    static FakePhone at(const std::string& user, const std::string& address = kElsewhere, uint16_t port = 5060)
    {
        return {user, {address, port, kTransportUdp}};
    }

    // "leaves" when the call is given to a line or peer server, "rings" when a telephone of the house is called; else
    // the refusal.
    std::string outcome(const CallMessage& request)
    {
        const size_t before = transport.sent.size();
        const HeardPtr heard = deliver(request);
        if (heard->status() == 503)
            return "leaves"; // and ends there: lines and peer servers are not served yet
        return transport.sent.size() > before ? "rings" : std::to_string(heard->status());
    }
    std::string outcome(const FakePhone& from, const std::string& dialed, const Change& change = {})
    {
        CallMessage invite = initial(from, dialed, SipMethod::Invite);
        invite.body = sdp(kOffer);
        if (change)
            change(invite);
        return outcome(invite);
    }

    static std::string valueOf(const std::string& challenge, const std::string& name)
    {
        const size_t begin = challenge.find(name + "=\"") + name.size() + 2;
        return challenge.substr(begin, challenge.find('"', begin) - begin);
    }
    std::string challengeFor(const CallMessage& request) { return deliver(request)->answers.back().headers; }
    static void sign(CallMessage& request, const std::string& challenge, const std::string& user,
                     const std::string& password = "secret", const char* method = nullptr)
    {
        const std::string nonce = valueOf(challenge, "nonce");
        const std::string realm = valueOf(challenge, "realm");
        DigestHasher hasher;
        const HexDigest response = hasher.response(
            DigestAlgorithm::Md5, user, realm, password,
            {method != nullptr ? method : request.methodName.c_str(), request.requestUri, nonce, "00000001", "c0"});
        request.authorizations = {"Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" + nonce +
                                  "\", uri=\"" + request.requestUri + "\", response=\"" + std::string(response.view()) +
                                  "\", algorithm=MD5, cnonce=\"c0\", qop=auth, nc=00000001"};
    }
    // With the right answer of `signer` to a challenge of its own.
    CallMessage authenticated(const FakePhone& from, const std::string& dialed, const std::string& signer,
                              const Change& change = {})
    {
        CallMessage request = initial(from, dialed, SipMethod::Invite);
        if (change)
            change(request);
        sign(request, challengeFor(request), signer);
        ++request.cseq;
        return request;
    }
    // Nobody but telephones of the house was sent anything.
    void expectNothingOutside()
    {
        for (const SentPtr& sent : transport.sent)
            EXPECT_TRUE(sent->request.destination.address.starts_with("192.0.2."))
                << sent->request.method << " to " << sent->request.destination.address;
    }
};
