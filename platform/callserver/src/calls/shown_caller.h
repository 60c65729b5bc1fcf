// What the called side is shown of a caller.
#pragma once

#include "dialplan/dial_answer.h"
#include "sip/call_message.h"

#include <string>
#include <string_view>

// By his own wish or the server's rules.
[[nodiscard]] bool isHidden(const DialAnswer& answer, const CallMessage& request);

// The name that the server gives him, else that of his telephone. Of a hidden caller only a name is shown that was
// chosen for that.
[[nodiscard]] std::string_view shownName(const DialAnswer& answer, const CallMessage& request);

// Name and address, for From. `number`: as it is sent to this target.
[[nodiscard]] std::string shownParty(const DialAnswer& answer, const CallMessage& request, std::string_view number,
                                     std::string_view host);

// What of the headers of his requests goes on. `isStranger`: nobody knows who he is.
[[nodiscard]] std::string shownHeaders(std::string_view passed, bool isHidden, bool isStranger);
