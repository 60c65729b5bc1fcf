// What listeners of the store hear.
#pragma once

#include <cstdint>
#include <string_view>

// Tables that listeners hear of.
enum class Edb_table : uint8_t {
    LocalUsers,
    System,
    ExtLines,
    PeerServers,
    RouteGroups,
    Routes,
    NbrTransitions,
    CalledAnalysis,
    CallerAnalysis,
    CallerRefinement,
    CalledRefinement,
    TimeConditions,
    HuntingGroups,
    HuntingOperators,
    HuntingDetection,
    RingUsers,
    RingDetection,
    IvrTriggers,
    LuaTriggers,
    SpeedDial,
    CallRecording,
    CallShop,
    CallerRewriting,
    BlackList,
    IpLists,
    EventChannel,
    Callback,
    Settings,
    RunTime, // never told: what the server writes itself
};

// Parts the elements of a key of several columns (ASCII unit separator): no key text holds a control character.
constexpr char kDbKeySeparator = '\x1f';

// A stored change. key is empty when many records changed at once (a bulk is one change); it lives for the call only.
struct Cdb_change {
    Edb_table table;
    std::string_view key;   // numbers in decimal; several columns in stored order, parted by kDbKeySeparator
    bool isRemoval = false; // the record was deleted; one of the same key may have been added since
};
