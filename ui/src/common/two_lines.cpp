#include "common/two_lines.h"

#include <QFontMetrics>

QString OnTwoLines(const QString& text, const QFontMetrics& font)
{
    QString best = text;
    int narrowest = font.horizontalAdvance(text);
    for (int at = 1; at < text.size() - 1; ++at) {
        const bool isHyphen = text.at(at) == QLatin1Char('-');
        if (!isHyphen && text.at(at) != QLatin1Char(' '))
            continue;
        const QString upper = text.left(isHyphen ? at + 1 : at);
        const QString lower = text.mid(at + 1);
        const int width = qMax(font.horizontalAdvance(upper), font.horizontalAdvance(lower));
        if (width >= narrowest)
            continue;
        narrowest = width;
        best = upper + QLatin1Char('\n') + lower;
    }
    return best;
}
