// What a process asks of the system it runs on.
#pragma once

#include "bcl2/tmp_str.h"

// The current directory with a separator at its end, so that a file name can follow directly; "./" when it cannot be
// told.
void BclGetCurrDir(Cbcl_tmp_str& out);

// Raises the soft limit of open file handles to `count`, bounded by the hard limit; never lowers it. Returns 0 when the
// limit is at least `count` afterwards, else 1. Any thread.
unsigned BclSetMaxFileHandles(unsigned count);
