#include "calls/failure_choice.h"

namespace {

// Lower is better.
int rank(int status)
{
    if (status >= 600)
        return 0;
    switch (status) {
    case 486:
        return 1;
    case 480:
    case 408: // no answer at all
        return 3;
    case 503:
    case 500:
        return 4;
    default:
        return 2;
    }
}

// What a telephone answered to the server is not always for the caller.
int toldStatus(int status)
{
    switch (status) {
    case 401: // it is the server that should have authenticated itself
    case 407:
    case 422: // of the server's session timer
    case 481:
    case 482:
    case 503: // it is not the server that is down (RFC 3261 section 16.7)
        return 500;
    case 408: // it is the same whether the stack or the user's ring time gives up first
    case 404: // that the telephone does not know its own user any more
    case 410:
    case 487:
        return 480;
    default:
        // A redirection would have the caller leave the server.
        return status < 400 ? 480 : status;
    }
}

// 408 and 481 are for the call to decide: it ends by them.
bool isForServer(int status)
{
    switch (status) {
    case 401:
    case 404:
    case 407:
    case 410:
    case 416:
    case 422:
    case 482:
    case 483:
    case 484:
    case 485:
    case 502:
    case 503:
    case 604:
        return true;
    default:
        return status < 400;
    }
}

} // namespace

CallAnswer toldWithin(const CallMessage& response)
{
    if (isForServer(response.status))
        return {500};
    return {response.status, response.phrase, response.passed};
}

void FailureChoice::add(const CallMessage& response)
{
    if (!_best || rank(response.status) < rank(_best->status))
        _best = response;
}

void FailureChoice::addSilence()
{
    CallMessage silence;
    silence.status = 408;
    add(silence);
}

CallAnswer FailureChoice::answer() const
{
    CallAnswer answer;
    answer.status = _best ? toldStatus(_best->status) : 480;
    if (_best && answer.status == _best->status) {
        answer.phrase = _best->phrase;
        answer.headers = _best->passed;
    }
    return answer;
}
