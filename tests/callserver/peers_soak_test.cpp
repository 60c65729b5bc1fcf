// Calls for a long time: what the server holds of the machine stays what it was.
#include "cachedb2/sys_tbl.h"
#include "support/child_process.h"
#include "support/free_port.h"
#include "support/patience.h"
#include "support/process_state.h"
#include "support/server_fixture.h"
#include "support/sipp.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sqlite3.h>
#include <thread>

namespace {

using Seconds = std::chrono::seconds;

constexpr unsigned kPerSecond = 50;
constexpr unsigned kUsers = 1000; // who call, and as many who are called
constexpr Seconds kTalk{2};
// What an ended call leaves behind is kept for 35 s. After twice that as much goes as comes.
constexpr Seconds kWarmUp{80};
// In one go: registrations hold for an hour.
constexpr Seconds kLongestLeg{1200};
constexpr int kSamples = 5;
constexpr std::chrono::milliseconds kBetweenSamples{200};
// Beyond what it was: a record of 100 bytes that stays of each call of an hour is 18 MB.
constexpr int64_t kMoreKb = 4096;
constexpr int64_t kMorePercent = 5;
// The daily backup reads the file of the settings by a descriptor of its own, which SQLite keeps for the next reader as
// long as another one has the file locked.
constexpr size_t kMoreDescriptors = 1;

// What a process held, as the median of a few looks.
struct Held {
    int64_t memoryKb = 0;
    size_t descriptors = 0;
    size_t threads = 0;

    static Held by(pid_t process)
    {
        std::vector<int64_t> memory;
        std::vector<size_t> descriptors;
        for (int i = 0; i < kSamples; ++i) {
            memory.push_back(memoryKbOf(process));
            descriptors.push_back(descriptorsOf(process));
            std::this_thread::sleep_for(kBetweenSamples);
        }
        std::sort(memory.begin(), memory.end());
        std::sort(descriptors.begin(), descriptors.end());
        return {memory[kSamples / 2], descriptors[kSamples / 2], threadsOf(process)};
    }
    void print(const char* when) const
    {
        std::printf("%s: %lld kB, %zu descriptors, %zu threads\n", when, static_cast<long long>(memoryKb), descriptors,
                    threads);
        std::fflush(stdout);
    }
};

class SoakTest : public ServerFixture {
protected:
    SoakTest()
    {
        fillStore([this](Cdb_fac_mgr& filled) {
            setListening(filled, "127.0.0.1", port);
            addUsers(filled, kFirst, 2 * kUsers);
            // Whoever is registered from there is not challenged: sipp's credentials are for one number only.
            Cdb_sys_tbl* record = filled.DbGetSysTbl();
            record->callFlags &= static_cast<uint8_t>(~kSysAuthCalls);
            record->SetModified();
            ASSERT_EQ(record->SaveDB(), kDbOk);
        });
        // One source sends what would come from many.
        (void)home.write("switch.ini", "[switch]\ngVarSipChallengeRate=0\n");
        for (unsigned i = 0; i < kUsers; ++i) {
            const std::string dialed = std::to_string(kFirst + kUsers + i);
            callers.push_back({std::to_string(kFirst + i), "secret", dialed});
            calleds.push_back({dialed, "secret"});
        }
        server = std::make_unique<ChildProcess>(std::vector<std::string>{TEST_SERVER}, scratch.file("server"));
        EXPECT_TRUE(server->waitForOutput("ready on 127.0.0.1:" + std::to_string(port))) << server->output();
    }

    void registerAt(uint16_t ownPort, const std::vector<SippUser>& users)
    {
        SippPlan plan;
        plan.scenario = "register.xml";
        plan.serverPort = port;
        plan.ownPort = ownPort;
        plan.users = users;
        const SippResult result = SippLoad(scratch, plan).wait();
        ASSERT_TRUE(result.isAll(kUsers)) << result.output;
    }
    // Calls for so long; `meanwhile` is done beside them.
    void callFor(Seconds length, const std::function<void()>& meanwhile)
    {
        registerAt(callerPort, callers);
        registerAt(calledPort, calleds);
        SippPlan called;
        called.scenario = "called_answers.xml";
        called.values = {{"lingerMs", "0"}, {"mayMissAck", "false"}};
        called.serverPort = port;
        called.ownPort = calledPort;
        called.perSecond = kPerSecond;
        called.count = kPerSecond * static_cast<unsigned>(length.count());
        SippPlan caller = called;
        caller.scenario = "call_ended.xml";
        caller.values = {{"begin", "parts/call_begin_known.xml"},
                         {"dialed", "[field2]"},
                         {"talkMs", std::to_string(kTalk.count() * 1000)},
                         {"mayMissRinging", "false"}};
        caller.ownPort = callerPort;
        caller.users = callers;
        SippLoad answering(scratch, called);
        ASSERT_TRUE(answering.waitUntilListening());
        SippLoad calling(scratch, caller);
        meanwhile();
        const SippResult made = calling.wait();
        EXPECT_TRUE(made.isAll(caller.count)) << made.successful << " of " << caller.count << "\n" << made.output;
        const SippResult taken = answering.wait();
        EXPECT_TRUE(taken.isAll(caller.count)) << taken.successful << " of " << caller.count << "\n" << taken.output;
        _calls += caller.count;
    }
    // Of calls that were answered and went well.
    [[nodiscard]] unsigned records() const
    {
        int count = 0;
        sqlite3* db = nullptr;
        if (sqlite3_open_v2(home.file("cdr.db").c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
            sqlite3_busy_timeout(db, static_cast<int>(kTestPatience.count()) * 1000);
            const auto keep = [](void* context, int, char** values, char**) {
                *static_cast<int*>(context) = std::atoi(values[0]);
                return 0;
            };
            (void)sqlite3_exec(db, kCount, keep, &count, nullptr);
        }
        sqlite3_close(db);
        return static_cast<unsigned>(count);
    }
    [[nodiscard]] unsigned calls() const { return _calls; }

    static constexpr unsigned kFirst = 2000;
    static constexpr const char* kCount = "select count(*) from tbl_cdr where releaseCode=200 and answerTime>0";
    const uint16_t callerPort = freeUdpPort();
    const uint16_t calledPort = freeUdpPort();
    std::vector<SippUser> callers;
    std::vector<SippUser> calleds;
    std::unique_ptr<ChildProcess> server;

private:
    unsigned _calls = 0;
};

TEST_F(SoakTest, CallsLeaveNothingBehindButTheirRecords)
{
    const char* const wanted = std::getenv("PARLOVEX_SOAK_SECONDS");
    const Seconds length{wanted == nullptr ? 6 : std::max(6, std::atoi(wanted))};
    // In a short run memory still grows into what ended calls take; descriptors and threads do not.
    const bool isLong = length > 2 * kWarmUp;
    const Seconds before = isLong ? kWarmUp : kTalk + Seconds(1);
    Held first;
    Held last;
    for (Seconds done{0}; done < length;) {
        const Seconds leg = std::min(kLongestLeg, length - done);
        callFor(leg, [&] {
            const auto begin = std::chrono::steady_clock::now();
            if (done.count() == 0) {
                std::this_thread::sleep_for(before);
                first = Held::by(server->pid());
                first.print("after the warm-up");
            }
            if (done + leg == length) {
                std::this_thread::sleep_until(begin + leg - Seconds(2));
                last = Held::by(server->pid());
            }
        });
        ASSERT_FALSE(HasFailure());
        done += leg;
    }
    last.print("at the end");
    EXPECT_TRUE(waitUntil([this] { return records() == calls(); })) << records() << " of " << calls();
    EXPECT_LE(last.descriptors, first.descriptors + kMoreDescriptors);
    EXPECT_LE(last.threads, first.threads);
    if (isLong) {
        EXPECT_LE(last.memoryKb, first.memoryKb * (100 + kMorePercent) / 100 + kMoreKb);
    }
    server->sendSignal(SIGTERM);
    EXPECT_EQ(server->wait(), 0);
}

} // namespace
