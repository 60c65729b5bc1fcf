// Call detail records while calls are in progress, and where they go.
#pragma once

#include "calls/cdr_store.h"
#include "calls/stranger_records.h"
#include "callserver/call_record.h"
#include "clock.h"

#include "cachedb2/snapshot.h"
#include "cachedb2/sys_tbl.h"

#include <string>

// One leg of a call, as administrators see it.
struct CallRecord {
    int id = 0; // 0: none was begun
    Ccdr_record_data data;
    bool isStrangers = false; // an unknown server has made the call
};

// Numbers the records, publishes them as kEvtCallRecord, and has those of ended legs stored. SIP thread.
class CallLog {
public:
    CallLog(const SnapshotBox<Cdb_sys_data>& system, const Clock& clock, CdrStore& store)
        : _system(system), _clock(clock), _store(store), _strangers(clock)
    {}

    // The number of a new call.
    [[nodiscard]] int nextCall() { return ++_calls; }

    // Gives the record its number, its start, and publishes it.
    void begin(CallRecord& record);
    // The called side rings, or has answered. Once each; later calls do nothing.
    void ring(CallRecord& record);
    void answer(CallRecord& record);
    // Once: the record is finished.
    void end(CallRecord& record, int status);

private:
    void publish(CallRecord& record) const;

    SnapshotReader<Cdb_sys_data> _system;
    const Clock& _clock;
    CdrStore& _store;
    StrangerRecords _strangers;
    int _calls = 0;
    int _records = 0;
};
