#include "bcl2/number.h"

#include "bcl2/text.h"

#include <algorithm>

void Cphone_number::Init()
{
    std::memset(_text, 0, sizeof _text);
}

void Cphone_number::SetNbr(const char* text)
{
    BclCopyStr(_text, text, kBound);
}

std::string_view Cphone_number::view() const
{
    return BclFieldText(_text);
}

unsigned Cphone_number::IsAllDigits09() const
{
    return BclIsAllDigits09(view());
}

unsigned BclIsAllDigits09(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) ? 1 : 0;
}
