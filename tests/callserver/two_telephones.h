// A real server, and telephones of 2001 and 2002 that call each other.
#pragma once

#include "support/call_phone.h"
#include "support/free_port.h"
#include "support/server_fixture.h"

#include <functional>
#include <memory>

class TwoTelephones : public ServerFixture {
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

    std::unique_ptr<CallPhone> caller;
    std::unique_ptr<CallPhone> called;
};
