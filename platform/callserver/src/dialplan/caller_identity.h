// What the called party sees of the caller.
#pragma once

#include "dialplan/analysis.h"

// Caller ID rewriting, and the number that its user hides.
void rewriteCaller(Analysis& analysis);
