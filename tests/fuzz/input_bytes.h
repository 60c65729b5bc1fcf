// An input as a row of choices.
#pragma once

#include <cstddef>
#include <cstdint>

// Takes the input apart; behind its end everything is 0.
class InputBytes {
public:
    InputBytes(const uint8_t* data, size_t size) : _next(data), _end(data + size) {}

    [[nodiscard]] bool areLeft() const { return _next != _end; }
    [[nodiscard]] unsigned upTo(unsigned last)
    {
        const unsigned byte = areLeft() ? *_next++ : 0;
        return byte % (last + 1);
    }
    [[nodiscard]] bool isYes() { return upTo(1) != 0; }

private:
    const uint8_t* _next;
    const uint8_t* _end;
};
