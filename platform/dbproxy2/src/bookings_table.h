// What the database keeps of reservations and bookings, so that each is made exactly once.
#pragma once

#include "remote_table.h"

#include <cstdint>

enum BookingState : uint8_t { kBookingOpen = 1, kBookingMade = 2 };

// Sums in cents.
struct BookingRow {
    int64_t nReserved; // taken from the balance while the booking is open
    int64_t nCost;
    uint8_t nAccountKind;
    uint8_t nState;
    char cBooking[33]; // key; begins with the time of its making, so that old ones can be found
    char cAccountName[61];
};

template <>
const RemoteTable& remoteTableOf<BookingRow>();
