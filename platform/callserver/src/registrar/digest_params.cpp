#include "registrar/digest_params.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

constexpr size_t kMaxHeader = 4096; // bytes; the longest honest ones have some 600
constexpr size_t kMaxValue = 1024;  // bytes; a uri parameter is the longest
constexpr size_t kMaxParams = 32;   // RFC 7616 knows eleven

struct KnownParam {
    std::string_view name;
    std::optional<std::string_view> DigestParams::*field;
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

enum CharClass : uint8_t {
    kTokenChar = 1,   // RFC 3261 section 25.1
    kQuotedPlain = 2, // stands for itself between quotes
};

constexpr std::array<uint8_t, 256> classify()
{
    std::array<uint8_t, 256> classes{};
    for (const char c : std::string_view("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-.!%*_+`'~"))
        classes[static_cast<unsigned char>(c)] |= kTokenChar;
    for (size_t c = 0; c < classes.size(); ++c)
        if ((c >= 0x20 || c == '\t') && c != 0x7f && c != '"' && c != '\\')
            classes[c] |= kQuotedPlain;
    return classes;
}

bool is(CharClass wanted, char c)
{
    static constexpr std::array<uint8_t, 256> kClasses = classify();
    return (kClasses[static_cast<unsigned char>(c)] & wanted) != 0;
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
    std::string_view token() { return run(kTokenChar); }
    // Behind the opening quote. Nothing: not closed, or a control character within. Escapes are left to `unescaped`.
    std::optional<std::string_view> quoted(std::list<std::string>& unescaped)
    {
        const std::string_view plain = run(kQuotedPlain);
        if (take('"'))
            return plain;
        std::string& out = unescaped.emplace_back(plain);
        while (take('\\')) {
            if (atEnd() || !(is(kQuotedPlain, _text[_pos]) || _text[_pos] == '"' || _text[_pos] == '\\'))
                return std::nullopt;
            out += _text[_pos++];
            out += run(kQuotedPlain);
        }
        if (!take('"'))
            return std::nullopt;
        return out;
    }

private:
    // The longest run of characters of this class.
    std::string_view run(CharClass wanted)
    {
        const size_t start = _pos;
        while (!atEnd() && is(wanted, _text[_pos]))
            ++_pos;
        return _text.substr(start, _pos - start);
    }

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
    std::optional<std::string_view> value;
    if (cursor.take('"'))
        value = cursor.quoted(out.unescaped);
    else if (const std::string_view token = cursor.token(); !token.empty())
        value = token;
    if (!value)
        return DigestParse::Malformed;
    if (value->size() > kMaxValue)
        return DigestParse::TooLong;
    for (const KnownParam& known : kKnownParams) {
        if (!equalsIgnoringCase(name, known.name))
            continue;
        std::optional<std::string_view>& field = out.*known.field;
        if (field)
            return DigestParse::Duplicate;
        field = value;
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
