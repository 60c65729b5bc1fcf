// What the targets that speak over loopback have in common.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <poll.h>
#include <string>
#include <sys/socket.h>

inline constexpr size_t kMaxPacket = 65'000; // bytes; about what UDP carries

// The next packet; empty: none came in that time (ms).
[[nodiscard]] inline std::string receivePacket(int fd, int timeoutMs)
{
    // By the fuzzer's alarm, each few seconds; it ends the process when one input takes too long.
    constexpr int kMaxInterruptions = 100;
    pollfd waiting = {fd, POLLIN, 0};
    int ready = poll(&waiting, 1, timeoutMs);
    for (int i = 0; i < kMaxInterruptions && ready < 0 && errno == EINTR; ++i)
        ready = poll(&waiting, 1, timeoutMs);
    if (ready <= 0)
        return {};
    std::array<char, kMaxPacket> bytes;
    const ssize_t size = recv(fd, bytes.data(), bytes.size(), 0);
    return {bytes.data(), static_cast<size_t>(std::max<ssize_t>(size, 0))};
}
