// What each side of a call may say in each of its states: the answer, and that the call is over exactly once for
// everybody in the end.
#include "callserver/calls_fixture.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace {

enum class State {
    Ringing,        // 180
    Early,          // a reliable 183 with the answer, not confirmed
    EarlyOffer,     // the same with an offer, which waits for the PRACK
    PrackOffer,     // a reliable 183 with the answer, and an offer in its PRACK, not answered
    Answered,       // 200, not confirmed
    AnsweredOffer,  // 200 with an offer, which waits for the ACK
    Talking,        // confirmed
    Offering,       // re-INVITE with an offer, not answered
    OfferTaken,     // answered, but not confirmed
    AskingForOffer, // re-INVITE without an offer, not answered
    OfferGiven,     // its success with an offer waits for the ACK
    Updating,       // UPDATE with an offer, not answered
    Refreshing,     // a re-INVITE of the server to the called side, not answered
    Cancelled,      // by the caller; the telephone has not answered that
    Over,           // the caller has hung up; the telephone has not answered that
};

enum class Said { Invite, Update, Refresh, Bye, Cancel, Info, Options, Prack, Ack };

constexpr int kPassed = 0;   // it goes to the other side, whose answer is awaited
constexpr int kNothing = -1; // no answer, and no change

struct Row {
    State state;
    bool isByCaller; // who speaks; in the states of offers: the same who has offered
    int invite;
    int update;
    int refresh; // UPDATE without session description
    int bye;
    int cancel; // of the own INVITE that is open: its answer
    int info;
    int options;
    int prack;
    int ack;
};

// RFC 3261 sections 12.2.2 (481), 14.2 (500 on top of the own INVITE, 491 against one of the other side) and 15;
// RFC 3262 section 3 (481 for a PRACK of nothing); RFC 3311 section 5.2 (500 on top of the own offer, 491 against one
// of the other side).
constexpr Row kRows[] = {
    // state, speaker, INVITE, UPDATE, refresh, BYE, CANCEL, INFO, OPTIONS, PRACK, ACK
    {State::Ringing, true, 500, 500, 200, 200, 487, kPassed, 200, 481, kNothing},
    {State::Ringing, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Early, true, 500, kPassed, 200, 200, 487, kPassed, 200, kPassed, kNothing},
    {State::Early, false, 491, kPassed, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::EarlyOffer, true, 500, 491, 200, 200, 487, kPassed, 200, kPassed, kNothing},
    {State::EarlyOffer, false, 491, 500, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::PrackOffer, true, 500, 500, 200, 200, 487, kPassed, 200, 481, kNothing},
    {State::PrackOffer, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Answered, true, kPassed, kPassed, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Answered, false, 491, kPassed, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::AnsweredOffer, true, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::AnsweredOffer, false, 491, 500, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Talking, true, kPassed, kPassed, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Talking, false, kPassed, kPassed, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Offering, true, 500, 500, 200, 200, 487, kPassed, 200, 481, kNothing},
    {State::Offering, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::OfferTaken, true, 500, 500, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::OfferTaken, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::AskingForOffer, true, 500, 500, 200, 200, 487, kPassed, 200, 481, kNothing},
    {State::AskingForOffer, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::OfferGiven, true, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::OfferGiven, false, 491, 500, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Updating, true, 500, 500, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Updating, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Refreshing, true, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Refreshing, false, 491, 491, 200, 200, kNothing, kPassed, 200, 481, kNothing},
    {State::Cancelled, true, 481, 481, 481, 481, kNothing, 481, 481, 481, kNothing},
    {State::Cancelled, false, 481, 481, 481, 481, kNothing, 481, 481, 481, kNothing},
    {State::Over, true, 481, 481, 481, 481, kNothing, 481, 481, 481, kNothing},
    {State::Over, false, 481, 481, 481, 481, kNothing, 481, 481, 481, kNothing},
};

struct GlareCase {
    Row row;
    bool isTurned = false; // in the states of offers the called side has offered
};

const char* nameOf(State state)
{
    switch (state) {
    case State::Ringing:
        return "Ringing";
    case State::Early:
        return "Early";
    case State::EarlyOffer:
        return "EarlyOffer";
    case State::PrackOffer:
        return "PrackOffer";
    case State::Answered:
        return "Answered";
    case State::AnsweredOffer:
        return "AnsweredOffer";
    case State::Talking:
        return "Talking";
    case State::Offering:
        return "Offering";
    case State::OfferTaken:
        return "OfferTaken";
    case State::AskingForOffer:
        return "AskingForOffer";
    case State::OfferGiven:
        return "OfferGiven";
    case State::Updating:
        return "Updating";
    case State::Refreshing:
        return "Refreshing";
    case State::Cancelled:
        return "Cancelled";
    case State::Over:
        break;
    }
    return "Over";
}

const char* nameOf(Said said)
{
    switch (said) {
    case Said::Invite:
        return "Invite";
    case Said::Update:
        return "Update";
    case Said::Refresh:
        return "Refresh";
    case Said::Bye:
        return "Bye";
    case Said::Cancel:
        return "Cancel";
    case Said::Info:
        return "Info";
    case Said::Options:
        return "Options";
    case Said::Prack:
        return "Prack";
    case Said::Ack:
        break;
    }
    return "Ack";
}

bool isOfOffers(State state)
{
    return state >= State::Offering && state <= State::Updating;
}

std::vector<GlareCase> allCases()
{
    std::vector<GlareCase> cases;
    for (const Row& row : kRows) {
        cases.push_back({row, false});
        if (isOfOffers(row.state))
            cases.push_back({row, true});
    }
    return cases;
}

std::string nameOf(const GlareCase& tested)
{
    return std::string(nameOf(tested.row.state)) +
           (isOfOffers(tested.row.state) ? tested.isTurned ? "OfCalled" : "OfCaller" : "") +
           (tested.row.isByCaller != tested.isTurned ? "ByCaller" : "ByCalled");
}

std::ostream& operator<<(std::ostream& out, const GlareCase& shown)
{
    return out << nameOf(shown);
}

class GlareTest : public CallsFixture, public testing::WithParamInterface<GlareCase> {
protected:
    PhoneDialog& dialogOf(bool isCaller) { return isCaller ? caller : called; }

    HeardPtr say(PhoneDialog& dialog, SipMethod method, const std::string& body = {})
    {
        HeardPtr heard = send(dialog, method, body);
        all.emplace_back(heard, &dialog);
        return heard;
    }

    void ring(bool isOffering, bool isReliable)
    {
        invite = call("2001", "2002", [&](CallMessage& request) {
            request.isReliableSupported = isReliable;
            request.isTimerSupported = true;
            if (!isOffering)
                request.body = {};
        });
        branch = next("INVITE");
        caller = callerOf(invite, phone("2001"));
        called = calledOf(branch, phone("2002"));
        all.emplace_back(invite, &caller);
    }
    void progress(int status, const std::string& body, uint32_t rseq)
    {
        answer(branch, status, body, [rseq](CallMessage& response) { response.rseq = rseq; });
    }
    // `isPlain`: the telephone knows no UPDATE.
    void succeed(const std::string& body, bool isPlain = false)
    {
        answer(branch, 200, body, [isPlain](CallMessage& response) {
            response.isTimerSupported = true;
            response.timer = {180, 0, SessionTimer::Refresher::Uac};
            if (isPlain)
                response.allow = "INVITE, ACK, BYE, CANCEL";
        });
    }
    void talk(bool isPlain = false)
    {
        ring(true, false);
        succeed(kAnswer, isPlain);
        ack(invite);
    }

    // `offerer`: in the states of offers.
    void reach(State state, PhoneDialog& offerer)
    {
        switch (state) {
        case State::Ringing:
            ring(true, false);
            answer(branch, 180);
            break;
        case State::Early:
            ring(true, true);
            progress(183, kAnswer, 7);
            break;
        case State::EarlyOffer:
            ring(false, true);
            progress(183, kOffer, 7);
            break;
        case State::PrackOffer:
            ring(true, true);
            progress(183, kAnswer, 7);
            prack(caller, kHold);
            break;
        case State::Answered:
            ring(true, false);
            succeed(kAnswer);
            break;
        case State::AnsweredOffer:
            ring(false, false);
            succeed(kOffer);
            break;
        case State::Talking:
            talk();
            break;
        case State::Offering:
            talk();
            open = say(offerer, SipMethod::Invite, kHold);
            break;
        case State::OfferTaken:
            talk();
            open = say(offerer, SipMethod::Invite, kHold);
            answer(next("INVITE"), 200, kAnswer);
            break;
        case State::AskingForOffer:
            talk();
            open = say(offerer, SipMethod::Invite);
            break;
        case State::OfferGiven:
            talk();
            open = say(offerer, SipMethod::Invite);
            answer(next("INVITE"), 200, kOffer);
            break;
        case State::Updating:
            talk();
            open = say(offerer, SipMethod::Update, kHold);
            break;
        case State::Refreshing:
            talk(true);
            for (int i = 0; i < 1000 && !hasNext("INVITE"); ++i) {
                pass(1);
                while (hasNext("OPTIONS"))
                    answer(next("OPTIONS"), 200);
            }
            ASSERT_TRUE(hasNext("INVITE"));
            break;
        case State::Cancelled:
            ring(true, false);
            answer(branch, 180);
            cancel(invite);
            break;
        case State::Over:
            talk();
            say(caller, SipMethod::Bye);
            break;
        }
    }

    // What the server answers at once: a status, kPassed or kNothing.
    int hear(Said said, bool isByCaller)
    {
        PhoneDialog& speaker = dialogOf(isByCaller);
        switch (said) {
        case Said::Invite:
            return statusOf(say(speaker, SipMethod::Invite, kOffer));
        case Said::Update:
            return statusOf(say(speaker, SipMethod::Update, kOffer));
        case Said::Refresh:
            return statusOf(say(speaker, SipMethod::Update));
        case Said::Bye:
            return statusOf(say(speaker, SipMethod::Bye));
        case Said::Info:
            return statusOf(say(speaker, SipMethod::Info));
        case Said::Options:
            return statusOf(say(speaker, SipMethod::Options));
        case Said::Prack:
            return prack(speaker);
        case Said::Cancel:
            return cancelOwn(isByCaller);
        case Said::Ack:
            ackAgain(isByCaller);
            break;
        }
        return kNothing;
    }
    static int statusOf(const HeardPtr& heard) { return heard->status(); }

    // The stack knows which one confirms a reliable answer; all others come like any request.
    int prack(PhoneDialog& speaker, const std::string& body = {})
    {
        if (&speaker != &caller || invite->reliable.size() <= pracks || invite->isDecided)
            return statusOf(say(speaker, SipMethod::Prack));
        ++pracks;
        CallMessage request = initial(speaker.phone, "server", SipMethod::Prack);
        request.body = sdp(body);
        const HeardPtr heard = FakeCallTransport::prack(invite, request);
        all.emplace_back(heard, &speaker);
        return heard->status();
    }
    int cancelOwn(bool isByCaller)
    {
        const HeardPtr own = isByCaller && !invite->isDecided ? invite
                             : open != nullptr && open->request.method == SipMethod::Invite && isOpenOf(isByCaller)
                                 ? open
                                 : nullptr;
        if (own == nullptr || own->isDecided)
            return kNothing; // the stack says 481
        cancel(own);
        return own->status();
    }
    [[nodiscard]] bool isOpenOf(bool isByCaller) { return open->request.callId == dialogOf(isByCaller).callId; }
    // Only those of a success get to the call, once.
    void ackAgain(bool isByCaller)
    {
        const HeardPtr& own = isByCaller ? invite : open;
        if (own != nullptr && own->request.method == SipMethod::Invite && own->status() == 200)
            confirm(own);
        if (own != nullptr && own->request.method == SipMethod::Invite && own->status() == 200)
            ack(own);
    }
    void confirm(const HeardPtr& heard)
    {
        ack(heard, heard->request.body.isEmpty() ? kAnswer : "");
        confirmed.push_back(heard);
    }

    // Both telephones answer and confirm all that is open, as they should.
    void settle()
    {
        for (bool isMore = true; isMore;) {
            isMore = false;
            for (size_t i = 0; i < transport.sent.size(); ++i) {
                const SentPtr sent = transport.sent[i];
                if (sent->isFinal || !sent->isHeard)
                    continue;
                isMore = true;
                if (sent->request.method == "INVITE")
                    answer(sent, sent->isCancelled ? 487 : 200, sent->isCancelled ? "" : kAnswer);
                else
                    answer(sent, 200, sent->request.body.isEmpty() ? "" : kAnswer);
            }
            for (size_t i = 0; i < all.size(); ++i) {
                const HeardPtr heard = all[i].first;
                if (heard->request.method != SipMethod::Invite || heard->status() != 200 ||
                    std::find(confirmed.begin(), confirmed.end(), heard) != confirmed.end())
                    continue;
                isMore = true;
                confirm(heard);
            }
        }
    }

    [[nodiscard]] size_t byesTo(const PhoneDialog& side) const
    {
        return static_cast<size_t>(
            std::count_if(transport.sent.begin(), transport.sent.end(), [&](const SentPtr& sent) {
                return sent->request.method == "BYE" && sent->request.callId == side.callId;
            }));
    }
    [[nodiscard]] bool hasHungUp(const PhoneDialog& side) const
    {
        return std::any_of(all.begin(), all.end(), [&](const auto& one) {
            return one.second == &side && one.first->request.method == SipMethod::Bye && one.first->status() == 200;
        });
    }
    // How often that side learns that it is over, or says so.
    [[nodiscard]] size_t endsOfCaller() const
    {
        const bool isFailed = invite->isDecided && invite->status() >= 300;
        return byesTo(caller) + (isFailed || hasHungUp(caller) ? 1 : 0);
    }
    [[nodiscard]] size_t endsOfCalled() const
    {
        return byesTo(called) + (branch->isCancelled || hasHungUp(called) ? 1 : 0);
    }

    // For the next call.
    void forget()
    {
        open = nullptr;
        pracks = 0;
        all.clear();
        confirmed.clear();
        transport.sent.clear();
        records.clear();
        (void)takeStates();
    }

    void expectAnswer(Said said, int expected)
    {
        const GlareCase& tested = GetParam();
        const bool isByCaller = tested.row.isByCaller != tested.isTurned;
        reach(tested.row.state, dialogOf(!tested.isTurned));
        EXPECT_EQ(hear(said, isByCaller), expected);
        const bool isCallCancelled = said == Said::Cancel && open == nullptr && expected != kNothing;
        const bool wasOver = tested.row.state == State::Cancelled || tested.row.state == State::Over;
        EXPECT_EQ(server().statusTable().empty(), said == Said::Bye || isCallCancelled || wasOver);
    }

    void expectEndedOnce()
    {
        settle();
        if (!server().statusTable().empty()) {
            EXPECT_EQ(say(caller, SipMethod::Bye)->status(), 200) << "the call goes on";
            settle();
        }
        EXPECT_EQ(endsOfCaller(), 1U);
        EXPECT_EQ(endsOfCalled(), 1U);
        const std::vector<std::string> told = recordTexts();
        EXPECT_EQ(std::count_if(told.begin(), told.end(),
                                [](const std::string& text) { return text.find("end") != std::string::npos; }),
                  1);
        for (const char* user : {"2001 ", "2002 "}) {
            const auto last = std::find_if(states.rbegin(), states.rend(),
                                           [user](const std::string& state) { return state.find(user) == 0; });
            ASSERT_NE(last, states.rend());
            EXPECT_EQ(*last, std::string(user) + "1");
        }
        for (const SentPtr& sent : transport.sent)
            if (sent->request.method == "INVITE" && sent->isFinal && !sent->isCancelled) {
                EXPECT_EQ(sent->acks.size(), 1U) << "CSeq " << sent->request.cseq;
            }
        for (const auto& [heard, who] : all)
            EXPECT_TRUE(heard->isDecided) << heard->request.methodName;
        expectNothingLeft();
    }

    HeardPtr invite;
    SentPtr branch;
    HeardPtr open;     // the offer within the call
    size_t pracks = 0; // of the caller
    PhoneDialog caller;
    PhoneDialog called;
    std::vector<std::pair<HeardPtr, const PhoneDialog*>> all; // requests, and who sent them
    std::vector<HeardPtr> confirmed;
};

TEST_P(GlareTest, AllIsAnsweredAndTheCallEndsOnceForEverybody)
{
    const Row& row = GetParam().row;
    for (const auto& [said, expected] :
         {std::pair(Said::Invite, row.invite), std::pair(Said::Update, row.update),
          std::pair(Said::Refresh, row.refresh), std::pair(Said::Bye, row.bye), std::pair(Said::Cancel, row.cancel),
          std::pair(Said::Info, row.info), std::pair(Said::Options, row.options), std::pair(Said::Prack, row.prack),
          std::pair(Said::Ack, row.ack)}) {
        SCOPED_TRACE(nameOf(said));
        forget();
        expectAnswer(said, expected);
        expectEndedOnce();
    }
}

INSTANTIATE_TEST_SUITE_P(States, GlareTest, testing::ValuesIn(allCases()),
                         [](const testing::TestParamInfo<GlareCase>& tested) { return nameOf(tested.param); });

} // namespace
