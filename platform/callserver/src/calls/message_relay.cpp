#include "calls/message_relay.h"

#include "calls/dialog.h"
#include "calls/reachable.h"
#include "calls/shown_caller.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"

#include <algorithm>
#include <utility>

MessageRelay::Refusal MessageRelay::refusalOf(const CallSource& source, const DialAnswer& answer,
                                              const Cdb_usr_info* target)
{
    if (answer.status != 0)
        return {answer.status, {}};
    if (answer.targets.empty() || answer.targets.front().kind != DialTarget::Kind::LocalUser)
        return {503, "messages over lines and to services are not carried"};
    const std::string& name = answer.targets.front().name;
    if (target == nullptr)
        return {404, "local user " + name + " does not exist any more"};
    if (!target->hasFlag(kUsrMessages))
        return {403, "local user " + name + " may not get messages"};
    const auto sender = source.kind == SourceKind::User ? _users.now().find(source.name) : nullptr;
    if (sender != nullptr && !sender->hasFlag(kUsrMessages))
        return {403, "local user " + source.name + " may not send messages"};
    return {};
}

void MessageRelay::relay(const CallMessage& message, const CallSource& source, const DialAnswer& answer,
                         std::unique_ptr<ServerTransaction> transaction)
{
    const auto user = answer.targets.empty() ? nullptr : _users.now().find(answer.targets.front().name);
    if (const Refusal refusal = refusalOf(source, answer, user.get()); refusal.status != 0) {
        if (!refusal.why.empty())
            _refusals.note(answer.caller, message.source.address, addressText(message.source),
                           std::to_string(refusal.status) + ", " + refusal.why, "Message");
        transaction->answer({refusal.status});
        return;
    }
    const DialTarget& target = answer.targets.front();
    const std::vector<Telephone> telephones = telephonesOf(*user, _registrar.contactsOf(target.name));
    if (telephones.empty()) {
        transaction->answer({480});
        return;
    }
    Delivery& delivery = _deliveries.emplace_back();
    delivery.transaction = std::move(transaction);
    delivery.open = telephones.size();
    const std::string domain(BclTrimmed(BclFieldText(_system.now().sipDomain)));
    for (const Telephone& telephone : telephones) {
        const std::string host = domain.empty() ? _transport.localHost(telephone.destination) : domain;
        CallRequestOut out;
        out.method = "MESSAGE";
        out.uri = telephone.uri;
        out.from = shownParty(answer, message, target.caller, host) + ";tag=" + randomTag();
        out.to = "<" + sipUri(target.called, host) + ">";
        out.callId = randomTag() + randomTag();
        out.cseq = 1;
        out.maxForwards = message.maxForwards > 0 ? message.maxForwards - 1 : 0;
        out.headers = shownHeaders(message.passed, isHidden(answer, message), source.kind == SourceKind::Unknown);
        if (isHidden(answer, message))
            out.headers += headerLine("Privacy", "id");
        out.body = message.body;
        out.destination = telephone.destination;
        delivery.sent.push_back(
            _transport.send(out, [this, &delivery](const CallMessage& response) { onAnswer(delivery, response); }));
    }
}

void MessageRelay::onAnswer(Delivery& delivery, const CallMessage& response)
{
    if (!response.isFinal())
        return;
    --delivery.open;
    if (response.isSuccess() && !delivery.transaction->isAnswered())
        delivery.transaction->answer({response.status, response.phrase, response.passed, response.body});
    else if (!response.isSuccess())
        delivery.failures.add(response);
    if (delivery.open != 0)
        return;
    if (!delivery.transaction->isAnswered())
        delivery.transaction->answer(delivery.failures.answer());
    _deliveries.remove_if([&delivery](const Delivery& one) { return &one == &delivery; });
}

void MessageRelay::drop()
{
    _deliveries.clear();
}
