// Texts that should not be found by reading the program file. Not a protection, only a veil.
#pragma once

#include "bcl2/tmp_str.h"

#include <array>
#include <cstddef>

// The byte that veils position `i`.
constexpr unsigned char BclCipherByte(size_t i)
{
    return static_cast<unsigned char>(0x5a ^ (i * 37 + 11));
}

// The enciphered bytes of a literal, made while compiling; N counts the literal's NUL, which is left out.
template <size_t N>
consteval std::array<char, N - 1> BclEncipher(const char (&clear)[N])
{
    std::array<char, N - 1> veiled{};
    for (size_t i = 0; i + 1 < N; ++i)
        veiled[i] = static_cast<char>(static_cast<unsigned char>(clear[i]) ^ BclCipherByte(i));
    return veiled;
}

// Deciphers `length` bytes into `out`. A null text gives an empty one. Any thread.
void BclGetEncryptString(const char* veiled, size_t length, Cbcl_tmp_str& out);
