// What our message class parses by itself: the lines that the stack's parsers refuse so that their sender learns
// nothing, or read more freely than they should. For the files of this folder only: it speaks the stack's types.
#pragma once

#include <cstddef>
#include <sofia-sip/msg_types.h>
#include <sofia-sip/sip.h>

// All of them are called while the stack parses a message, whose memory `home` is.

// RFC 3261 section 7.1. Whatever ends with a SIP version is a request; one whose parts are wrong gets an invalid URI,
// which the stack answers with 400. The stack refuses other versions before it has looked at the Via, and so to
// wherever that points: it is shown our version instead (see isOtherVersion).
[[nodiscard]] issize_t parseRequestLine(su_home_t* home, msg_header_t* header, char* text, isize_t size);

// RFC 3261 section 20.16. The stack knows fewer characters in the names of methods.
[[nodiscard]] issize_t parseCseq(su_home_t* home, msg_header_t* header, char* text, isize_t size);

// Makes a Via of what sip_via_d() parsed before the fault, if that was the host at least: it serves to answer that the
// request is malformed. False: nothing can be made of it.
[[nodiscard]] bool salvageVia(su_home_t* home, sip_via_t* via);

// True for a request of another version than SIP/2.0, which is for the callback to refuse.
[[nodiscard]] bool isOtherVersion(const sip_t* sip);
