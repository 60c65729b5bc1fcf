#include "log_view.h"

#include "bcl2/text.h"

#include <QFontMetricsF>
#include <QScrollBar>
#include <QStringList>
#include <QTextBlockFormat>
#include <QTextCursor>

#include <limits>
#include <string_view>

namespace {

constexpr int kFontPoints = 10;
constexpr int kTabBlanks = 4;

// Tabs stay: the view has tab stops for them, and they can forge no line.
QString visibleText(const QString& line)
{
    QStringList parts = line.split(QLatin1Char('\t'));
    for (QString& part : parts) {
        const QByteArray bytes = part.toUtf8();
        const std::string_view text(bytes.constData(), static_cast<size_t>(bytes.size()));
        part = QString::fromStdString(BclPrintable(text, std::numeric_limits<size_t>::max()));
    }
    return parts.join(QLatin1Char('\t'));
}

} // namespace

Clog_view::Clog_view(QWidget* parent) : QTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false); // nothing can be undone, so that nothing needs to be kept for it
    setLineWrapMode(QTextEdit::NoWrap);
    setLayoutDirection(Qt::LeftToRight); // lines are English: they begin at the left in every language
    QFont font(QStringLiteral("DejaVu Sans Mono"), kFontPoints);
    font.setStyleHint(QFont::Monospace); // for systems without that family
    font.setFixedPitch(true);
    setFont(font);
    setTabStopDistance(QFontMetricsF(font).horizontalAdvance(QLatin1Char(' ')) * kTabBlanks);
    setAccessibleName(tr("Server log"));
}

void Clog_view::append(const QString& line)
{
    QScrollBar* const down = verticalScrollBar();
    QScrollBar* const across = horizontalScrollBar();
    const bool isAtEnd = down->value() >= down->maximum();
    const int place = down->value();
    const int column = across->value();
    const QTextCursor reader = textCursor();
    const int anchor = reader.anchor();
    const int position = reader.position();

    QTextCursor writer(document());
    writer.movePosition(QTextCursor::End);
    writer.beginEditBlock();
    if (!document()->isEmpty())
        writer.insertBlock();
    QTextBlockFormat direction; // else a word of another script, which a stranger sent, could turn the line round
    direction.setLayoutDirection(Qt::LeftToRight);
    writer.mergeBlockFormat(direction);
    writer.insertText(visibleText(line));
    writer.endEditBlock();

    if (anchor != position)
        select(anchor, position);
    down->setValue(isAtEnd ? down->maximum() : place);
    across->setValue(column);
}

// A selection that reached the end of the text would have grown by what was inserted there.
void Clog_view::select(int anchor, int position)
{
    QTextCursor cursor = textCursor();
    if (cursor.anchor() == anchor && cursor.position() == position)
        return;
    cursor.setPosition(anchor);
    cursor.setPosition(position, QTextCursor::KeepAnchor);
    setTextCursor(cursor);
}
