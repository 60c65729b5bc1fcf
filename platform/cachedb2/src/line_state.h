// The run-time state of external lines: it lies in the run-time file, where no typed write of a line reaches it.
#pragma once

#include <cstdint>
#include <string>

struct ExtLineState {
    uint8_t state; // 0 off, else on
    char extName[33];
};

// Puts a view over the stored lines of a page reader, so that `select * from tbl_ext_line` gives their state in a last
// column.
[[nodiscard]] std::string extLineViewStatement();
