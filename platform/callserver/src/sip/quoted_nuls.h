// The one character that the stack's texts cannot hold.
#pragma once

#include <cstddef>

// A quoted string may hold a NUL behind a backslash (RFC 3261 section 25.1), which would end the text for the stack:
// such a NUL in the headers becomes a blank. For every message before the stack sees it; any thread.
void blankQuotedNuls(char* message, size_t size);
