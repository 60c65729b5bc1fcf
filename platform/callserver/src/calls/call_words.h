// What calls say to the sides that they end, and how they read the answers of the stack.
#pragma once

#include "sip/call_message.h"

#include <cstdint>
#include <string>
#include <string_view>

// As Server and User-Agent name it.
constexpr const char* kProduct = "Parlovex";
constexpr int64_t kMsPerSecond = 1000;
constexpr uint32_t kRetryAfter = 3; // s; RFC 3261 section 14.2 asks for 0 to 10

// A Reason header (RFC 3326).
[[nodiscard]] std::string reasonLine(int status, std::string_view text);

// None came, and it was not the other side who said so.
[[nodiscard]] bool isOwn(const CallMessage& response);

// RFC 3261 section 12.2.1.2: the dialog is no more.
[[nodiscard]] bool isDialogGone(const CallMessage& response);

// What stood in the way of a refresh may be gone in a moment: another offer (RFC 3261 section 14.2), a broken
// connection.
[[nodiscard]] bool mayBeTriedAgain(const CallMessage& response);
