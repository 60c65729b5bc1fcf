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

} // namespace
