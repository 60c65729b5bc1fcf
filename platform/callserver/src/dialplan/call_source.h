// Who calls: the dial plan and the number of a call, and whether its source may call now.
#pragma once

#include "dialplan/analysis.h"

// The first steps of an analysis: source, plan, called number, expiry date and limits.
void checkSource(Analysis& analysis);
