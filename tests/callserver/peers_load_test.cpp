// Many telephones at once, with strangers among them.
#include "support/junk_sender.h"
#include "support/server_fixture.h"
#include "support/sip_client.h"
#include "support/sipp.h"

#include "cachedb2/switch_variants.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

namespace {

// Seconds that a test lasts, as the variable of the environment says.
unsigned secondsWanted(const char* variable, unsigned usual)
{
    const char* const wanted = std::getenv(variable);
    return wanted == nullptr ? usual : static_cast<unsigned>(std::max(1, std::atoi(wanted)));
}

class LoadTest : public ServerFixture {
protected:
    void fill(unsigned users)
    {
        fillStore([&](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, kFirstUser, users);
        });
        // One source sends what would come from many.
        (void)home.write("switch.ini", "[switch]\ngVarSipChallengeRate=0\n");
    }
    [[nodiscard]] SippPlan plan(unsigned users, unsigned perSecond, unsigned seconds) const
    {
        SippPlan result;
        result.scenario = "register.xml";
        result.serverPort = port;
        for (unsigned i = 0; i < users; ++i)
            result.users.push_back({std::to_string(kFirstUser + i), "secret"});
        result.perSecond = perSecond;
        result.count = perSecond * seconds;
        return result;
    }

    static constexpr unsigned kFirstUser = 1000;
};

// Nothing is sent twice: a reply that is lost, or a request that is not taken, is a registration that fails.
TEST_F(LoadTest, NoReplyIsLost)
{
    const unsigned seconds = secondsWanted("PARLOVEX_LOAD_SECONDS", 3);
    const bool isLong = seconds > 3;
    const unsigned users = isLong ? 5000 : 500;
    fill(users);
    ASSERT_EQ(DbInitSwitchVariants(home.file("switch.ini").c_str()), 0U);
    start();
    SippPlan load = plan(users, isLong ? 2000 : 1000, seconds);
    load.isRepeating = false;
    const SippResult result = SippLoad(scratch, load).wait();
    EXPECT_TRUE(result.isAll(load.count)) << result.successful << " of " << load.count << "\n" << result.output;
    EXPECT_TRUE(events.waitForCount("state ", users));
    EXPECT_EQ(sql("select count(*) from tbl_sip_reg where usrStage=1 and preAddr='127.0.0.1'"), std::to_string(users));
    EXPECT_EQ(events.count("state "), users) << "a refresh is no news";
}

TEST_F(LoadTest, GoodRegistrationsSucceedAmongJunk)
{
    constexpr unsigned kUsers = 100;
    constexpr unsigned kJunkPerSecond = 10'000; // from each of two sources
    const unsigned seconds = secondsWanted("PARLOVEX_JUNK_SECONDS", 3);
    fill(kUsers);
    ChildProcess server({TEST_SERVER}, scratch.file("server"));
    ASSERT_TRUE(server.waitForOutput("ready on 127.0.0.1:"));
    const unsigned junk = kJunkPerSecond * seconds;
    // One that nobody knows, and one that the telephones share.
    JunkSender stranger("127.0.0.9", port, kJunkPerSecond, junk);
    JunkSender neighbour("127.0.0.1", port, kJunkPerSecond, junk);
    const SippPlan load = plan(kUsers, 100, seconds);
    const SippResult result = SippLoad(scratch, load).wait();
    EXPECT_TRUE(result.isAll(load.count)) << result.successful << " of " << load.count << "\n" << result.output;
    stranger.wait();
    neighbour.wait();
    EXPECT_EQ(stranger.sent() + neighbour.sent(), 2 * junk);
    EXPECT_EQ(SipClient("127.0.0.1", port).request("OPTIONS", "x").status, 200);
    server.sendSignal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    // A line for each user and a few for the server: strangers do not fill the log.
    const std::string said = server.output();
    EXPECT_LE(std::count(said.begin(), said.end(), '\n'), kUsers + 10) << said.substr(0, 4096);
}

} // namespace
