// Where an instance keeps its files. An instance of the server is a data folder.
#pragma once

#include "bcl2/tmp_str.h"

// $PARLOVEX_HOME, else $XDG_DATA_HOME/parlovex, else $HOME/.local/share/parlovex, with a separator at its end. Relative
// values count from the current directory. Nothing is created. Any thread (the environment is not changed at run time).
void DbGetDataFolder(Cbcl_tmp_str& out);

// Makes the folder and those above it (mode 0700) when missing. Returns 0 when it is there and can be written, else the
// system's error number.
[[nodiscard]] int DbMakeDataFolder();
