// Texts and bodies between the stack and calls. For the files of this folder only: it speaks the stack's types.
#pragma once

#include "sip/call_message.h"

#include <sofia-sip/msg_types.h>
#include <sofia-sip/sip.h>
#include <string>
#include <string_view>

[[nodiscard]] std::string uriText(msg_t* message, const url_t* url);
// Without the escapes of URIs; null is empty.
[[nodiscard]] std::string unescapedText(const char* text);
// A display name as it is meant: without the quotes around it and the backslashes within.
[[nodiscard]] std::string unquotedText(const char* text);
// The value of a header, without its name.
[[nodiscard]] std::string headerValue(const msg_header_t* header);
// The parameters as they came, in one text again: the stack has split them at their commas.
[[nodiscard]] std::string authorizationText(const sip_authorization_t* header);

// Adds a header in the form that the stack knows, and as it is written; the first line has no name. False: the value is
// none of that kind.
[[nodiscard]] bool addHeader(msg_t* message, msg_hclass_t* kind, std::string_view name, const std::string& value);
// Adds whole lines as they are: what they say matters to the other side only. False: one of them is no header.
[[nodiscard]] bool addLines(msg_t* message, std::string_view lines);
// False without memory. Nothing is added where there is no body.
[[nodiscard]] bool addBody(msg_t* message, const SipBody& body);
