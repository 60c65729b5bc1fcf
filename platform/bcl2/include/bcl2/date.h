// Time stamps, dates and week days in the server's local time. Every function may be called on any thread.
#pragma once

#include "bcl2/tmp_str.h"

#include <cstdint>

// Numbered as the stored week day masks count their bits.
enum Ebcl_week : unsigned {
    EBCL_SUNDAY = 0,
    EBCL_MONDAY,
    EBCL_TUESDAY,
    EBCL_WEDNESDAY,
    EBCL_THURSDAY,
    EBCL_FRIDAY,
    EBCL_SATURDAY
};

// Seconds since 1970-01-01 00:00:00 UTC.
using Cbcl_timestamp = int64_t;

[[nodiscard]] Cbcl_timestamp BclGetCurrTimestamp();

// "2026-11-20 09:45:07" in local time; a stamp whose year has not four digits gives an empty text.
void BclGetDateTimeStr(Cbcl_timestamp stamp, Cbcl_tmp_str& out);

// The week day of a time stamp in local time.
[[nodiscard]] Ebcl_week BclGetWeek(Cbcl_timestamp stamp);

// The local date of a time stamp as YYYYMMDD.
[[nodiscard]] uint32_t BclGetDateInt(Cbcl_timestamp stamp);

// "YYYY-MM-DD" to YYYYMMDD; "0000-00-00" and every text of another form give 0. The calendar is not asked: a date that
// does not exist keeps its digits, so that what was typed is shown again.
[[nodiscard]] uint32_t BclDateToInt(const char* text);

// YYYYMMDD to "YYYY-MM-DD"; above 99999999 "0000-00-00".
void BclIntToDate(uint32_t date, Cbcl_tmp_str& out);
