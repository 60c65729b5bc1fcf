// A set of up to 32 bits inside a record.
#pragma once

#include <cstdint>

// Plain data. Bits outside 0 to 31 are ignored and never set.
class Cbcl_bit_set {
public:
    constexpr Cbcl_bit_set() = default;
    constexpr explicit Cbcl_bit_set(uint32_t bits) : _bits(bits) {}

    constexpr void Set(unsigned bit) { _bits |= mask(bit); }
    constexpr void Clear(unsigned bit) { _bits &= ~mask(bit); }
    [[nodiscard]] constexpr bool Has(unsigned bit) const { return (_bits & mask(bit)) != 0; }
    [[nodiscard]] constexpr uint32_t value() const { return _bits; }

    friend constexpr bool operator==(Cbcl_bit_set a, Cbcl_bit_set b) { return a._bits == b._bits; }

private:
    static constexpr uint32_t mask(unsigned bit) { return bit < 32 ? uint32_t{1} << bit : 0; }
    uint32_t _bits = 0;
};
