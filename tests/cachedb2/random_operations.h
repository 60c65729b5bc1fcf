// Typed operations over all families, chosen at random and yet the same in every process.
#pragma once

#include "cachedb2/fac_mgr.h"

#include <cstdint>

// Runs the operation of that number; its result. Many are refused, since keys are few: an add finds its record there,
// an update does not.
unsigned runRandomOperation(Cdb_fac_mgr& store, uint32_t seed, uint32_t number);
