// From the toolkit's strings to the platform's. All convert with the codec of the locale, which start-up sets to UTF-8.
#pragma once

#include "bcl2/text.h"
#include "bcl2/tmp_str.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <string_view>

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
