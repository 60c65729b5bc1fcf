// What the call server publishes and hears on the event bus.
#pragma once

// Texts are NUL-terminated UTF-8. Callbacks run on a server thread.
constexpr unsigned kEvtLog = 10001;          // data1: log line
constexpr unsigned kEvtCallRecord = 10002;   // data1: record number (int), data2: Ccdr_record_data (call_record.h)
constexpr unsigned kEvtReleaseCalls = 10003; // heard: no data
constexpr unsigned kEvtUserState = 10005;    // data1: user name, data2: one byte, Eusr_stage
constexpr unsigned kEvtUserAgent = 10006;    // data1: user name, data2: User-Agent text, empty when none
constexpr unsigned kEvtUserAddress = 10007;  // data1: user name, data2: "address:port", empty when none
constexpr unsigned kEvtLineState = 10008;    // data1: line name, data2: one byte
constexpr unsigned kEvtTerminate = 10100;    // the process was asked to end (SIGTERM, SIGINT); no data
