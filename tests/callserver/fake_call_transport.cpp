#include "callserver/fake_call_transport.h"

#include <cstdlib>
#include <utility>

namespace {

class FakeClient final : public ClientTransaction {
public:
    explicit FakeClient(SentPtr sent) : _sent(std::move(sent)) {}
    ~FakeClient() override
    {
        _sent->isHeard = false;
        _sent->onResponse = nullptr;
    }
    void cancel(const std::string& /*headers*/) override
    {
        if (_sent->request.method != "INVITE")
            std::abort();
        _sent->isCancelled = _sent->isCancelled || !_sent->isFinal;
    }
    [[nodiscard]] const SentPtr& sent() const { return _sent; }

private:
    SentPtr _sent;
};

class FakeServer final : public ServerTransaction {
public:
    explicit FakeServer(HeardPtr heard) : _heard(std::move(heard)) { _heard->transaction = this; }
    ~FakeServer() override
    {
        if (!_heard->isDecided)
            note({500});
        _heard->transaction = nullptr;
        _heard->listener = nullptr;
    }
    void setTag(const std::string& tag) override { _heard->tag = tag; }
    void setListener(ServerTransactionListener* listener) override { _heard->listener = listener; }
    void answer(const CallAnswer& answer) override
    {
        _heard->finals += answer.status >= 200 ? 1 : 0;
        if (_heard->isDecided)
            return;
        _isAnswered = answer.status >= 200;
        if (!_heard->holdsSuccess || answer.status < 200 || answer.status >= 300)
            note(answer);
    }
    [[nodiscard]] bool answerReliably(const CallAnswer& answer) override
    {
        if (_heard->isDecided || !_heard->request.isReliableSupported)
            return false;
        _heard->reliable.push_back(answer);
        note(answer);
        return true;
    }
    // What was held is not given any more once there is another final answer.
    [[nodiscard]] bool isAnswered() const override
    {
        return _isAnswered && !(_heard->holdsSuccess && _heard->isDecided);
    }

private:
    void note(const CallAnswer& answer)
    {
        _heard->answers.push_back(answer);
        _heard->isDecided = answer.status >= 200;
    }

    HeardPtr _heard;
    bool _isAnswered = false;
};

} // namespace

std::vector<int> HeardRequest::statuses() const
{
    std::vector<int> all;
    all.reserve(answers.size());
    for (const CallAnswer& answer : answers)
        all.push_back(answer.status);
    return all;
}

std::unique_ptr<ClientTransaction> FakeCallTransport::send(const CallRequestOut& request, ResponseHandler onResponse)
{
    auto made = std::make_shared<SentRequest>();
    made->request = request;
    made->onResponse = std::move(onResponse);
    sent.push_back(made);
    return std::make_unique<FakeClient>(std::move(made));
}

void FakeCallTransport::sendAck(const CallRequestOut& ack, ClientTransaction& invite)
{
    dynamic_cast<const FakeClient&>(invite).sent()->acks.push_back(ack);
}

HeardPtr FakeCallTransport::hear(const CallMessage& request, std::unique_ptr<ServerTransaction>& transaction)
{
    auto heard = std::make_shared<HeardRequest>();
    heard->request = request;
    transaction = std::make_unique<FakeServer>(heard);
    return heard;
}

void FakeCallTransport::answer(const SentPtr& sent, const CallMessage& response)
{
    if (!sent->isHeard || sent->isFinal)
        return;
    sent->isFinal = response.isFinal();
    // It may let the request go.
    const ResponseHandler handler = sent->onResponse;
    handler(response);
}

void FakeCallTransport::ack(const HeardPtr& invite, const CallMessage& ack)
{
    if (invite->listener != nullptr)
        invite->listener->onAck(*invite->transaction, ack);
}

void FakeCallTransport::cancel(const HeardPtr& invite, const CallMessage& cancel)
{
    if (invite->isDecided)
        return;
    if (invite->listener != nullptr)
        invite->listener->onCancel(*invite->transaction, cancel);
    if (invite->isDecided)
        return;
    invite->answers.push_back({487});
    invite->isDecided = true;
}

HeardPtr FakeCallTransport::prack(const HeardPtr& invite, const CallMessage& prack)
{
    std::unique_ptr<ServerTransaction> transaction;
    HeardPtr heard = hear(prack, transaction);
    if (invite->listener != nullptr)
        invite->listener->onPrack(*invite->transaction, prack, std::move(transaction));
    else
        transaction->answer({200});
    return heard;
}

void FakeCallTransport::leaveUnconfirmed(const HeardPtr& invite)
{
    ServerTransactionListener* const listener = invite->listener;
    if (listener == nullptr)
        return;
    if (!invite->isDecided) {
        invite->answers.push_back({503});
        invite->isDecided = true;
    }
    listener->onUnconfirmed(*invite->transaction);
}
