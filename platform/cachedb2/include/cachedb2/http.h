// Small texts from web servers.
#pragma once

#include "bcl2/tmp_str.h"

// Fetches an http or https address into `reply`: at most 64 KiB, 3 s in all, five redirections, certificates checked.
// Returns 0 on a 2xx answer, else 1 with an empty reply. Waits; any thread.
unsigned DbHttpGet(const char* url, Cbcl_tmp_str& reply);
