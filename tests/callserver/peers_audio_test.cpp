// Two telephones that talk: what one sings the other hears.
#include "support/baresip.h"
#include "support/free_port.h"
#include "support/server_fixture.h"

#include <csignal>
#include <cstdlib>
#include <memory>

namespace {

constexpr unsigned kCallerHz = 400;
constexpr unsigned kCalledHz = 1000;

class AudioTest : public ServerFixture, public testing::WithParamInterface<std::string> {
protected:
    // Half a second of the tone is in what was heard: each telephone is asked for its last sound.
    static void expectTone(const TemporaryFolder& folder, unsigned hertz, const ChildProcess& telephone)
    {
        constexpr size_t kWanted = 4000;
        constexpr int kLoud = 5000;
        const std::vector<int16_t> heard = heardBy(folder);
        ASSERT_GE(heard.size(), 2 * kWanted) << telephone.output();
        size_t crossings = 0;
        int loudest = 0;
        for (size_t i = heard.size() - kWanted; i < heard.size(); ++i) {
            crossings += (heard[i] < 0) != (heard[i - 1] < 0) ? 1 : 0;
            loudest = std::max(loudest, std::abs(heard[i]));
        }
        EXPECT_GT(loudest, kLoud);
        EXPECT_NEAR(static_cast<double>(crossings), hertz, hertz / 10.0) << "twice a period, for half a second";
    }

    TemporaryFolder callerFolder;
    TemporaryFolder calledFolder;
    TemporaryFolder thirdFolder;
};

INSTANTIATE_TEST_SUITE_P(Transports, AudioTest, testing::Values("udp", "tls"),
                         [](const testing::TestParamInfo<std::string>& tested) { return tested.param; });

TEST_P(AudioTest, TwoTelephonesHearEachOther)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 2001, 2); });
    tlsPort = freeTcpPort();
    start();
    const std::unique_ptr<ChildProcess> called = startBaresipWithAudio(calledFolder, "2002", port, "udp", {kCalledHz});
    ASSERT_TRUE(events.waitFor("state 2002 1")) << called->output();
    const bool isTls = GetParam() == "tls";
    const std::unique_ptr<ChildProcess> caller =
        startBaresipWithAudio(callerFolder, "2001", isTls ? tlsPort : port, GetParam(), {kCallerHz, "2002"});
    ASSERT_TRUE(events.waitFor("call 1 answer 2001 2002 2002")) << caller->output();
    // Nobody but the telephones sends sound: the server has no sockets for it.
    constexpr const char* kSound = "incoming rtp for 'audio' established, receiving from 127.0.0.1:";
    EXPECT_TRUE(caller->waitForOutput(kSound)) << caller->output();
    EXPECT_TRUE(called->waitForOutput(kSound)) << called->output();
    // Both files grow while they talk, in steps of the writer's buffer.
    constexpr size_t kEnough = 8'000;
    EXPECT_TRUE(waitUntil([&] { return heardBy(callerFolder).size() > kEnough; })) << caller->output();
    EXPECT_TRUE(waitUntil([&] { return heardBy(calledFolder).size() > kEnough; })) << called->output();
    EXPECT_TRUE(events.waitFor("state 2001 3"));

    caller->sendSignal(SIGTERM); // hangs up
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200")) << caller->output();
    EXPECT_TRUE(called->waitForOutput("terminated (duration")) << called->output();
    called->sendSignal(SIGTERM);
    EXPECT_TRUE(caller->wait().has_value());
    EXPECT_TRUE(called->wait().has_value());
    expectTone(callerFolder, kCalledHz, *caller);
    expectTone(calledFolder, kCallerHz, *called);
}

TEST_P(AudioTest, ATransferredTelephoneHearsTheNewSide)
{
    constexpr unsigned kThirdHz = 2000;
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 2001, 3); });
    tlsPort = freeTcpPort();
    start();
    const bool isTls = GetParam() == "tls";
    const uint16_t commandPort = freeTcpPort();
    const std::unique_ptr<ChildProcess> third =
        startBaresipWithAudio(thirdFolder, "2003", isTls ? tlsPort : port, GetParam(), {kThirdHz});
    ASSERT_TRUE(events.waitFor("state 2003 1")) << third->output();
    const std::unique_ptr<ChildProcess> called =
        startBaresipWithAudio(calledFolder, "2002", port, "udp", {kCalledHz, {}, commandPort});
    ASSERT_TRUE(events.waitFor("state 2002 1")) << called->output();
    const std::unique_ptr<ChildProcess> caller =
        startBaresipWithAudio(callerFolder, "2001", port, "udp", {kCallerHz, "2002"});
    ASSERT_TRUE(events.waitFor("call 1 answer 2001 2002 2002")) << caller->output();
    constexpr size_t kEnough = 8'000;
    ASSERT_TRUE(waitUntil([&] { return heardBy(calledFolder).size() > kEnough; })) << called->output();

    ASSERT_TRUE(tellBaresip(commandPort, "transfer", "sip:2003@127.0.0.1:" + std::to_string(port)));
    EXPECT_TRUE(events.waitFor("call 2 answer 2001 2003 2003")) << third->output();
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200")) << called->output();
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
    EXPECT_TRUE(waitUntil([&] { return heardBy(thirdFolder).size() > kEnough; })) << third->output();
    const size_t before = heardBy(callerFolder).size();
    EXPECT_TRUE(waitUntil([&] { return heardBy(callerFolder).size() > before + 2 * kEnough; })) << caller->output();

    caller->sendSignal(SIGTERM);
    EXPECT_TRUE(events.waitFor("call 2 end 2001 2003 2003 200")) << caller->output();
    third->sendSignal(SIGTERM);
    called->sendSignal(SIGTERM);
    EXPECT_TRUE(caller->wait().has_value());
    EXPECT_TRUE(third->wait().has_value());
    EXPECT_TRUE(called->wait().has_value());
    expectTone(callerFolder, kThirdHz, *caller);
    expectTone(thirdFolder, kCallerHz, *third);
}

} // namespace
