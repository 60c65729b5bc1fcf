// The event bus between the server's threads and everybody who wants to hear of them.
#pragma once

// Runs on the publishing thread; data1 and data2 live for the call only.
using BclEventFunc = void (*)(void* context, void* data1, void* data2);

// Registers a callback for an event id; callbacks of one id run in the order of their subscription. There is no way
// back: context and callback must live as long as the process. Any thread, also while events are published.
void BclSubEvent(unsigned eventId, void* context, BclEventFunc callback);

// Calls the subscribers of the id one after another on this thread. Takes no lock. Does nothing once the bus is closed.
// The data is handed on as it is; what it means is said where the id is defined.
void BclPubEvent(unsigned eventId, const void* data1, const void* data2);

// Ends publishing for good: later publications do nothing, those under way on other threads are waited for, at most
// `timeoutMs` milliseconds. Returns true when none is left. Called once, by the thread that ends the process.
bool BclCloseEvents(unsigned timeoutMs);
