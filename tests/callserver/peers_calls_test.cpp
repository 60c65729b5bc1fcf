#include "support/call_phone.h"
#include "support/server_fixture.h"

#include "callserver/app.h"
#include "callserver/sip_fac.h"

namespace {

class CallsTest : public ServerFixture {
protected:
    // Users 2001 to 2005 with the password "secret".
    void startServer(const std::function<void(Cdb_fac_mgr&)>& fill = {})
    {
        fillStore([&](Cdb_fac_mgr& filled) {
            addUsers(filled, 2001, 5);
            if (fill)
                fill(filled);
        });
        start();
    }
};

TEST_F(CallsTest, AUserCallsAnother)
{
    startServer();
    CallPhone caller(port, "2001");
    CallPhone called(port, "2002");
    caller.registerNow();
    called.registerNow();
    ASSERT_TRUE(events.waitFor("state 2002 1"));

    caller.invite("2002");
    const PhoneMessage invite = called.expect("INVITE");
    EXPECT_TRUE(invite.has("\"Phone 2001\" <sip:2001@")) << invite.text;
    EXPECT_EQ(invite.body(), CallPhone::kOffer);
    EXPECT_TRUE(events.waitFor("call 1 start 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2001 4"));

    called.answer(invite, 180);
    const PhoneMessage ringing = caller.expect("180");
    EXPECT_TRUE(events.waitFor("call 1 ring 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2002 2"));

    called.answer(invite, 200, CallPhone::kAnswer);
    called.expect("ACK");
    const PhoneMessage answered = caller.expect("200");
    EXPECT_EQ(answered.body(), CallPhone::kAnswer);
    EXPECT_EQ(answered.header("To"), ringing.header("To"));
    caller.ack(answered);
    EXPECT_TRUE(events.waitFor("call 1 answer 2001 2002 2002"));
    EXPECT_TRUE(events.waitFor("state 2001 3"));
    EXPECT_TRUE(events.waitFor("state 2002 3"));

    caller.send("BYE");
    caller.expect("200");
    const PhoneMessage bye = called.expect("BYE");
    called.answer(bye, 200);
    EXPECT_TRUE(events.waitFor("call 1 end 2001 2002 2002 200"));
    EXPECT_TRUE(events.waitForCount("state 2001 1", 2));
    EXPECT_TRUE(events.waitForCount("state 2002 1", 2));
}

} // namespace
