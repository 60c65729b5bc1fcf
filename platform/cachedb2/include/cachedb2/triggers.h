// Triggers that hand a call to a script.
#pragma once

#include "bcl2/number.h"

#include <cstdint>
#include <type_traits>

class Cdb_query;

struct Cdb_ivr_trigger_data {
    Cdb_ivr_trigger_data() { init(); }
    void init();

    Cphone_number dialPlan;  // key, with calledNbr
    Cphone_number calledNbr; // the whole number
    char name[65];
    char fileName[64]; // IVR-XML
};
static_assert(std::has_unique_object_representations_v<Cdb_ivr_trigger_data>, "padding would break byte comparison");

// Trigger points of Lua modules.
enum Elua_point : int32_t { kLuaNumberCollected = 2, kLuaNumberAnalyzed = 3 };

struct Cdb_lua_trigger {
    Cdb_lua_trigger() { init(); }
    void init();

    int32_t DP; // Elua_point; key, with dialPlan and calledNbr
    Cphone_number dialPlan;
    Cphone_number calledNbr; // prefix, or the whole number (gVarCcfLuaServiceMatchCld)
    char name[65];
    Cphone_number moduleName;
};
static_assert(std::has_unique_object_representations_v<Cdb_lua_trigger>, "padding would break byte comparison");

void ldb_ivr_trigger_get_full_data(const Cdb_query& query, Cdb_ivr_trigger_data* record);
void ldb_lua_trigger_get_full_data(const Cdb_query& query, Cdb_lua_trigger* record);
