// The embedded engine: a file in the data folder.
#pragma once

#include "engine.h"

[[nodiscard]] std::unique_ptr<SqlEngine> makeEmbeddedEngine(std::string path);
