// The window of the calls as they happen, in the console that it belongs to.
#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/call_record.h"
#include "callserver/event_ids.h"
#include "frm_realtime_cdr.h"
#include "support/console_fixture.h"

#include <QTreeView>

#include <thread>

namespace {

class RealtimeCdrWindow : public ConsoleFixture {
protected:
    [[nodiscard]] Cfrm_realtime_cdr* frame() const { return window->findChild<Cfrm_realtime_cdr*>(); }
    [[nodiscard]] int rows() const { return frame()->findChild<QTreeView*>()->model()->rowCount(); }
    static void publish(int id)
    {
        std::thread([id] {
            const Ccdr_record_data record;
            BclPubEvent(kEvtCallRecord, &id, &record);
        }).join();
    }
};

TEST_F(RealtimeCdrWindow, GathersCallsFromTheFirstShowOfTheMainWindowOn)
{
    keepServerLocal();
    buildWindow();
    EXPECT_EQ(frame(), nullptr);
    window->show();
    ASSERT_NE(frame(), nullptr);
    EXPECT_EQ(frame()->parent(), window.get());
    EXPECT_FALSE(frame()->isVisible());
    publish(1);
    EXPECT_TRUE(waitUntil([this] { return rows() == 1; }));
    window->hide();
    window->show();
    EXPECT_EQ(window->findChildren<Cfrm_realtime_cdr*>().size(), 1) << "one however often it is shown";
}

TEST_F(RealtimeCdrWindow, TheWindowsMenuShowsItWithItsRows)
{
    startConsole();
    publish(1);
    publish(2);
    const auto choose = [this] { pressMenu({"&Windows", "Real-time call records"}); };
    choose();
    EXPECT_TRUE(frame()->isVisible());
    EXPECT_TRUE(frame()->isWindow());
    ASSERT_TRUE(waitUntil([this] { return rows() == 2; }));
    frame()->close();
    publish(3);
    choose();
    EXPECT_TRUE(frame()->isVisible());
    EXPECT_TRUE(waitUntil([this] { return rows() == 3; }));
    EXPECT_EQ(window->findChildren<Cfrm_realtime_cdr*>().size(), 1);
}

} // namespace
