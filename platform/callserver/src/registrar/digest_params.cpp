#include "registrar/digest_params.h"

#include <algorithm>
#include <array>

namespace {

constexpr size_t kMaxHeader = 4096; // bytes; the longest honest ones have some 600
constexpr size_t kMaxValue = 1024;  // bytes; a uri parameter is the longest
constexpr size_t kMaxParams = 32;   // RFC 7616 knows eleven

struct KnownParam {
    std::string_view name;
    std::optional<std::string> DigestParams::*field;
};
constexpr std::array<KnownParam, 9> kKnownParams = {{
    {"username", &DigestParams::username},
    {"realm", &DigestParams::realm},
    {"nonce", &DigestParams::nonce},
    {"uri", &DigestParams::uri},
    {"response", &DigestParams::response},
    {"algorithm", &DigestParams::algorithm},
    {"cnonce", &DigestParams::cnonce},
    {"qop", &DigestParams::qop},
    {"nc", &DigestParams::nc},
}};

// RFC 3261 section 25.1
bool isTokenChar(char c)
{
    static constexpr std::string_view kMarks = "-.!%*_+`'~";
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           (c != '\0' && kMarks.find(c) != std::string_view::npos);
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

class Cursor {
public:
    explicit Cursor(std::string_view text) : _text(text) {}

    [[nodiscard]] bool atEnd() const { return _pos == _text.size(); }
    // Folded lines count as blanks.
    void skipBlanks()
    {
        while (!atEnd() && (_text[_pos] == ' ' || _text[_pos] == '\t' || _text[_pos] == '\r' || _text[_pos] == '\n'))
            ++_pos;
    }
    bool take(char c)
    {
        if (atEnd() || _text[_pos] != c)
            return false;
        ++_pos;
        return true;
    }
    std::string_view token()
    {
        const size_t start = _pos;
        while (!atEnd() && isTokenChar(_text[_pos]))
            ++_pos;
        return _text.substr(start, _pos - start);
    }
    // Behind the opening quote. False: not closed, or a control character within.
    bool quoted(std::string& out)
    {
        while (!atEnd()) {
            char c = _text[_pos++];
            if (c == '"')
                return true;
            if (c == '\\') {
                if (atEnd())
                    return false;
                c = _text[_pos++];
            }
            if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f)
                return false;
            out += c;
        }
        return false;
    }

private:
    std::string_view _text;
    size_t _pos = 0;
};

DigestParse parseParam(Cursor& cursor, DigestParams& out)
{
    const std::string_view name = cursor.token();
    cursor.skipBlanks();
    if (name.empty() || !cursor.take('='))
        return DigestParse::Malformed;
    cursor.skipBlanks();
    std::string value;
    if (cursor.take('"')) {
        if (!cursor.quoted(value))
            return DigestParse::Malformed;
    } else {
        value = cursor.token();
        if (value.empty())
            return DigestParse::Malformed;
    }
    if (value.size() > kMaxValue)
        return DigestParse::TooLong;
    for (const KnownParam& known : kKnownParams) {
        if (!equalsIgnoringCase(name, known.name))
            continue;
        std::optional<std::string>& field = out.*known.field;
        if (field)
            return DigestParse::Duplicate;
        field = std::move(value);
        break;
    }
    return DigestParse::Ok;
}

} // namespace

DigestParse parseDigestParams(std::string_view header, DigestParams& out)
{
    if (header.size() > kMaxHeader)
        return DigestParse::TooLong;
    Cursor cursor(header);
    cursor.skipBlanks();
    if (!equalsIgnoringCase(cursor.token(), "Digest"))
        return DigestParse::OtherScheme;
    size_t count = 0;
    for (;;) {
        cursor.skipBlanks();
        // Lists may have empty elements (RFC 7230 section 7).
        if (cursor.take(','))
            continue;
        if (cursor.atEnd())
            return count > 0 ? DigestParse::Ok : DigestParse::Malformed;
        if (++count > kMaxParams)
            return DigestParse::TooLong;
        if (const DigestParse result = parseParam(cursor, out); result != DigestParse::Ok)
            return result;
        cursor.skipBlanks();
        if (!cursor.atEnd() && !cursor.take(','))
            return DigestParse::Malformed;
    }
}
