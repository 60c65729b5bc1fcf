// What a server that is started anew knows of its telephones.
#include "support/child_process.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"

#include "bcl2/date.h"
#include "bcl2/text.h"

#include <csignal>
#include <map>

namespace {

constexpr unsigned kFirstUser = 1000;
constexpr unsigned kUsers = 5000;
constexpr unsigned kEveryExpired = 10; // of so many users one has a registration that expires meanwhile
constexpr int64_t kLongAgo = 86'400;   // s; more than any registration lives

bool isExpired(unsigned number)
{
    return number % kEveryExpired == 0;
}

using Stored = std::map<std::string, Cdb_user_bindings>;

Stored byUser(std::vector<Cdb_user_bindings>&& list)
{
    Stored result;
    for (Cdb_user_bindings& bindings : list)
        result.emplace(bindings.userName, std::move(bindings));
    return result;
}

class RestartTest : public ServerFixture {
protected:
    RestartTest()
    {
        fillStore([this](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, kFirstUser, kUsers);
        });
        (void)home.write("switch.ini", "[switch]\ngVarSipChallengeRate=0\n");
    }

    // Runs the server while `use` does something with it, and ends it in order. Gives what it said.
    std::string runServer(const std::string& outputName, const std::function<void()>& use)
    {
        ChildProcess server({TEST_SERVER}, scratch.file(outputName));
        EXPECT_TRUE(server.waitForOutput("ready on 127.0.0.1:" + std::to_string(port)));
        use();
        server.sendSignal(SIGTERM);
        EXPECT_EQ(server.wait(), 0);
        return server.output();
    }

    void registerAll()
    {
        std::vector<SippUser> users;
        for (unsigned i = 0; i < kUsers; ++i)
            users.push_back({std::to_string(kFirstUser + i), "secret"});
        EXPECT_EQ(runSipp(scratch, "register.xml", port, users, 2000), 0);
    }

    // As if the server had been away for a day, and only some telephones had been promised as much.
    static Stored letExpire()
    {
        Stored result;
        fillStore([&](Cdb_fac_mgr& left) {
            result = byUser(left.DbReadRegistrations());
            std::vector<Cdb_user_bindings> changed;
            for (auto& [user, bindings] : result) {
                if (!isExpired(static_cast<unsigned>(std::stoul(user))))
                    continue;
                for (Cdb_sip_contact& contact : bindings.contacts) {
                    contact.registeredAt -= kLongAgo;
                    contact.expiresAt -= kLongAgo;
                }
                changed.push_back(bindings);
            }
            EXPECT_EQ(changed.size(), kUsers / kEveryExpired);
            EXPECT_EQ(left.DbWriteRegistrations(changed), kDbOk);
        });
        return result;
    }

    // By what the server itself answers.
    void expectContacts(const Stored& before)
    {
        SipClient client("127.0.0.1", port);
        for (const auto& [user, bindings] : before) {
            const SipAnswer listed = client.registerUser(user, "secret", {});
            ASSERT_EQ(listed.status, 200) << user;
            const std::string contact = listed.header("Contact");
            if (isExpired(static_cast<unsigned>(std::stoul(user)))) {
                ASSERT_EQ(contact, "") << user;
                continue;
            }
            const std::string begin = "<" + std::string(BclFieldText(bindings.contacts.at(0).contact)) + ">;expires=";
            ASSERT_EQ(contact.substr(0, begin.size()), begin) << user;
            const int expires = std::stoi(contact.substr(begin.size()));
            ASSERT_TRUE(expires > 0 && expires <= 3600) << contact;
            ASSERT_EQ(listed.headers("Contact").size(), 1U) << user;
        }
    }
};

void expectSameContact(const Cdb_sip_contact& before, const Cdb_sip_contact& after)
{
    EXPECT_EQ(BclFieldText(after.contact), BclFieldText(before.contact));
    EXPECT_EQ(BclFieldText(after.srcAddr), BclFieldText(before.srcAddr));
    EXPECT_EQ(BclFieldText(after.userAgent), BclFieldText(before.userAgent));
    EXPECT_EQ(after.srcPort, before.srcPort);
    EXPECT_EQ(after.transport, before.transport);
    EXPECT_EQ(after.priority, before.priority);
}

TEST_F(RestartTest, ThousandsOfBindingsAreBackAndExpiredOnesAreGone)
{
    runServer("first", [this] { registerAll(); });
    const Stored before = letExpire();
    ASSERT_EQ(before.size(), kUsers);
    const std::string said = runServer("second", [&] { expectContacts(before); });
    EXPECT_EQ(said.find(" registered from"), std::string::npos) << "nobody has registered anew";
    EXPECT_NE(said.find(std::to_string(kUsers / kEveryExpired) + " registrations expired"), std::string::npos) << said;

    fillStore([&](Cdb_fac_mgr& left) {
        const Stored after = byUser(left.DbReadRegistrations());
        EXPECT_EQ(after.size(), kUsers - kUsers / kEveryExpired);
        for (const auto& [user, bindings] : after) {
            ASSERT_FALSE(isExpired(static_cast<unsigned>(std::stoul(user)))) << user;
            const Cdb_user_bindings& former = before.at(user);
            ASSERT_TRUE(bindings.hasRow) << user;
            ASSERT_EQ(bindings.row.usrStage, kUsrIdle) << user;
            ASSERT_EQ(BclFieldText(bindings.row.preAddr), "127.0.0.1") << user;
            ASSERT_EQ(bindings.row.prePort, former.row.prePort) << user;
            ASSERT_EQ(bindings.contacts.size(), 1U) << user;
            expectSameContact(former.contacts.at(0), bindings.contacts.at(0));
        }
    });
}

} // namespace
