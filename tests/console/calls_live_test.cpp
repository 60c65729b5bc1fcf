// A call as the administrator sees it: the window of the calls, the page of the local users, the server menu.
#include "common/lang_res.h"
#include "frm_local_users.h"
#include "frm_realtime_cdr.h"
#include "support/call_phone.h"
#include "support/console_fixture.h"

#include <QBrush>
#include <QIcon>
#include <QTreeView>

#include <cstring>
#include <memory>
#include <utility>

namespace {

class CallsLive : public ConsoleFixture {
protected:
    // Users 1000 and 1001 with their telephones; both views are shown.
    void SetUp() override
    {
        ConsoleFixture::SetUp();
        const uint16_t port = keepServerLocal(2);
        buildWindow().show();
        pressMenu({"&Windows", "Real-time call records"});
        pressMenu({"&Data", "Local users"});
        caller = std::make_unique<CallPhone>(port, "1000");
        called = std::make_unique<CallPhone>(port, "1001");
        ASSERT_NO_FATAL_FAILURE(waitForServer(port));
        caller->registerNow();
        called->registerNow();
        expectIcons("idle_user.png", "idle_user.png");
    }
    void ring()
    {
        caller->invite("1001");
        invite = called->expect("INVITE");
        called->answer(invite, 180);
        caller->expect("180");
    }
    void answer()
    {
        called->answer(invite, 200, CallPhone::kAnswer);
        called->expect("ACK");
        caller->ack(caller->expect("200"));
    }

    [[nodiscard]] QAbstractItemModel& calls() const
    {
        return *window->findChild<Cfrm_realtime_cdr*>()->findChild<QTreeView*>()->model();
    }
    [[nodiscard]] QString cell(int column) const { return calls().index(0, column).data().toString(); }
    // The only row, in all of its columns.
    [[nodiscard]] bool isColoured(const QColor& colour) const
    {
        bool isAll = calls().rowCount() == 1;
        for (int column = 0; isAll && column < calls().columnCount(); ++column)
            isAll = calls().index(0, column).data(Qt::ForegroundRole).value<QBrush>().color() == colour;
        return isAll;
    }
    [[nodiscard]] bool hasIcon(int row, const char* name) const
    {
        const QAbstractItemModel& users =
            *window->findChild<Cfrm_local_users*>()->findChild<QTreeView*>(QStringLiteral("recordView"))->model();
        const auto icon = users.index(row, 0).data(Qt::DecorationRole).value<QIcon>();
        const QIcon wanted(QStringLiteral(":/images/") + QLatin1String(name));
        return icon.pixmap(32, 32).toImage() == wanted.pixmap(32, 32).toImage();
    }
    void expectIcons(const char* ofCaller, const char* ofCalled)
    {
        EXPECT_TRUE(waitUntil([&] { return hasIcon(0, ofCaller) && hasIcon(1, ofCalled); }))
            << "not " << ofCaller << " and " << ofCalled;
    }

    std::unique_ptr<CallPhone> caller;
    std::unique_ptr<CallPhone> called;
    PhoneMessage invite;
};

TEST_F(CallsLive, ACallGoesBlackBlueRedAndGrayAndTheUsersFollow)
{
    caller->invite("1001");
    invite = called->expect("INVITE");
    EXPECT_TRUE(waitUntil([this] { return isColoured(Qt::black); }));
    expectIcons("alert_user.png", "idle_user.png");
    called->answer(invite, 180);
    caller->expect("180");
    EXPECT_TRUE(waitUntil([this] { return isColoured(Qt::blue); }));
    expectIcons("alert_user.png", "alert_user.png");
    answer();
    EXPECT_TRUE(waitUntil([this] { return isColoured(Qt::red); }));
    expectIcons("talk_user.png", "talk_user.png");
    called->send("BYE");
    called->expect("200");
    caller->answer(caller->expect("BYE"), 200);
    EXPECT_TRUE(waitUntil([this] { return isColoured(Qt::gray); }));
    expectIcons("idle_user.png", "idle_user.png");
}

TEST_F(CallsLive, TheRowSaysWhoCalledWhomAndWhen)
{
    ring();
    ASSERT_TRUE(waitUntil([this] { return isColoured(Qt::blue); }));
    EXPECT_EQ(cell(0), "1");
    EXPECT_EQ(cell(1), "1");
    EXPECT_EQ(cell(2), "1000");
    EXPECT_EQ(cell(3), "1001");
    EXPECT_EQ(cell(4), "1001");
    EXPECT_EQ(cell(5), "");
    EXPECT_EQ(cell(6), "0");
    EXPECT_EQ(cell(7), "0");
    for (const int column : {8, 9})
        EXPECT_EQ(cell(column).size(), 19) << cell(column).toStdString();
    for (const int column : {10, 11})
        EXPECT_EQ(cell(column), "");
    EXPECT_EQ(cell(13), QStringLiteral("127.0.0.1:%1").arg(called->port()));
    called->answer(invite, 486);
    caller->expect("486");
    ASSERT_TRUE(waitUntil([this] { return isColoured(Qt::gray); }));
    EXPECT_EQ(cell(7), "486");
    EXPECT_EQ(cell(10), "") << "nobody answered";
    EXPECT_EQ(cell(11).size(), 19);
    EXPECT_EQ(cell(12), "0");
    EXPECT_EQ(calls().rowCount(), 1);
}

TEST_F(CallsLive, ReleasingAllCallsHangsUpOnBothSides)
{
    ring();
    answer();
    ASSERT_TRUE(waitUntil([this] { return isColoured(Qt::red); }));
    pressMenu({GetLangItem(36), GetLangItem(456), GetLangItem(385)});
    caller->answer(caller->expect("BYE"), 200);
    called->answer(called->expect("BYE"), 200);
    EXPECT_TRUE(waitUntil([this] { return isColoured(Qt::gray); }));
    expectIcons("idle_user.png", "idle_user.png");
}

TEST_F(CallsLive, TheCallStatusIsATableInTheLogAndNoneWithoutCalls)
{
    const int before = logLines();
    const auto press = [this] { pressMenu({GetLangItem(36), GetLangItem(271)}); };
    press();
    ASSERT_TRUE(waitUntil([&] { return logLines() > before; }));
    EXPECT_EQ(logTexts().last(), "Call status: no call is in progress, 2 users are registered.");
    ring();
    ASSERT_TRUE(waitUntil([this] { return isColoured(Qt::blue); }));
    const int silent = logLines();
    EXPECT_EQ(silent, before + 1) << "no table without calls";
    press();
    ASSERT_TRUE(waitUntil([&] { return logLines() >= silent + 3; })) << logTexts().join('\n').toStdString();
    const QStringList lines = logTexts();
    EXPECT_EQ(lines[silent], "Call status: 1 call is in progress, 2 users are registered.");
    const QString& head = lines[silent + 1];
    const QString& row = lines[silent + 2];
    for (const auto& [title, value] :
         {std::pair("Call", "1"), std::pair("State", "ringing"), std::pair("Caller", "1000 (127.0.0.1:"),
          std::pair("Dialed", "1001"), std::pair("Called", "1001 (127.0.0.1:"), std::pair("Time", "0:")}) {
        const int column = head.indexOf(QLatin1String(title));
        ASSERT_GE(column, 0) << title << " is not in " << head.toStdString();
        EXPECT_EQ(row.mid(column, static_cast<int>(std::strlen(value))), value) << row.toStdString();
    }
    EXPECT_EQ(logLines(), silent + 3);
}

} // namespace
