// The call server's log lines for the administrator, published as kEvtLog.
#pragma once

// One line, printf-style. Control characters become visible, so that what strangers send cannot forge a line; at most
// 1,024 bytes. No secrets, no dumps. Any thread.
void ServerLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
