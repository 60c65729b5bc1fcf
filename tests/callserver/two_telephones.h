// A real server, and telephones of 2001 and 2002 that call each other; one of 2003 where three take part.
#pragma once

#include "support/call_phone.h"
#include "support/free_port.h"
#include "support/server_fixture.h"

#include "cachedb2/usr_info.h"

#include <functional>
#include <initializer_list>
#include <memory>

class TwoTelephones : public ServerFixture {
protected:
    static constexpr int kQuietMs = 200; // what comes at once over loopback has come by then
    static inline const std::string kHeld = std::string(CallPhone::kOffer) + "a=sendonly\r\n";
    static inline const std::string kHolding = std::string(CallPhone::kAnswer) + "a=recvonly\r\n";

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
    void startTelephones(const std::function<void(Cdb_fac_mgr&)>& fill = {},
                         SipClient::Transport transport = SipClient::Transport::Udp)
    {
        if (transport != SipClient::Transport::Udp) {
            tcpPort = freeTcpPort();
            tlsPort = freeTcpPort();
        }
        startServer(fill);
        const uint16_t at = transport == SipClient::Transport::Udp   ? port
                            : transport == SipClient::Transport::Tcp ? tcpPort
                                                                     : tlsPort;
        caller = std::make_unique<CallPhone>(at, "2001", transport);
        called = std::make_unique<CallPhone>(at, "2002", transport);
        caller->registerNow();
        called->registerNow();
    }
    // Gives the INVITE as the called telephone got it.
    PhoneMessage talk()
    {
        caller->invite("2002");
        PhoneMessage invite = called->expect("INVITE");
        called->answer(invite, 180);
        caller->expect("180");
        called->answer(invite, 200, CallPhone::kAnswer);
        called->expect("ACK");
        caller->ack(caller->expect("200"));
        EXPECT_TRUE(events.waitForPart("call 1 answer"));
        return invite;
    }
    void hangUp(CallPhone& one, CallPhone& other)
    {
        one.send("BYE");
        one.expect("200");
        other.answer(other.expect("BYE"), 200);
        EXPECT_TRUE(events.waitForPart("call 1 end"));
    }
    void hangUp() { hangUp(*caller, *called); }
    // `one` offers, `other` answers.
    static void exchange(CallPhone& one, CallPhone& other, const std::string& offer, const std::string& answer)
    {
        one.send("INVITE", offer);
        const PhoneMessage heard = other.expect("INVITE");
        EXPECT_EQ(heard.body(), offer);
        other.answer(heard, 200, answer);
        other.expect("ACK");
        const PhoneMessage success = one.expect("200");
        EXPECT_EQ(success.body(), answer);
        one.ack(success);
    }
    static void expectQuiet(std::initializer_list<CallPhone*> phones)
    {
        for (CallPhone* const phone : phones)
            EXPECT_TRUE(phone->hearsNothing(kQuietMs)) << phone->user();
    }
    void expectQuiet() { expectQuiet({caller.get(), called.get()}); }

    std::unique_ptr<CallPhone> caller;
    std::unique_ptr<CallPhone> called;
};

class ThreeTelephones : public TwoTelephones {
protected:
    static constexpr const char* kOther = "v=0\r\no=- 9 1 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
                                          "m=audio 40010 RTP/AVP 8\r\n";

    void startThree(const std::function<void(Cdb_fac_mgr&)>& fill = {})
    {
        startTelephones(fill);
        third = std::make_unique<CallPhone>(port, "2003");
        third->registerNow();
    }
    // 2002 may have a second call beside the first one.
    void startThreeWithCallWaiting()
    {
        startThree([](Cdb_fac_mgr& filled) {
            Cdb_usr_info user;
            ASSERT_EQ(filled.DbGetUsrInfo("2002", user), kDbOk);
            user.flags |= kUsrCallWaiting;
            user.callWaitingLimit = 1;
            ASSERT_EQ(filled.DbSetLocalUserData(user), kDbOk);
        });
    }
    static void talk(CallPhone& caller, CallPhone& called)
    {
        caller.invite(called.user());
        called.answer(called.expect("INVITE"), 200, CallPhone::kAnswer);
        caller.ack(caller.expect("200"));
        called.expect("ACK");
    }
    using TwoTelephones::talk;
    // A URI of this server, as a header gives it.
    [[nodiscard]] std::string at(const std::string& user) const
    {
        return "<sip:" + user + "@127.0.0.1:" + std::to_string(port) + ">";
    }
    // The tag of the header.
    static std::string tagOf(const std::string& header) { return header.substr(header.find(";tag=") + 5); }
    // As Replaces names the dialog in which the telephone got that INVITE.
    static std::string dialogOf(const PhoneMessage& invite, const CallPhone& phone)
    {
        return invite.header("Call-ID") + ";to-tag=" + tagOf(invite.header("From")) + ";from-tag=q" +
               std::to_string(phone.port());
    }

    std::unique_ptr<CallPhone> third;
};
