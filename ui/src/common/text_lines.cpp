#include "common/text_lines.h"

#include <QFontMetrics>
#include <QTextBoundaryFinder>

namespace {

constexpr int kShortestLine = 2; // characters: a lone one does not read as part of the title

} // namespace

QString OnLines(const QString& text, int lines, const QFontMetrics& font)
{
    if (lines < 2)
        return text;
    QString best = text;
    int narrowest = font.horizontalAdvance(text);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Line, text);
    for (int at = finder.toNextBoundary(); at > 0 && at < text.size(); at = finder.toNextBoundary()) {
        const QString upper = text.left(at).trimmed();
        if (upper.size() < kShortestLine || text.size() - at < kShortestLine)
            continue;
        const QString broken = upper + QLatin1Char('\n') + OnLines(text.mid(at), lines - 1, font);
        const int width = font.size(0, broken).width();
        if (width >= narrowest)
            continue;
        narrowest = width;
        best = broken;
    }
    return best;
}
