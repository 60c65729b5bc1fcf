// DISA accounts and the caller numbers that belong to them.
#pragma once

#include <type_traits>

struct Ctbl_disa_account {
    Ctbl_disa_account() { Init(); }
    void Init();

    char cAccount[33]; // digits; key
    char cPassword[33];
    char cExtension[33]; // the local user as whom the caller goes on
};
static_assert(sizeof(Ctbl_disa_account) == 99, "compared as one block");
static_assert(std::has_unique_object_representations_v<Ctbl_disa_account>);

struct Ctbl_disa_caller_id {
    Ctbl_disa_caller_id() { Init(); }
    void Init();

    char cCallerID[33]; // key
    char cDISAAccount[33];
};
static_assert(sizeof(Ctbl_disa_caller_id) == 66, "compared as one block");
static_assert(std::has_unique_object_representations_v<Ctbl_disa_caller_id>);
