#include "calls/call_log.h"

#include "callserver/event_ids.h"

#include "bcl2/event_bus.h"

#include <algorithm>

void CallLog::publish(CallRecord& record) const
{
    BclPubEvent(kEvtCallRecord, &record.id, &record.data);
}

void CallLog::begin(CallRecord& record)
{
    record.id = ++_records;
    record.data.setTime(kCdrStart, _clock.wallSeconds());
    publish(record);
}

void CallLog::ring(CallRecord& record)
{
    if (record.id == 0 || record.data.has(kCdrHasRing) || record.data.has(kCdrHasEnd))
        return;
    record.data.setTime(kCdrRing, _clock.wallSeconds());
    publish(record);
}

void CallLog::answer(CallRecord& record)
{
    if (record.id == 0 || record.data.has(kCdrHasAnswer) || record.data.has(kCdrHasEnd))
        return;
    record.data.setTime(kCdrAnswer, _clock.wallSeconds());
    publish(record);
}

void CallLog::end(CallRecord& record, int status)
{
    if (record.id == 0 || record.data.has(kCdrHasEnd))
        return;
    Ccdr_record_data& data = record.data;
    data.setTime(kCdrEnd, _clock.wallSeconds());
    data.releaseCode = static_cast<uint32_t>(status);
    // The clock may have been set back meanwhile.
    if (data.has(kCdrHasAnswer))
        data.duration =
            static_cast<uint32_t>(std::max<Cbcl_timestamp>(0, data.times[kCdrEnd] - data.times[kCdrAnswer]));
    publish(record);
    if ((_system.now().callFlags & kSysStoreCdr) != 0 &&
        (!record.isStrangers || data.has(kCdrHasAnswer) || _strangers.take()))
        _store.add(record.id, data);
}
