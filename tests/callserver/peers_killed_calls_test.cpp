// The server as a process of its own, killed while users talk.
#include "support/call_phone.h"
#include "support/child_process.h"
#include "support/server_fixture.h"

#include <csignal>
#include <memory>
#include <sqlite3.h>

namespace {

class KilledCallsTest : public ServerFixture {
protected:
    static constexpr size_t kCalls = 20;
    static constexpr size_t kEnded = 5; // of them, before the server is killed

    KilledCallsTest()
    {
        fillStore([this](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, 2000, 2 * kCalls);
        });
    }
    std::unique_ptr<ChildProcess> startServer(const std::string& outputName)
    {
        auto server = std::make_unique<ChildProcess>(std::vector<std::string>{TEST_SERVER}, scratch.file(outputName));
        EXPECT_TRUE(server->waitForOutput("ready on 127.0.0.1:" + std::to_string(port))) << server->output();
        return server;
    }
    static void talk(CallPhone& caller, CallPhone& called)
    {
        caller.invite(called.user());
        const PhoneMessage invite = called.expect("INVITE");
        called.answer(invite, 180);
        caller.expect("180");
        called.answer(invite, 200, CallPhone::kAnswer);
        called.expect("ACK");
        caller.ack(caller.expect("200"));
    }
    static void hangUp(CallPhone& caller, CallPhone& called)
    {
        caller.send("BYE");
        caller.expect("200");
        called.answer(called.expect("BYE"), 200);
    }
    // The first value that the statement gives of the file, as it is on disk now; empty: there is none yet.
    [[nodiscard]] std::string valueOf(const std::string& file, const std::string& statement) const
    {
        std::string value;
        sqlite3* db = nullptr;
        if (sqlite3_open_v2(home.file(file).c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
            sqlite3_busy_timeout(db, static_cast<int>(kTestPatience.count()) * 1000);
            const auto keep = [](void* context, int, char** values, char**) {
                *static_cast<std::string*>(context) = values[0];
                return 0;
            };
            (void)sqlite3_exec(db, statement.c_str(), keep, &value, nullptr);
        }
        sqlite3_close(db);
        return value;
    }
    [[nodiscard]] std::string usersOfState(int state) const
    {
        std::string count;
        fillStore([&](Cdb_fac_mgr& left) {
            Cdb_query query(left.GetCacheDB());
            ASSERT_EQ(
                query.prepare(("select count(*) from tbl_sip_reg where usrStage=" + std::to_string(state)).c_str()),
                kDbOk);
            ASSERT_EQ(query.step(), kDbRow);
            count = query.getRow(0);
        });
        return count;
    }
};

TEST_F(KilledCallsTest, EndedCallsAreKeptAndNobodyTalksForEver)
{
    auto server = startServer("first");
    std::vector<std::unique_ptr<CallPhone>> phones;
    for (size_t i = 0; i < 2 * kCalls; ++i) {
        phones.push_back(std::make_unique<CallPhone>(port, std::to_string(2000 + i)));
        phones.back()->registerNow();
    }
    for (size_t i = 0; i < kCalls; ++i)
        talk(*phones[2 * i], *phones[2 * i + 1]);
    for (size_t i = 0; i < kEnded; ++i)
        hangUp(*phones[2 * i], *phones[2 * i + 1]);
    constexpr const char* kRows = "select count(*) from tbl_cdr";
    ASSERT_TRUE(waitUntil([&] { return valueOf("cdr.db", kRows) == std::to_string(kEnded); }))
        << valueOf("cdr.db", kRows) << server->output();
    server->sendSignal(SIGKILL);
    EXPECT_EQ(server->wait(), -SIGKILL);

    EXPECT_EQ(valueOf("cdr.db", kRows), std::to_string(kEnded));
    EXPECT_EQ(valueOf("cdr.db", "select count(*) from tbl_cdr where releaseCode=200 and startTime>0 and "
                                "ringTime>=startTime and answerTime>=ringTime and endTime>=answerTime and "
                                "calledNbr=callerNbr+1"),
              std::to_string(kEnded));

    server = startServer("second");
    EXPECT_TRUE(waitUntil([&] { return usersOfState(kUsrIdle) == std::to_string(2 * kCalls); }))
        << usersOfState(kUsrIdle) << " are idle, " << usersOfState(kUsrTalking) << " talk";
    // Both were talking when the server was killed.
    CallPhone& caller = *phones[2 * kEnded];
    CallPhone& called = *phones[2 * kEnded + 1];
    talk(caller, called);
    hangUp(caller, called);
    EXPECT_TRUE(waitUntil([&] { return valueOf("cdr.db", kRows) == std::to_string(kEnded + 1); }));
    server->sendSignal(SIGTERM);
    EXPECT_EQ(server->wait(), 0) << server->output();
}

} // namespace
