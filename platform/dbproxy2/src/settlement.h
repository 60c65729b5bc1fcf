// Reservations and bookings in the database. Each is one transaction over a balance and the row of the booking, so that
// it can be repeated safely when its outcome is not known.
#pragma once

#include "booking_journal.h"
#include "remote_core.h"

// Opens a booking with `total` cents reserved, or raises it to that. Refused: not covered, no such account, or it has
// been booked.
[[nodiscard]] SqlResult reserveBooking(RemoteCore& core, const BookingEntry& entry, int64_t total, bool isFirst);

// Books the cost of a call, whether a reservation of it counts or not. Done: it has been booked, now or before.
[[nodiscard]] SqlResult settleBooking(RemoteCore& core, const BookingEntry& entry);

// Removes some of the bookings that were made so long ago that nobody can ask for them again.
void removeOldBookings(RemoteCore& core, const std::string& database);

// What an id begins with, for a time in seconds since 1970: ids of later times are greater.
[[nodiscard]] std::string bookingTime(int64_t time);
