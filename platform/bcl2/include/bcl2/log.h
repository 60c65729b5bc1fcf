// Log lines for the administrator, carried by the event bus as event 1 (text, NUL-terminated UTF-8).
#pragma once

// The id under which the platform libraries publish their log lines; data1 is the text, data2 is null.
constexpr unsigned kBclLogEvent = 1;

// Publishes one line, printf-style. Control characters in the result are made visible, so that a line is one line, and
// it is cut at 1,024 bytes. Until BclOpenLog lines are kept (the first 100) in the order in which they came. Any
// thread.
void BclLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

// From now on lines are published at once; those kept so far come first. Called by the owner of the server when whoever
// shows the log has subscribed. Calling it again does nothing.
void BclOpenLog();
