// The name service of this process, with names of our own beside the real ones.
#pragma once

// Leads to ::1 first and to 127.0.0.1 behind it.
constexpr const char* kTwoAddresses = "two-addresses.test";
// Gets no answer while a HangingNames lives, and none that helps then.
constexpr const char* kHangingName = "hanging.test";

class HangingNames {
public:
    HangingNames();
    ~HangingNames();
    HangingNames(const HangingNames&) = delete;
    HangingNames& operator=(const HangingNames&) = delete;

    // Questions that hang now.
    [[nodiscard]] static int waiting();
};
