// Where a user's telephones are.
#pragma once

#include "registrar/registrar.h"
#include "sip/sip_messages.h"

#include "cachedb2/usr_info.h"

#include <string>
#include <vector>

// By which registration a telephone is known: it tells where it is once it has moved.
struct KnownBinding {
    std::string uri;    // of its contact; empty: it has none
    std::string callId; // of its REGISTER requests, which a telephone keeps (RFC 3261 section 10.2.4)
    SipSource source;
};

struct Telephone {
    std::string uri;       // of its contact
    SipSource destination; // where its messages come from
};

// All that a user registered; of one with IP authentication his address, if it is one: host names are not looked up.
[[nodiscard]] std::vector<Telephone> telephonesOf(const Cdb_usr_info& user, const std::vector<Binding>* bindings);

[[nodiscard]] bool isSameEnd(const SipSource& a, const SipSource& b);

// Of a telephone that has this contact and sends from there.
[[nodiscard]] KnownBinding knownBinding(const std::vector<Binding>* bindings, const std::string& contact,
                                        const SipSource& source);

// As it is now; null: it is gone.
[[nodiscard]] const Binding* bindingNow(const std::vector<Binding>* bindings, const KnownBinding& known);
