#include "bcl2/text.h"
#include "cachedb2/store_fixture.h"

class ExtLines : public StoreFixture {
protected:
    ExtLines() { open(); }

    static Cdb_ext_line_info line(const char* name)
    {
        Cdb_ext_line_info record;
        BclCopyStr(record.extName, name);
        return record;
    }

    unsigned shownState(const char* name)
    {
        Cdb_query query(store().GetCacheDB());
        EXPECT_EQ(kDbOk, query.prepare("select * from tbl_ext_line limit 0, 50"));
        while (query.step() == kDbRow) {
            Cdb_ext_line_info record;
            cdb_ext_line_get_full_data(query, &record);
            if (BclFieldText(record.extName) == name)
                return record.state;
        }
        ADD_FAILURE() << name << " is not shown";
        return 0;
    }
};

TEST_F(ExtLines, OfANewRecordHaveTheirDefaults)
{
    const Cdb_ext_line_info record;
    EXPECT_EQ(0x40u, record.flags);
    EXPECT_EQ(5060, record.serverPort);
    EXPECT_EQ(5060, record.proxyPort);
    EXPECT_EQ(20, record.maxOutCalls);
    EXPECT_EQ(20, record.maxCalls);
    EXPECT_EQ(0u, record.lineType);
    EXPECT_EQ(0, record.state);
}

TEST_F(ExtLines, ShowTheirStateInEveryPage)
{
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("b")));
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("a")));
    EXPECT_EQ(0u, shownState("a"));
    ASSERT_EQ(kDbOk, store().DbWriteExtLineState("a", 7));
    EXPECT_EQ(1u, shownState("a"));
    EXPECT_EQ(0u, shownState("b"));
    Cdb_ext_line_info read = line("a");
    ASSERT_EQ(kDbOk, store().DbExtLineGet(read));
    EXPECT_EQ(1, read.state);
    ASSERT_EQ(kDbOk, store().DbWriteExtLineState("a", 0));
    EXPECT_EQ(0u, shownState("a"));
}

TEST_F(ExtLines, SetDoesNotTouchTheState)
{
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("a")));
    Cdb_ext_line_info opened = line("a");
    ASSERT_EQ(kDbOk, store().DbExtLineGet(opened)); // an editor opens
    ASSERT_EQ(kDbOk, store().DbWriteExtLineState("a", 1));
    BclCopyStr(opened.description, "edited");
    ASSERT_EQ(kDbOk, store().DbExtLineSet(opened));
    EXPECT_EQ(1u, shownState("a"));

    opened.state = 1;
    BclCopyStr(opened.extName, "never registered");
    ASSERT_EQ(kDbOk, store().DbExtLineSet(opened));
    EXPECT_EQ(0u, shownState("never registered"));
    EXPECT_EQ(0, store().rows<Cdb_ext_line_info>().get()->find("never registered")->state);
}

TEST_F(ExtLines, AreOffWhenTheyComeAgainAndAfterAStart)
{
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("a")));
    ASSERT_EQ(kDbOk, store().DbWriteExtLineState("a", 1));
    ASSERT_EQ(kDbOk, store().DbExtLineDel("a"));
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("a")));
    EXPECT_EQ(0u, shownState("a"));
    ASSERT_EQ(kDbOk, store().DbWriteExtLineState("a", 1));
    open();
    EXPECT_EQ(1u, shownState("a")) << "another process that opens the store does not switch it off";
    ASSERT_EQ(kDbOk, store().DbClearExtLineStates());
    EXPECT_EQ(0u, shownState("a"));
}

TEST_F(ExtLines, AreCountedByTypeAndByStatement)
{
    for (const char* name : {"a", "b", "c"})
        ASSERT_EQ(kDbOk, store().DbExtLineSet(line(name)));
    EXPECT_EQ(3u, store().DbExtLineGetCnt());
    Cdb_query query(store().GetCacheDB());
    Cbcl_tmp_str text;
    text.set("select count(*) from tbl_ext_line");
    ASSERT_EQ(kDbRow, query.query(text));
    EXPECT_EQ(3u, query.getRowU32Val(0));
}

TEST_F(ExtLines, ComeInTheOrderInWhichTheyWereAdded)
{
    for (const char* name : {"b", "c", "a"})
        ASSERT_EQ(kDbOk, store().DbExtLineSet(line(name)));
    ASSERT_EQ(kDbOk, store().DbExtLineSet(line("b"))); // an edit keeps the place
    std::string order;
    Cdb_query query(store().GetCacheDB());
    ASSERT_EQ(kDbOk, query.prepare("select * from tbl_ext_line limit 0, 50"));
    while (query.step() == kDbRow)
        order += query.getRow(0);
    EXPECT_EQ("bca", order);
}

TEST_F(ExtLines, WithoutAUsableNameHaveNoState)
{
    for (const char* name : {static_cast<const char*>(nullptr), "", "123456789012345678901234567890123"}) {
        EXPECT_EQ(kDbFailed, store().DbWriteExtLineState(name, 1));
        EXPECT_EQ(kDbFailed, store().DbExtLineDel(name));
        EXPECT_EQ(0u, store().DbExtLineHas(name));
    }
}
