// Calls that a service takes.
#pragma once

#include "dialplan/analysis.h"

// Codes with which local users change their own services. True when the dialed number begins as one: then the call is
// not routed.
[[nodiscard]] bool serveCode(Analysis& analysis);
// Auto attendants, IVR triggers, ring groups and hunting groups. True when one takes the call.
[[nodiscard]] bool serveDetected(Analysis& analysis);
// Modules of this trigger point.
void runModules(Analysis& analysis, Elua_point point);
