// Settings that the store keeps outside the system record.
#pragma once

#include <cstdint>
#include <type_traits>

struct Cdb_settings {
    Cdb_settings() { Init(); }
    void Init();

    uint32_t annLang; // announcements: 0 English, 1 Chinese
    uint32_t vmsMode; // voice mail: 0 by e-mail, else stored
    uint8_t id;       // key, always 1
    char reserved[3]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_settings>, "padding would break byte comparison");
