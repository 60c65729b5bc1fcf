// Between the toolkit's strings and the platform's. All convert with the codec of the locale, which start-up sets to
// UTF-8.
#pragma once

#include "bcl2/text.h"
#include "bcl2/tmp_str.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <string>
#include <string_view>

class QStringList;

void BclQStringToTmpStr(const QString& text, Cbcl_tmp_str* out);
void BclQStringToBufStr(const QString& text, Cbcl_buf_str* out);
void BclQStringToTmpStrPxy(const QString& text, Cbcl_tmp_str_proxy* out);

// At most `bound` bytes of text into a field of a record, cut between characters, the rest of the field zero. The
// field's own size holds whatever bound is given. Returns the number of bytes of text.
template <size_t N>
size_t BclCopyQStr(char (&dst)[N], const QString& text, int bound)
{
    const QByteArray bytes = text.toLocal8Bit();
    return BclCopyStr(dst, bytes.constData(), bound < 0 ? 0 : static_cast<size_t>(bound));
}

// The same into the whole field.
template <size_t N>
size_t BclCopyQStr(char (&dst)[N], const QString& text)
{
    return BclCopyQStr(dst, text, static_cast<int>(N) - 1);
}

// Numbers as the platform's functions of these names read them: "0x10" is 16, "010" is 8, what is no number is 0.
[[nodiscard]] int32_t BclStrToInt(const QString& text);
[[nodiscard]] uint32_t BclStrToU32(const QString& text);

// The same for a narrower field: what it cannot hold becomes the nearest number that it can.
template <class Number>
Number BclNumberOf(const QString& text)
{
    const int64_t value = BclStrToInt(text);
    return static_cast<Number>(
        std::clamp<int64_t>(value, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()));
}

// True for the empty text only; blanks are not trimmed.
[[nodiscard]] bool BclStrIsBlank(const QString& text);

// Appends each text, which is UTF-8.
void StringListToQStringList(const std::list<std::string>& from, QStringList& to);
