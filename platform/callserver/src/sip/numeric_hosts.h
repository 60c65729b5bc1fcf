// Host names are never resolved: the stack would wait for a name server on its only thread, and whoever sends a packet
// chooses the names in it.
#pragma once

#include <netdb.h>

// getaddrinfo() for address literals only: a host name is EAI_NONAME at once. The stack uses it too. Any thread.
[[nodiscard]] int resolveLiteral(const char* node, const char* service, const addrinfo* hints, addrinfo** result);

// From now on the stack opens no connection by itself. It would when an answer finds its own connection closed, to
// wherever the Via says: now the answer goes into a drain of this process and is lost. It must not fail, since the
// stack aborts the process when a request is confirmed whose answer it could not send. For good; any thread.
void closeStackStreams();
// Empties the drain; cheap when nothing is in it. Call it every now and then, on the stack's thread.
void drainStackStreams();
