// Records of finished calls on their way to disk.
#include "calls/cdr_store.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/event_ids.h"
#include "support/child_process.h"
#include "support/fault_vfs.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned kLongMs = 60'000; // a bound, not an expectation

Ccdr_record_data call(int callId)
{
    Ccdr_record_data record;
    record.callId = callId;
    record.setTime(kCdrStart, 1000 + callId);
    record.setTime(kCdrEnd, 2000 + callId);
    return record;
}

class CdrStoreTest : public testing::Test {
protected:
    CdrStoreTest()
    {
        BclSubEvent(kEvtLog, &log, [](void* context, void* line, void*) {
            auto& kept = *static_cast<Log*>(context);
            const std::lock_guard guard(kept.mutex);
            kept.lines.emplace_back(static_cast<const char*>(line));
        });
    }
    void start()
    {
        std::thread([&started = *unstarted.release()] { started.run(); }).detach();
    }
    std::vector<std::string> takeLog() const
    {
        const std::lock_guard guard(log.mutex);
        return std::exchange(log.lines, {});
    }
    [[nodiscard]] std::string path() const { return folder.file("cdr.db"); }
    // The last value of the last row, or why there is none. Sees what is committed now.
    [[nodiscard]] std::string sql(const std::string& statement) const
    {
        sqlite3* db = nullptr;
        std::string last = "no file";
        if (sqlite3_open_v2(path().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
            sqlite3_busy_timeout(db, static_cast<int>(kLongMs));
            const auto keep = [](void* context, int count, char** values, char**) {
                *static_cast<std::string*>(context) = values[count - 1] == nullptr ? "" : values[count - 1];
                return 0;
            };
            if (sqlite3_exec(db, statement.c_str(), keep, &last, nullptr) != SQLITE_OK)
                last = sqlite3_errmsg(db);
        }
        sqlite3_close(db);
        return last;
    }

    struct Log {
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    TemporaryFolder folder;
    Log& log = *new Log;
    std::unique_ptr<CdrStore> unstarted = std::make_unique<CdrStore>(folder.path() + "/");
    CdrStore& store = *unstarted; // its thread goes on
};

} // namespace

TEST_F(CdrStoreTest, AFinishedCallIsInTheFileAsItWasReported)
{
    start();
    Ccdr_record_data record = call(5);
    record.peerServerId = 12;
    record.releaseCode = 487;
    record.duration = 60;
    record.flags |= kCdrCalledAddr;
    record.times[kCdrAnswer] = 77; // not known: it has no flag
    BclCopyStr(record.callerNbr, "1000");
    BclCopyStr(record.dialedNbr, "0123");
    BclCopyStr(record.calledNbr, "123");
    BclCopyStr(record.extLine, "outside");
    BclCopyStr(record.calledAddr, "192.0.2.1:5060");
    BclCopyStr(record.callerAddr, "192.0.2.2:5060");
    BclCopyStr(record.fci, "card=5550");
    store.add(9, record);
    ASSERT_TRUE(store.flush(kLongMs));
    EXPECT_EQ("9|5|1000|0123|123|outside|12|487|25|1005|0|0|2005|60|192.0.2.1:5060|192.0.2.2:5060|card=5550",
              sql("select recordId||'|'||callId||'|'||callerNbr||'|'||dialedNbr||'|'||calledNbr||'|'||extLine||'|'||"
                  "peerServerId||'|'||releaseCode||'|'||flags||'|'||startTime||'|'||ringTime||'|'||answerTime||'|'||"
                  "endTime||'|'||duration||'|'||calledAddr||'|'||callerAddr||'|'||fci from tbl_cdr"));
    EXPECT_TRUE(takeLog().empty());
}

TEST_F(CdrStoreTest, ACallComesToDiskWithoutBeingAskedFor)
{
    start();
    store.add(1, call(1));
    EXPECT_TRUE(waitUntil([this] { return sql("select count(*) from tbl_cdr") == "1"; }));
}

TEST_F(CdrStoreTest, FlushingNothingMakesNoFile)
{
    EXPECT_TRUE(store.flush(0));
    EXPECT_EQ(0U, folder.countFiles());
}

TEST_F(CdrStoreTest, AFlushThatNobodyAnswersSaysSo)
{
    store.add(1, call(1)); // no thread runs
    EXPECT_FALSE(store.flush(0));
}

TEST_F(CdrStoreTest, AFullDiskIsToldOfOnceAndCostsNoCall)
{
    installFaultVfs("cdr.db");
    start();
    store.add(1, call(1));
    ASSERT_TRUE(store.flush(kLongMs));

    armFault({FileCall::Write, SQLITE_FULL, true}, 1);
    store.add(2, call(2));
    EXPECT_FALSE(store.flush(kLongMs));
    store.add(3, call(3));
    EXPECT_FALSE(store.flush(kLongMs));
    auto lines = takeLog();
    ASSERT_EQ(1U, lines.size());
    EXPECT_TRUE(lines[0].starts_with("Call records cannot be stored: database or disk is full.")) << lines[0];
    EXPECT_EQ("1", sql("select group_concat(callId) from tbl_cdr"));

    ASSERT_TRUE(disarmFault());
    EXPECT_TRUE(store.flush(kLongMs));
    EXPECT_EQ("1,2,3", sql("select group_concat(callId) from tbl_cdr"));
    lines = takeLog();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ("Call records are stored again.", lines[0]);
}

TEST_F(CdrStoreTest, WhatWaitsForTheDiskHasABound)
{
    installFaultVfs("cdr.db");
    armFault({FileCall::Write, SQLITE_FULL, true}, 1);
    start();
    for (size_t i = 1; i <= CdrStore::kMaxWaiting; ++i)
        store.add(static_cast<int>(i), call(static_cast<int>(i)));
    EXPECT_FALSE(store.flush(kLongMs));
    EXPECT_EQ(1U, takeLog().size());
    for (int i = 0; i < 3; ++i)
        store.add(i, call(1'000'000 + i));
    EXPECT_FALSE(store.flush(kLongMs));
    auto lines = takeLog();
    ASSERT_EQ(1U, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("There is no room for more")) << lines[0];

    ASSERT_TRUE(disarmFault());
    EXPECT_TRUE(store.flush(kLongMs));
    EXPECT_EQ("50000|1|50000", sql("select count(*) || '|' || min(callId) || '|' || max(callId) from tbl_cdr"));
    EXPECT_EQ("1", sql("select min(id = callId) from tbl_cdr")); // in the order in which they ended
    lines = takeLog();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ("Call records are stored again. Those of 3 calls were lost.", lines[0]);
    store.add(1, call(1));
    EXPECT_TRUE(store.flush(kLongMs));
    EXPECT_EQ("50001", sql("select count(*) from tbl_cdr"));
}

// A server that ends call after call, killed in the middle of it, and started again on the same file.
TEST_F(CdrStoreTest, AKilledServerLosesNothingButTheLastBatch)
{
    size_t before = 0;
    for (int round = 1; round <= 5; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        ChildProcess server({CDR_WRITER, folder.path() + "/"}, folder.file("output"));
        const auto rows = [this] { return std::strtoul(sql("select count(*) from tbl_cdr").c_str(), nullptr, 10); };
        size_t seen = 0;
        ASSERT_TRUE(waitUntil([&] { return (seen = rows()) > before + 20; })) << server.output();
        server.sendSignal(SIGKILL);
        ASSERT_EQ(-SIGKILL, server.wait());
        EXPECT_EQ("ok", sql("pragma integrity_check"));
        const size_t after = rows();
        EXPECT_GE(after, seen);
        // Its calls count from 1: none is missing among those of this run, none of the runs before is gone.
        EXPECT_EQ("1", sql("select min(callId = id - " + std::to_string(before) + ") from tbl_cdr where id > " +
                           std::to_string(before)));
        EXPECT_EQ(std::to_string(after), sql("select max(id) from tbl_cdr"));
        before = after;
    }
}
