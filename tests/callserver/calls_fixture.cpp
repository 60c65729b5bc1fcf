#include "callserver/calls_fixture.h"

#include "callserver/event_ids.h"
#include "sip/uri_text.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

Cdb_options optionsOf(const TemporaryFolder& folder)
{
    Cdb_options options;
    options.dataFolder = folder.path();
    return options;
}

const char* nameOf(SipMethod method)
{
    switch (method) {
    case SipMethod::Invite:
        return "INVITE";
    case SipMethod::Ack:
        return "ACK";
    case SipMethod::Cancel:
        return "CANCEL";
    case SipMethod::Bye:
        return "BYE";
    case SipMethod::Options:
        return "OPTIONS";
    case SipMethod::Prack:
        return "PRACK";
    case SipMethod::Update:
        return "UPDATE";
    case SipMethod::Info:
        return "INFO";
    case SipMethod::Message:
        return "MESSAGE";
    case SipMethod::Refer:
        return "REFER";
    case SipMethod::Subscribe:
        return "SUBSCRIBE";
    case SipMethod::Notify:
        return "NOTIFY";
    case SipMethod::Other:
        break;
    }
    return "OTHER";
}

SipMethod methodOf(const std::string& name)
{
    for (const SipMethod method :
         {SipMethod::Invite, SipMethod::Ack, SipMethod::Cancel, SipMethod::Bye, SipMethod::Options, SipMethod::Prack,
          SipMethod::Update, SipMethod::Info, SipMethod::Message})
        if (name == nameOf(method))
            return method;
    return SipMethod::Other;
}

std::string tagOf(const std::string& party)
{
    const size_t begin = party.find(";tag=");
    return begin == std::string::npos ? std::string() : party.substr(begin + 5);
}

// The telephone's address names its registration.
Cdb_sip_contact registrationOf(const FakePhone& phone, int64_t now)
{
    Cdb_sip_contact contact;
    BclCopyStr(contact.userName, phone.user.c_str());
    BclCopyStr(contact.contact, phone.contact().c_str());
    BclCopyStr(contact.callId, phone.source.address.c_str());
    BclCopyStr(contact.srcAddr, phone.source.address.c_str());
    contact.srcPort = phone.source.port;
    contact.transport = phone.source.transport;
    contact.registeredAt = now;
    contact.expiresAt = now + Registrar::kMaxExpires;
    return contact;
}

// Lives as long as the process, as it does in the server.
CdrStore& keptStore(const std::string& folder)
{
    static std::vector<std::unique_ptr<CdrStore>>& all = *new std::vector<std::unique_ptr<CdrStore>>;
    return *all.emplace_back(std::make_unique<CdrStore>(folder));
}

} // namespace

std::string FakePhone::contact() const
{
    return "sip:" + user + "@" + source.address + ":" + std::to_string(source.port);
}

CallsFixture::CallsFixture() : store(optionsOf(folder)), cdrs(keptStore(folder.path() + "/"))
{
    changeSystem([](Cdb_sys_data& system) { system.callFlags &= static_cast<uint8_t>(~kSysAuthCalls); });
    for (int i = 1; i <= 5; ++i) {
        const std::string name = std::to_string(2000 + i);
        changeUser(name, [&](Cdb_usr_info& user) { BclCopyStr(user.dispName, ("Phone " + name).c_str()); });
        _phones[name] = {{name, {"192.0.2." + std::to_string(i), 5060, kTransportUdp}}};
    }
    BclSubEvent(kEvtCallRecord, this, [](void* context, void* id, void* data) {
        static_cast<CallsFixture*>(context)->records.emplace_back(*static_cast<const int*>(id),
                                                                  *static_cast<const Ccdr_record_data*>(data));
    });
    BclSubEvent(kEvtLog, this, [](void* context, void* line, void*) {
        static_cast<CallsFixture*>(context)->lines.emplace_back(static_cast<const char*>(line));
    });
}

CallsFixture::~CallsFixture()
{
    BclCloseEvents(0); // the subscriptions cannot be taken back
}

void CallsFixture::changeUser(const std::string& name, const std::function<void(Cdb_usr_info&)>& change)
{
    Cdb_usr_info record;
    BclCopyStr(record.usrName, name.c_str());
    (void)store.DbGetUsrInfo(name.c_str(), record);
    change(record);
    ASSERT_EQ(store.DbSetLocalUserData(record), kDbOk);
}

void CallsFixture::changeSystem(const std::function<void(Cdb_sys_data&)>& change)
{
    Cdb_sys_data record = *store.system().get();
    change(record);
    ASSERT_EQ(store.DbSetSysData(record), kDbOk);
}

FakePhone CallsFixture::addPhone(const std::string& user, uint8_t protocol)
{
    FakePhone added{user, {"192.0.2." + std::to_string(++_lastHost), 5060, protocol}};
    _phones[user].push_back(added);
    return added;
}

FakePhone CallsFixture::phone(const std::string& user) const
{
    return _phones.at(user).front();
}

Calls& CallsFixture::server()
{
    if (_server != nullptr)
        return *_server;
    _registrar = std::make_unique<Registrar>(store.users(), store.system(), clock, [this](UserChange&& change) {
        if (change.isStateNew)
            states.push_back(change.stored.userName + " " + std::to_string(change.stored.row.usrStage));
    });
    std::vector<Cdb_user_bindings> stored;
    for (const auto& [user, phones] : _phones) {
        Cdb_user_bindings& bindings = stored.emplace_back();
        bindings.userName = user;
        bindings.hasRow = true;
        BclCopyStr(bindings.row.userName, user.c_str());
        bindings.row.usrStage = kUsrIdle;
        for (const FakePhone& one : phones)
            bindings.contacts.push_back(registrationOf(one, clock.wallSeconds()));
        BclCopyStr(bindings.row.preAddr, phones.back().source.address.c_str());
        bindings.row.prePort = phones.back().source.port;
    }
    _registrar->load(stored);
    _server = std::make_unique<Calls>(store, *_registrar, _refusals, transport, cdrs, clock,
                                      [](const SipSource&, Credentials) { return true; });
    states.clear();
    return *_server;
}

void CallsFixture::registerAnew(const FakePhone& phone)
{
    Cdb_user_bindings bindings;
    bindings.userName = phone.user;
    bindings.contacts.push_back(registrationOf(phone, clock.wallSeconds()));
    _registrar->userChanged(phone.user, true);
    _registrar->load({bindings});
}

SipBody CallsFixture::sdp(const std::string& text)
{
    return text.empty() ? SipBody{} : SipBody{"application/sdp", {}, text};
}

CallMessage CallsFixture::initial(const FakePhone& from, const std::string& dialed, SipMethod method)
{
    CallMessage request;
    request.method = method;
    request.methodName = nameOf(method);
    request.source = from.source;
    request.requestUri = "sip:" + dialed + "@198.51.100.1";
    request.requestUser = dialed;
    request.requestHost = "198.51.100.1";
    request.from = {"sip:" + from.user + "@198.51.100.1", from.user, "198.51.100.1", {}, {}};
    request.callId = "call-" + std::to_string(++_calls);
    request.from.tag = "caller-" + std::to_string(_calls);
    request.to = {request.requestUri, dialed, "198.51.100.1", {}, {}};
    request.cseq = 1;
    request.contact = from.contact();
    return request;
}

HeardPtr CallsFixture::deliver(const CallMessage& request)
{
    const CallVerdict verdict = server().judge(request);
    std::unique_ptr<ServerTransaction> transaction;
    HeardPtr heard = FakeCallTransport::hear(request, transaction);
    if (verdict.isServed)
        server().onRequest(request, std::move(transaction));
    else if (verdict.status != 0)
        transaction->answer({verdict.status, verdict.phrase, verdict.headers});
    return heard;
}

HeardPtr CallsFixture::call(const FakePhone& from, const std::string& dialed, const Change& change)
{
    CallMessage invite = initial(from, dialed, SipMethod::Invite);
    invite.body = sdp(kOffer);
    if (change)
        change(invite);
    return deliver(invite);
}

void CallsFixture::ack(const HeardPtr& invite, const std::string& body)
{
    CallMessage ack = invite->request;
    ack.method = SipMethod::Ack;
    ack.methodName = "ACK";
    ack.body = sdp(body);
    ack.passed.clear();
    FakeCallTransport::ack(invite, ack);
}

void CallsFixture::cancel(const HeardPtr& invite)
{
    CallMessage cancel = invite->request;
    cancel.method = SipMethod::Cancel;
    cancel.methodName = "CANCEL";
    cancel.body = {};
    FakeCallTransport::cancel(invite, cancel);
}

bool CallsFixture::hasNext(const std::string& method) const
{
    return std::any_of(transport.sent.begin(), transport.sent.end(), [&](const SentPtr& one) {
        return one->request.method == method && std::find(_taken.begin(), _taken.end(), one) == _taken.end();
    });
}

SentPtr CallsFixture::next(const std::string& method)
{
    for (const SentPtr& one : transport.sent)
        if (one->request.method == method && std::find(_taken.begin(), _taken.end(), one) == _taken.end()) {
            _taken.push_back(one);
            return one;
        }
    ADD_FAILURE() << "no " << method << " was sent";
    auto none = std::make_shared<SentRequest>();
    none->isHeard = false;
    return none;
}

void CallsFixture::answer(const SentPtr& sent, int status, const std::string& body, const Change& change)
{
    CallMessage response;
    response.method = methodOf(sent->request.method);
    response.methodName = sent->request.method;
    response.status = status;
    response.phrase = statusPhrase(status);
    response.source = sent->request.destination;
    response.callId = sent->request.callId;
    response.cseq = sent->request.cseq;
    response.from.tag = tagOf(sent->request.from);
    response.to.tag = "of-" + sent->request.callId;
    response.contact = "sip:answered@" + sent->request.destination.address + ":5060";
    response.body = sdp(body);
    if (change)
        change(response);
    FakeCallTransport::answer(sent, response);
}

void CallsFixture::answerOwn(const SentPtr& sent, int status)
{
    CallMessage response;
    response.status = status;
    FakeCallTransport::answer(sent, response);
}

PhoneDialog CallsFixture::callerOf(const HeardPtr& invite, const FakePhone& phone)
{
    return {phone, invite->request.callId, invite->request.from.tag, invite->tag, invite->request.cseq};
}

PhoneDialog CallsFixture::calledOf(const SentPtr& branch, const FakePhone& phone)
{
    return {phone, branch->request.callId, "of-" + branch->request.callId, tagOf(branch->request.from), 0};
}

HeardPtr CallsFixture::send(PhoneDialog& dialog, SipMethod method, const std::string& body, const Change& change)
{
    CallMessage request = initial(dialog.phone, "server", method);
    request.callId = dialog.callId;
    request.from.tag = dialog.tag;
    request.to.tag = dialog.serverTag;
    request.cseq = ++dialog.cseq;
    request.body = sdp(body);
    if (change)
        change(request);
    return deliver(request);
}

CallsFixture::Talk CallsFixture::talk(const std::string& from, const std::string& to, const Change& invite,
                                      const Change& success)
{
    Talk made;
    made.invite = call(from, to, invite);
    made.branch = next("INVITE");
    answer(made.branch, 200, kAnswer, success);
    EXPECT_EQ(made.invite->status(), 200);
    ack(made.invite);
    made.caller = callerOf(made.invite, phone(from));
    made.called = calledOf(made.branch, phone(to));
    return made;
}

void CallsFixture::hangUp(Talk& talk)
{
    EXPECT_EQ(send(talk.caller, SipMethod::Bye)->status(), 200);
    answer(next("BYE"), 200);
}

void CallsFixture::pass(int64_t seconds)
{
    for (int64_t i = 0; i < seconds; ++i) {
        clock.passSeconds(1);
        server().step();
    }
}

void CallsFixture::expectNothingLeft()
{
    pass(60);
    const Calls::Load load = server().load();
    EXPECT_EQ(load.calls, 0U);
    EXPECT_EQ(load.legs, 0U);
    EXPECT_EQ(load.callIds, 0U);
    EXPECT_EQ(load.due, 0U);
    for (const auto& [user, phones] : _phones)
        EXPECT_EQ(server().counts().ofUser(user), 0U) << user;
    EXPECT_TRUE(server().statusTable().empty());
}

std::vector<std::string> CallsFixture::recordTexts() const
{
    std::vector<std::string> texts;
    for (const auto& [id, data] : records) {
        const std::string moment = data.has(kCdrHasEnd)      ? "end " + std::to_string(data.releaseCode)
                                   : data.has(kCdrHasAnswer) ? "answer"
                                   : data.has(kCdrHasRing)   ? "ring"
                                                             : "start";
        texts.push_back((id == 1 ? "" : std::to_string(id) + ":") + moment);
    }
    return texts;
}
