// Calls that telephones send on, join and take from each other.
#pragma once

#include "callserver/calls_fixture.h"

#include <map>
#include <string>

class TransfersFixture : public CallsFixture {
protected:
    static constexpr const char* kThird = "v=0\r\no=- 3 1 IN IP4 192.0.2.3\r\ns=-\r\nm=audio 6000 RTP/AVP 8\r\n";
    static constexpr const char* kFourth = "v=0\r\no=- 4 7 IN IP4 192.0.2.1\r\ns=-\r\nm=audio 7000 RTP/AVP 8\r\n";

    TransfersFixture() { allowTransfers("2002"); }

    void allowTransfers(const std::string& name)
    {
        changeUser(name, [](Cdb_usr_info& user) { user.flags |= kUsrTransfer; });
    }

    static std::string lineOf(const std::string& lines, const std::string& name)
    {
        const size_t at = ("\n" + lines).find("\n" + name + ": ");
        if (at == std::string::npos)
            return {};
        const size_t begin = at + name.size() + 2;
        return lines.substr(begin, lines.find("\r\n", begin) - begin);
    }

    // Without the origin, which the server may renumber.
    static std::string media(const std::string& sdp)
    {
        const size_t begin = sdp.find("o=");
        return begin == std::string::npos ? sdp : sdp.substr(0, begin) + sdp.substr(sdp.find('\n', begin) + 1);
    }

    static std::string origin(const std::string& sdp)
    {
        const size_t begin = sdp.find("o=");
        return begin == std::string::npos ? std::string() : sdp.substr(begin, sdp.find('\r', begin) - begin);
    }

    HeardPtr refer(PhoneDialog& by, const std::string& number, const Change& change = {})
    {
        return send(by, SipMethod::Refer, {}, [&](CallMessage& request) {
            request.referTo = ReferTo{number, {}, {}};
            if (change)
                change(request);
        });
    }

    static Change replacing(const PhoneDialog& dialog)
    {
        return [dialog](CallMessage& request) {
            request.referTo = ReferTo{"2003", {}, ReplacedDialog{dialog.callId, dialog.serverTag, dialog.tag, false}};
        };
    }

    // 2002 has a call of 2001 and one to 2003.
    struct Two {
        Talk first;
        Talk second;
    };
    Two twoCalls()
    {
        Two two;
        two.first = talk("2001", "2002");
        two.second = talk("2002", "2003");
        return two;
    }

    void join(PhoneDialog& by, const PhoneDialog& other)
    {
        EXPECT_EQ(refer(by, "2003", replacing(other))->status(), 202);
        EXPECT_EQ(notified(), "SIP/2.0 100 Trying active");
    }

    // The new side answers, and the one who is sent on agrees with it.
    void complete(const SentPtr& toNew)
    {
        answer(toNew, 200, kThird);
        answer(next("INVITE"), 200, kFourth);
        EXPECT_EQ(notified(), "SIP/2.0 200 OK terminated");
    }

    // An INVITE of another telephone that wants the place of that one.
    HeardPtr take(const FakePhone& by, const PhoneDialog& dialog, bool isEarly = false)
    {
        return call(by, "2003", [&](CallMessage& invite) {
            invite.body = sdp(kThird);
            invite.replaces = ReplacedDialog{dialog.callId, dialog.serverTag, dialog.tag, isEarly};
        });
    }

    // What the next NOTIFY says; it is confirmed.
    std::string notified()
    {
        const SentPtr notify = next("NOTIFY");
        answer(notify, 200);
        const std::string& text = notify->request.body.data;
        subscription = lineOf(notify->request.headers, "Subscription-State");
        return text.substr(0, text.find("\r\n")) + " " + subscription.substr(0, subscription.find(';'));
    }

    // The next BYE is for that dialog, and the only one; it is confirmed.
    void expectGoodbyeTo(const std::string& callId)
    {
        const SentPtr bye = next("BYE");
        EXPECT_EQ(bye->request.callId, callId);
        answer(bye, 200);
        EXPECT_FALSE(hasNext("BYE"));
    }

    // They talk; nobody else has a call. `payer`: by whose rights they do.
    void expectOneCallOf(const std::string& one, const std::string& other, const std::string& payer = {})
    {
        EXPECT_FALSE(hasNext("BYE"));
        for (const char* name : {"2001", "2002", "2003", "2004", "2005"})
            EXPECT_EQ(server().counts().ofUser(name), name == one || name == other || name == payer ? 1U : 0U) << name;
    }

    // That side hangs up, and the other one hears of it once.
    void hangUp(PhoneDialog& by, const std::string& otherCallId)
    {
        EXPECT_EQ(send(by, SipMethod::Bye)->status(), 200);
        expectGoodbyeTo(otherCallId);
    }
    using CallsFixture::hangUp;

    std::string subscription; // as the last NOTIFY told its state

    // Nothing is left, and every record has been ended once.
    void expectAllOver()
    {
        expectNothingLeft();
        std::map<int, unsigned> ends;
        for (const auto& [id, data] : records)
            ends[id] += data.has(kCdrHasEnd) ? 1 : 0;
        for (const auto& [id, count] : ends)
            EXPECT_EQ(count, 1U) << "record " << id;
    }
};
