// The server under the tools with which strangers look for telephone systems, their users and passwords.
#include "support/child_process.h"
#include "support/free_port.h"
#include "support/server_fixture.h"

namespace {

class ScannerTest : public ServerFixture {
protected:
    // One with a password that is a number, as people have them; the tools would try 1000 to 1020.
    void SetUp() override
    {
        fillStore([](Cdb_fac_mgr& filled) {
            addUsers(filled, 1000, 20);
            addUser(filled, "1100", kRightPassword);
        });
        start();
    }

    // Runs the tool against the server and gives what it wrote.
    std::string run(const std::string& tool, const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command = {
            tool, "-x", "127.0.0.1", "-P", std::to_string(freeUdpPort()), "-p", std::to_string(port)};
        command.insert(command.end(), arguments.begin(), arguments.end());
        command.emplace_back("127.0.0.1");
        const std::string output = scratch.file(tool + std::to_string(++_runs));
        ChildProcess scanner(command, output, {"HOME=" + scratch.path()});
        EXPECT_EQ(scanner.wait(), 0) << scanner.output();
        return scanner.output();
    }

    // svcrack's list: that many wrong passwords, then the right one.
    std::string passwords(unsigned wrong)
    {
        std::string lines;
        for (unsigned i = 0; i < wrong; ++i)
            lines += "wrong" + std::to_string(i) + "\n";
        return scratch.write("passwords" + std::to_string(wrong), lines + kRightPassword + "\n");
    }

    static constexpr const char* kRightPassword = "4711";
    static constexpr const char* kPatienceOfTool = "--maximumtime=2"; // s without an answer, then it gives up

private:
    unsigned _runs = 0;
};

bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST_F(ScannerTest, SvmapLearnsThatAServerIsThereAndNothingElse)
{
    for (const char* method : {"OPTIONS", "REGISTER", "INVITE"}) {
        const std::string output = run("svmap", {"-m", method});
        EXPECT_TRUE(has(output, "127.0.0.1:" + std::to_string(port) + " | unknown ")) << method << output;
    }
}

TEST_F(ScannerTest, SvwarFindsNoUser)
{
    const std::vector<std::pair<std::string, std::string>> answers = {
        {"REGISTER", "SIP/2.0 401"}, {"OPTIONS", "SIP/2.0 200"}, {"INVITE", "SIP/2.0 407"}};
    for (const auto& [method, answer] : answers) {
        const std::string output =
            run("svwar", {"--force", "--debug", "-m", method, "-e", "995-1025,1100", kPatienceOfTool});
        EXPECT_TRUE(has(output, answer)) << method << " was not answered\n" << output;
        EXPECT_TRUE(has(output, "found nothing")) << method << "\n" << output;
        EXPECT_FALSE(has(output, "| Authentication")) << method << "\n" << output; // the head of its table of finds
    }
}

TEST_F(ScannerTest, SvcrackIsSilencedBeforeItComesToTheRightPassword)
{
    const std::string found = "| 1100      | 4711     |";
    // A few tries are a forgetful user's: this also shows that the tool finds what can be found.
    EXPECT_TRUE(has(run("svcrack", {"-u", "1100", "-d", passwords(5), kPatienceOfTool}), found));
    EXPECT_TRUE(events.waitForPart("log User 1100 registered from 127.0.0.1:"));
    const std::string output = run("svcrack", {"-u", "1100", "-d", passwords(12), kPatienceOfTool});
    EXPECT_FALSE(has(output, found)) << output;
    EXPECT_TRUE(has(output, "found nothing")) << output;
    EXPECT_TRUE(events.waitForPart("log 127.0.0.1 is silenced"));
    EXPECT_EQ(events.count("log 127.0.0.1 is silenced"), 1U);
}

} // namespace
