// What the called party sees of the caller.
#pragma once

#include "dialplan/analysis.h"

#include <string_view>

// Stands for a caller number that rewriting has removed.
constexpr std::string_view kHiddenCaller = "anonymous";

// Caller ID rewriting, and the number that its user hides.
void rewriteCaller(Analysis& analysis);
