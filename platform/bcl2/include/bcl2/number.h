// A number field of a record: a telephone number, prefix or name of at most 32 bytes.
#pragma once

#include <cstddef>
#include <string_view>

// Plain bytes without padding: two numbers with the same text are equal byte for byte.
class Cphone_number {
public:
    static constexpr size_t kBound = 32; // bytes of text

    Cphone_number() { Init(); }

    // Empty text.
    void Init();
    // At most kBound bytes, no UTF-8 character cut. Null is the empty text.
    void SetNbr(const char* text);
    [[nodiscard]] const char* c_str() const { return _text; }
    [[nodiscard]] std::string_view view() const;
    [[nodiscard]] unsigned getStrLen() const { return static_cast<unsigned>(view().size()); }
    [[nodiscard]] bool IsEmpty() const { return _text[0] == '\0'; }
    // 1 when the text is not empty and made only of the digits 0 to 9, else 0.
    [[nodiscard]] unsigned IsAllDigits09() const;

    friend bool operator==(const Cphone_number& a, const Cphone_number& b) { return a.view() == b.view(); }

private:
    char _text[kBound + 1];
};

// The same test for any text.
[[nodiscard]] unsigned BclIsAllDigits09(std::string_view text);
