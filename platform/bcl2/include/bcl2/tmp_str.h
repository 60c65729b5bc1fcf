// Text buffers in which SQL, log lines and other C texts are put together.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

// A growing text, always NUL-terminated. Owner: whoever made it; one thread at a time.
class Cbcl_buf_str {
public:
    Cbcl_buf_str() = default;
    explicit Cbcl_buf_str(std::string_view text) : _text(text) {}

    // printf-style; the arguments are formatted before the buffer changes, so that they may point into it.
    void set(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void append(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void vappend(const char* format, va_list args) __attribute__((format(printf, 2, 0)));

    // The text as it stands, without formatting.
    void setText(std::string_view text);
    void appendText(std::string_view text);

    // Removes the last byte when it is `last` (the comma after the last item of a list).
    void cut(char last);
    void clear() { _text.clear(); }

    [[nodiscard]] const char* c_str() const { return _text.c_str(); }
    [[nodiscard]] std::string_view view() const { return _text; }
    // Length in bytes, without the terminating NUL.
    [[nodiscard]] unsigned getStrLen() const { return static_cast<unsigned>(_text.size()); }
    [[nodiscard]] bool empty() const { return _text.empty(); }

private:
    std::string _text;
};

// The same for the length of one function: statements, prompts, paths.
class Cbcl_tmp_str : public Cbcl_buf_str {
public:
    using Cbcl_buf_str::Cbcl_buf_str;
};

// A text written into memory that somebody else owns: at most size - 1 bytes, always terminated, the rest of the
// memory zero, no UTF-8 character cut in two. The memory must outlive the proxy.
class Cbcl_tmp_str_proxy {
public:
    // memory may be null with size 0; then every text is cut to nothing.
    Cbcl_tmp_str_proxy(char* memory, size_t size);
    template <size_t N>
    explicit Cbcl_tmp_str_proxy(char (&field)[N]) : Cbcl_tmp_str_proxy(field, N)
    {}

    void set(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void append(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void setText(std::string_view text);

    [[nodiscard]] const char* c_str() const { return _size == 0 ? "" : _memory; }
    // Length in bytes of the text that is there now.
    [[nodiscard]] unsigned getStrLen() const;

private:
    char* _memory;
    size_t _size;
};
