#include "common/qstr.h"

namespace {

// Up to a NUL inside the text, as every C text ends there.
template <class Buffer>
void convert(const QString& text, Buffer* out)
{
    const QByteArray bytes = text.toLocal8Bit();
    out->setText(std::string_view(bytes.constData()));
}

} // namespace

void BclQStringToTmpStr(const QString& text, Cbcl_tmp_str* out)
{
    convert(text, out);
}

void BclQStringToBufStr(const QString& text, Cbcl_buf_str* out)
{
    convert(text, out);
}

void BclQStringToTmpStrPxy(const QString& text, Cbcl_tmp_str_proxy* out)
{
    convert(text, out);
}
