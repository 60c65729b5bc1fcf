// Where a user's telephones are.
#pragma once

#include "registrar/registrar.h"
#include "sip/sip_messages.h"

#include "cachedb2/usr_info.h"

#include <string>
#include <vector>

struct Telephone {
    std::string uri;       // of its contact
    SipSource destination; // where its messages come from
};

// All that a user registered; of one with IP authentication his address, if it is one: host names are not looked up.
[[nodiscard]] std::vector<Telephone> telephonesOf(const Cdb_usr_info& user, const std::vector<Binding>* bindings);
