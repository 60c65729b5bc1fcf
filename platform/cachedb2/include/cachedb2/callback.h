// The one record of the callback service.
#pragma once

#include <cstdint>
#include <type_traits>

struct Cdb_cb_serv_data {
    Cdb_cb_serv_data() { Init(); }
    void Init();

    int32_t delay;    // s before the caller is called back
    uint8_t id;       // key, always 1
    char file[65];    // IVR-XML; blank: DISA
    char number[33];  // a call to it is called back; empty: service off
    char reserved[1]; // fills the last word; always zero
};
static_assert(std::has_unique_object_representations_v<Cdb_cb_serv_data>, "padding would break byte comparison");
