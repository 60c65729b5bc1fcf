// Calls over a real store and registrar, with telephones, a clock and a way between them that the test plays.
#pragma once

#include "calls/calls.h"
#include "callserver/fake_call_transport.h"
#include "callserver/fake_clock.h"
#include "support/temporary_folder.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct FakePhone {
    std::string user;
    SipSource source;

    [[nodiscard]] std::string contact() const;
};

// A telephone's end of a dialog with the server.
struct PhoneDialog {
    FakePhone phone;
    std::string callId;
    std::string tag;
    std::string serverTag;
    uint32_t cseq = 0;
};

class CallsFixture : public testing::Test {
public:
    static constexpr const char* kOffer = "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=-\r\nm=audio 4000 RTP/AVP 8\r\n";
    static constexpr const char* kAnswer = "v=0\r\no=- 2 1 IN IP4 192.0.2.2\r\ns=-\r\nm=audio 5000 RTP/AVP 8\r\n";
    static constexpr const char* kHold =
        "v=0\r\no=- 1 2 IN IP4 192.0.2.1\r\ns=-\r\nm=audio 4000 RTP/AVP 8\r\na=sendonly\r\n";

protected:
    [[nodiscard]] static bool isIn(const std::string& headers, const std::string& line)
    {
        return headers.find(line + "\r\n") != std::string::npos;
    }

    using Change = std::function<void(CallMessage&)>;

    // A call that was answered and confirmed.
    struct Talk {
        HeardPtr invite;
        SentPtr branch;
        PhoneDialog caller;
        PhoneDialog called;
    };

    // Users 2001 to 2005 with a telephone each, at 192.0.2.1 to 192.0.2.5. Who is registered is not asked for a
    // password.
    CallsFixture();
    ~CallsFixture() override;

    void changeUser(const std::string& name, const std::function<void(Cdb_usr_info&)>& change);
    void changeSystem(const std::function<void(Cdb_sys_data&)>& change);
    // One more telephone; before the first request.
    FakePhone addPhone(const std::string& user, uint8_t protocol = kTransportUdp);
    // Takes the user's telephones from him; before the first request.
    void removePhones(const std::string& user) { _phones.erase(user); }
    // The first telephone of a user.
    [[nodiscard]] FakePhone phone(const std::string& user) const;
    Calls& server();
    // The user's only telephone is there from now on; after the first request.
    void registerAnew(const FakePhone& phone);

    static SipBody sdp(const std::string& text);
    [[nodiscard]] CallMessage initial(const FakePhone& from, const std::string& dialed, SipMethod method);
    // As the stack does it: judged, and carried when it is to be served.
    HeardPtr deliver(const CallMessage& request);
    HeardPtr call(const FakePhone& from, const std::string& dialed, const Change& change = {});
    HeardPtr call(const std::string& from, const std::string& dialed, const Change& change = {})
    {
        return call(phone(from), dialed, change);
    }
    void ack(const HeardPtr& invite, const std::string& body = {});
    void cancel(const HeardPtr& invite);

    // The oldest request with that method that was not asked for yet.
    SentPtr next(const std::string& method);
    [[nodiscard]] bool hasNext(const std::string& method) const;
    void answer(const SentPtr& sent, int status, const std::string& body = {}, const Change& change = {});
    // What the stack says by itself.
    static void answerOwn(const SentPtr& sent, int status);

    [[nodiscard]] static PhoneDialog callerOf(const HeardPtr& invite, const FakePhone& phone);
    [[nodiscard]] static PhoneDialog calledOf(const SentPtr& branch, const FakePhone& phone);
    HeardPtr send(PhoneDialog& dialog, SipMethod method, const std::string& body = {}, const Change& change = {});
    // Answered with 200 and `success`, confirmed.
    Talk talk(const std::string& from = "2001", const std::string& to = "2002", const Change& invite = {},
              const Change& success = {});
    // The caller hangs up, and all is answered.
    void hangUp(Talk& talk);

    // Second by second.
    void pass(int64_t seconds);
    // A minute later no trace of a call is left.
    void expectNothingLeft();
    [[nodiscard]] std::vector<std::string> takeStates() { return std::exchange(states, {}); }
    // "start", "ring", "answer", "end 200", with "2:" before those of the second record.
    [[nodiscard]] std::vector<std::string> recordTexts() const;

    TemporaryFolder folder;
    Cdb_fac_mgr store;
    FakeClock clock;
    std::vector<std::string> states; // "2001 4"
    std::vector<std::pair<int, Ccdr_record_data>> records;
    std::vector<std::string> lines;
    FakeCallTransport transport;
    CdrStore& cdrs; // never destroyed: its thread does not end

private:
    std::map<std::string, std::vector<FakePhone>> _phones;
    std::vector<SentPtr> _taken;
    unsigned _calls = 0;
    unsigned _lastHost = 5;
    RefusalLog _refusals{clock};
    std::unique_ptr<Registrar> _registrar;
    std::unique_ptr<Calls> _server;
};
