#include "common/qstr.h"

#include <QStringList>

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

int32_t BclStrToInt(const QString& text)
{
    return BclStrToInt(text.toLocal8Bit().constData());
}

uint32_t BclStrToU32(const QString& text)
{
    return BclStrToU32(text.toLocal8Bit().constData());
}

bool BclStrIsBlank(const QString& text)
{
    return text.isEmpty();
}

void StringListToQStringList(const std::list<std::string>& from, QStringList& to)
{
    for (const std::string& text : from)
        to.append(QString::fromStdString(text));
}
