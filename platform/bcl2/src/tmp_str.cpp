#include "bcl2/tmp_str.h"

#include "bcl2/text.h"
#include "format_text.h"

#include <array>
#include <cstdio>
#include <utility>

bool bclFormatText(std::string& out, const char* format, va_list args)
{
    std::array<char, 512> small; // most lines and statements fit, so that one pass is enough
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(small.data(), small.size(), format, args);
    bool isDone = length >= 0;
    if (isDone && static_cast<size_t>(length) < small.size()) {
        out.assign(small.data(), static_cast<size_t>(length));
    } else if (isDone) {
        std::string large(static_cast<size_t>(length), '\0');
        isDone = std::vsnprintf(large.data(), large.size() + 1, format, again) == length;
        if (isDone)
            out = std::move(large);
    }
    va_end(again);
    return isDone;
}

void Cbcl_buf_str::set(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    // A text that cannot be formatted leaves the buffer as it is: the contract has no error to report.
    static_cast<void>(bclFormatText(_text, format, args));
    va_end(args);
}

void Cbcl_buf_str::append(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    vappend(format, args);
    va_end(args);
}

void Cbcl_buf_str::vappend(const char* format, va_list args)
{
    std::string more;
    if (bclFormatText(more, format, args))
        _text += more;
}

void Cbcl_buf_str::setText(std::string_view text)
{
    _text.assign(text); // std::string takes a view into itself
}

void Cbcl_buf_str::appendText(std::string_view text)
{
    _text.append(text);
}

void Cbcl_buf_str::cut(char last)
{
    if (!_text.empty() && _text.back() == last)
        _text.pop_back();
}

Cbcl_tmp_str_proxy::Cbcl_tmp_str_proxy(char* memory, size_t size) : _memory(memory), _size(memory == nullptr ? 0 : size)
{
    // What stands there may be unterminated or have a dirty tail.
    if (_size > 0)
        BclCopyText(_memory, _size, {_memory, strnlen(_memory, _size)}, _size - 1);
}

void Cbcl_tmp_str_proxy::set(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text;
    if (bclFormatText(text, format, args))
        setText(text);
    va_end(args);
}

void Cbcl_tmp_str_proxy::append(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string more;
    if (bclFormatText(more, format, args) && _size > 0) {
        const size_t used = getStrLen();
        BclCopyText(_memory + used, _size - used, more, more.size());
    }
    va_end(args);
}

void Cbcl_tmp_str_proxy::setText(std::string_view text)
{
    BclCopyText(_memory, _size, text, text.size());
}

unsigned Cbcl_tmp_str_proxy::getStrLen() const
{
    return _size == 0 ? 0 : static_cast<unsigned>(strnlen(_memory, _size));
}
