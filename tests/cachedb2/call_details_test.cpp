// The file of finished calls: what is appended stays, and what happens to a file that cannot be used.
#include "cachedb2/call_details.h"

#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"
#include "support/fault_vfs.h"

#include <sqlite3.h>

#include <array>
#include <sys/stat.h>

namespace {

constexpr const char* kRows =
    "select group_concat(id || ':' || callId) from (select id, callId from tbl_cdr order by id)";

class CallDetails : public StoreFixture {
protected:
    [[nodiscard]] std::string file() const { return path("cdr.db").string(); }
    [[nodiscard]] std::string rows() const { return sql(path("cdr.db"), kRows); }

    static std::vector<Cdb_call_detail> calls(std::initializer_list<int> ids)
    {
        std::vector<Cdb_call_detail> records(ids.size());
        auto record = records.begin();
        for (const int id : ids)
            (record++)->callId = id;
        return records;
    }
    // Appends them as a run of the server would that begins now; empty, or why it could not.
    [[nodiscard]] std::string append(std::initializer_list<int> ids) const
    {
        Cdb_call_details details(file());
        auto records = calls(ids);
        std::string reason;
        return details.add(records, reason) ? std::string() : reason;
    }
};

} // namespace

TEST_F(CallDetails, EveryFieldHasItsColumn)
{
    auto records = calls({41});
    Cdb_call_detail& call = records[0];
    call.recordId = 7;
    call.startTime = 1001;
    call.ringTime = 1002;
    call.answerTime = 1003;
    call.endTime = 5'000'000'000;
    call.peerServerId = -3;
    call.releaseCode = 486;
    call.flags = 0x3f;
    call.duration = 4'000'000'000;
    BclCopyStr(call.callerNbr, "1000");
    BclCopyStr(call.dialedNbr, "Z\xc3\xbcrich");
    BclCopyStr(call.calledNbr, "'; --");
    BclCopyStr(call.extLine, "line");
    BclCopyStr(call.calledAddr, "192.0.2.1:5060");
    BclCopyStr(call.callerAddr, "[2001:db8::1]:5060");
    BclCopyStr(call.fci, "prepaid=100;rate=3;fee=24");
    std::string reason;
    ASSERT_TRUE(Cdb_call_details(file()).add(records, reason)) << reason;
    EXPECT_EQ(1, call.id);
    EXPECT_EQ(
        "1|7|41|1000|Z\xc3\xbcrich|'; --|line|-3|486|63|1001|1002|1003|5000000000|4000000000|192.0.2.1:5060|"
        "[2001:db8::1]:5060|prepaid=100;rate=3;fee=24",
        sql(path("cdr.db"),
            "select id||'|'||recordId||'|'||callId||'|'||callerNbr||'|'||dialedNbr||'|'||calledNbr||'|'||extLine||"
            "'|'||peerServerId||'|'||releaseCode||'|'||flags||'|'||startTime||'|'||ringTime||'|'||answerTime||'|'"
            "||endTime||'|'||duration||'|'||calledAddr||'|'||callerAddr||'|'||fci from tbl_cdr"));
}

TEST_F(CallDetails, TheNextRunGoesOnWhereTheLastOneEnded)
{
    EXPECT_EQ("", append({1, 2}));
    EXPECT_EQ("", append({1}));
    EXPECT_EQ("1:1,2:2,3:1", rows());
    EXPECT_TRUE(takeLog().empty());
}

TEST_F(CallDetails, OnlyTheOwnerMayReadTheFile)
{
    ASSERT_EQ("", append({1}));
    struct stat status {};
    ASSERT_EQ(0, stat(file().c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
}

TEST_F(CallDetails, AFileThatIsNoneOfOursIsKeptAsideWithALogLine)
{
    const std::array<std::pair<const char*, std::string>, 3> files = {{
        {"damaged",
         "this is no database, but it is longer than the head of one, so that it is looked at at all........"},
        {"newer", ""},
        {"foreign", ""},
    }};
    for (const auto& [word, content] : files) {
        SCOPED_TRACE(word);
        if (!content.empty()) {
            writeFile(path("cdr.db"), content);
        } else {
            ASSERT_EQ("", append({99}));
            (void)sql(path("cdr.db"),
                      word == std::string("newer") ? "pragma user_version=1000" : "pragma application_id=1347180120");
        }
        takeLog();
        EXPECT_EQ("", append({1}));
        EXPECT_EQ("1:1", rows());
        EXPECT_EQ(1, countFiles(std::string("cdr.db.") + word + "-"));
        const auto log = takeLog();
        ASSERT_EQ(1U, log.size());
        EXPECT_NE(std::string::npos, log[0].find(std::string("It is kept as ") + file() + "." + word)) << log[0];
        std::filesystem::remove(path("cdr.db"));
    }
}

TEST_F(CallDetails, DamageThatAWriteMeetsLosesNoCall)
{
    Cdb_call_details details(file());
    std::string reason;
    auto first = calls({1, 2, 3});
    ASSERT_TRUE(details.add(first, reason)) << reason;
    (void)sql(path("cdr.db"), "drop table tbl_cdr");
    auto second = calls({4, 5});
    EXPECT_TRUE(details.add(second, reason)) << reason;
    EXPECT_EQ("1:4,2:5", rows());
    EXPECT_EQ(1, countFiles("cdr.db.damaged-"));
    EXPECT_EQ(1U, takeLog().size());
}

// Whatever fails once or for good: nothing is half stored, the same calls go in when the disk works again, none twice,
// and a file that is fine is never put aside.
TEST_F(CallDetails, ADiskThatFailsCostsNoCallAndDoublesNone)
{
    installFaultVfs("cdr.db");
    const std::array<FileFault, 8> faults = {{
        {FileCall::Open, SQLITE_CANTOPEN},
        {FileCall::Write, SQLITE_FULL, true},
        {FileCall::Write, SQLITE_IOERR_WRITE, false, true},
        {FileCall::Sync, SQLITE_IOERR_FSYNC},
        {FileCall::Sync, SQLITE_IOERR_FSYNC, true},
        {FileCall::Read, SQLITE_IOERR_READ},
        {FileCall::LockIndex, SQLITE_IOERR_SHMLOCK, true},
        {FileCall::MapIndex, SQLITE_IOERR_SHMMAP, true},
    }};
    size_t failures = 0;
    for (const FileFault& fault : faults) {
        constexpr unsigned kMaxCalls = 500; // far above those of the two writes
        bool isMet = true;
        for (unsigned nth = 1; isMet; ++nth) {
            ASSERT_LT(nth, kMaxCalls);
            SCOPED_TRACE("call " + std::to_string(static_cast<int>(fault.call)) + ", number " + std::to_string(nth));
            for (const char* name : {"cdr.db", "cdr.db-wal", "cdr.db-shm"})
                std::filesystem::remove(path(name));
            Cdb_call_details details(file());
            auto first = calls({1, 2});
            auto second = calls({3});
            std::string reason;
            armFault(fault, nth);
            const bool isFirstStored = details.add(first, reason);
            const bool isSecondStored = isFirstStored && details.add(second, reason);
            isMet = disarmFault();
            failures += isSecondStored ? 0 : 1;
            EXPECT_TRUE(isSecondStored || !reason.empty());
            ASSERT_TRUE(isFirstStored || details.add(first, reason)) << reason;
            ASSERT_TRUE(isSecondStored || details.add(second, reason)) << reason;
            ASSERT_EQ("1:1,2:2,3:3", rows());
        }
    }
    EXPECT_GT(failures, faults.size());
    EXPECT_EQ(0, countFiles("cdr.db."));
    EXPECT_TRUE(takeLog().empty());
}
