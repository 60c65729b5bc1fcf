#include "support/child_process.h"
#include "support/server_fixture.h"

#include <filesystem>

namespace {

using BaresipTest = ServerFixture;

// Codecs only: no sound device, no picture, no console.
constexpr const char* kConfig = "sip_listen\t127.0.0.1:0\n"
                                "module_path\t/usr/lib/baresip/modules\n"
                                "module\tg711.so\n"
                                "module_app\taccount.so\n";

TEST_F(BaresipTest, ATelephoneRegistersAndLeaves)
{
    fillStore([](Cdb_fac_mgr& filled) { addUsers(filled, 1000, 1); });
    start();
    (void)scratch.write("config", kConfig);
    (void)scratch.write("contacts", "");
    (void)scratch.write("accounts", "<sip:1000@127.0.0.1:" + std::to_string(port) + ">;auth_pass=secret;regint=600\n");
    ChildProcess telephone({"baresip", "-f", scratch.path(), "-t", std::to_string(kTestPatience.count())},
                           scratch.file("output.txt"));
    ASSERT_TRUE(events.waitForPart("log User 1000 registered from 127.0.0.1:")) << telephone.output();
    EXPECT_TRUE(events.waitForPart("(baresip v"));
    EXPECT_TRUE(events.waitForPart(", 600 s."));
    EXPECT_TRUE(events.waitFor("state 1000 1"));
    EXPECT_TRUE(events.waitForPart("agent 1000 baresip v"));
    EXPECT_TRUE(events.waitForPart("address 1000 127.0.0.1:"));
    EXPECT_EQ(sql("select usrStage from tbl_sip_reg where userName='1000'"), "1");

    telephone.sendSignal(SIGTERM);
    EXPECT_TRUE(events.waitFor("state 1000 0")) << telephone.output();
    EXPECT_TRUE(events.waitForPart("log User 1000 unregistered from 127.0.0.1:"));
    EXPECT_TRUE(telephone.wait().has_value());
}

} // namespace
