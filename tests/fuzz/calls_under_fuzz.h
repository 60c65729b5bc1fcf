// All calls of a small office over a way that the target plays, and what must hold of them.
#pragma once

#include "calls/calls.h"
#include "callserver/call_record.h"
#include "registrar/refusal_log.h"
#include "registrar/registrar.h"
#include "sip/transactions.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct FuzzPhone {
    std::string user;
    SipSource source;

    [[nodiscard]] std::string contact() const;
};

// Users 2001 to 2004 may call from where they registered; unknown callers are taken. 2002 rings for 10 s, may have two
// calls, and his own end after 100 s; 2003 has no video. One at a time; one thread.
class CallsUnderFuzz {
public:
    // Once in a process: what several of these have in common is made with the first.
    CallsUnderFuzz(CallTransport& transport, const Clock& clock, const std::vector<FuzzPhone>& phones, bool hasTimers);
    ~CallsUnderFuzz();
    CallsUnderFuzz(const CallsUnderFuzz&) = delete;
    CallsUnderFuzz& operator=(const CallsUnderFuzz&) = delete;

    [[nodiscard]] Calls& calls() { return *_calls; }
    // No call is left, nothing of one, and each record has ended.
    void checkNothingLeft() const;

private:
    void onRecord(int id, const Ccdr_record_data& record);

    RefusalLog _refusals;
    std::unique_ptr<Registrar> _registrar;
    std::unique_ptr<Calls> _calls;
    std::map<int, uint32_t> _records; // the flags that were published last
};
