#include "calls/message_relay.h"

#include "calls/dialog.h"
#include "sip/uri_text.h"

#include "bcl2/text.h"
#include "bcl2/uaddr.h"

#include <algorithm>
#include <utility>

// 0: it may go.
int MessageRelay::refusalOf(const CallSource& source, const DialAnswer& answer)
{
    if (answer.status != 0)
        return answer.status;
    if (answer.targets.empty() || answer.targets.front().kind != DialTarget::Kind::LocalUser)
        return 503; // messages over lines and to services are not carried
    const auto target = _users.now().find(answer.targets.front().name);
    if (target == nullptr)
        return 404;
    const auto sender = source.kind == SourceKind::User ? _users.now().find(source.name) : nullptr;
    const bool mayPass = target->hasFlag(kUsrMessages) && (sender == nullptr || sender->hasFlag(kUsrMessages));
    return mayPass ? 0 : 403;
}

void MessageRelay::relay(const CallMessage& message, const CallSource& source, const DialAnswer& answer,
                         std::unique_ptr<ServerTransaction> transaction)
{
    if (const int refusal = refusalOf(source, answer); refusal != 0) {
        transaction->answer({refusal});
        return;
    }
    const DialTarget& target = answer.targets.front();
    struct Contact {
        std::string uri;
        SipSource destination;
    };
    std::vector<Contact> contacts;
    const auto user = _users.now().find(target.name);
    if (user->hasFlag(kUsrIpAuth)) {
        SipSource destination;
        destination.address = BclTrimmed(BclFieldText(user->ipAddr));
        destination.port = static_cast<uint16_t>(user->ipPort == 0 || user->ipPort > UINT16_MAX ? 5060 : user->ipPort);
        Cbcl_uaddr text;
        text.setAddress(destination.address.c_str(), destination.port);
        contacts.push_back({sipUri(target.name, text.getURLStr()), destination});
    } else if (const std::vector<Binding>* bindings = _registrar.contactsOf(target.name); bindings != nullptr) {
        for (const Binding& binding : *bindings)
            contacts.push_back({binding.uri.text, binding.source});
    }
    if (contacts.empty()) {
        transaction->answer({480});
        return;
    }
    Delivery& delivery = _deliveries.emplace_back();
    delivery.transaction = std::move(transaction);
    delivery.open = contacts.size();
    const std::string domain(BclTrimmed(BclFieldText(_system.now().sipDomain)));
    for (const Contact& contact : contacts) {
        const std::string host = domain.empty() ? _transport.localHost(contact.destination) : domain;
        CallRequestOut out;
        out.method = "MESSAGE";
        out.uri = contact.uri;
        out.from = nameAddr(message.from.display, sipUri(target.caller, host)) + ";tag=" + randomTag();
        out.to = "<" + sipUri(target.called, host) + ">";
        out.callId = randomTag() + randomTag();
        out.cseq = 1;
        out.maxForwards = message.maxForwards > 0 ? message.maxForwards - 1 : 0;
        out.headers = message.passed;
        out.body = message.body;
        out.destination = contact.destination;
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
