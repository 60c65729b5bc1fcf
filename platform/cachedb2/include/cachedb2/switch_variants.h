// Switch variants: process-wide settings read once from "switch.ini", section "switch", before any window exists.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>

// Written by DbInitSwitchVariants before the first thread is started; later only gVarGuiLang changes (GUI thread).
extern int32_t gVarGuiLang;                // language code
extern unsigned gVarGuiLayoutDir;          // 0 left to right, 1 right to left, 2 automatic
extern unsigned gVarGuiHideSysTrayIcon;    // 1: no tray icon
extern unsigned gVarGuiDisplayPassword;    // 1: editors show passwords in clear
extern unsigned gVarCcfLuaServiceMatchCld; // 1: Lua triggers match the exact destination number
extern char gVarCcfEmergencyNumbers[256];  // numbers parted by commas
extern unsigned gVarSipDigestSha256;       // challenges: 0 MD5; 1 SHA-256, then MD5; 2 SHA-256 only (RFC 8760)
extern unsigned gVarSipChallengeRate;      // requests a second without credentials from one source; 0: no limit
extern char gVarGuiVersionUrl[512];        // where the version check looks

// The full path of the switch-variant file in the data folder.
void DbGetSwitchVarFile(Cbcl_tmp_str& path);

// Sets every switch variant to its default, then to what the file says. A missing file, one that is no INI text, and a
// value outside its range leave the default and give a log line each. Returns 0 when the file was there and well
// formed, else 1.
unsigned DbInitSwitchVariants(const char* path);

// Stores the language of the next start in the switch-variant file; other lines stay, a damaged file is kept aside and
// a new one made. Returns 0 when it is on disk, else 1 with a log line. GUI thread.
unsigned DbSetUILanguage(unsigned code);
