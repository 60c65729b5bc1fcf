// What programs under measurement say on their standard output.
#pragma once

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <unistd.h>

// CLOCK_MONOTONIC in nanoseconds.
inline int64_t now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// A line "WHAT T N".
inline void tell(const char* what, int64_t time, int64_t number)
{
    char line[64];
    const int size = std::snprintf(line, sizeof line, "%s %" PRId64 " %" PRId64 "\n", what, time, number);
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, line, static_cast<size_t>(size));
}
