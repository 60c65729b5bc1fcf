#include "log_view.h"

#include "bcl2/text.h"
#include "common/lang_res.h"

#include <QFontMetricsF>
#include <QScrollBar>
#include <QTextBlockFormat>
#include <QTextCursor>

#include <limits>
#include <string_view>

namespace {

constexpr int kFontPoints = 10;
constexpr int kTabBlanks = 4;
constexpr int kPauseMs = 20;     // a reader sees no difference, and a thousand lines cost as much as fifty layouts
constexpr int kMostAtOnce = 500; // lines; the rest waits for the next turn of the event loop

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
    setAccessibleName(GetLangItem(474, tr("Server log")));
    _pause.setSingleShot(true);
    _pause.setInterval(kPauseMs);
    connect(&_pause, &QTimer::timeout, this, [this] {
        if (_waiting.isEmpty())
            return;
        showSome(kMostAtOnce);
        _pause.start();
    });
}

void Clog_view::append(const QString& line)
{
    _waiting.append(line);
    if (_pause.isActive())
        return;
    showSome(kMostAtOnce);
    _pause.start();
}

void Clog_view::clear()
{
    _waiting.clear();
    _hasLines = false;
    QTextEdit::clear();
}

void Clog_view::showWaiting()
{
    showSome(_waiting.size());
}

void Clog_view::showSome(int count)
{
    if (count == 0)
        return;
    const QStringList lines = _waiting.mid(0, count);
    _waiting.erase(_waiting.begin(), _waiting.begin() + lines.size());
    write(lines);
}

void Clog_view::write(const QStringList& lines)
{
    QScrollBar* const down = verticalScrollBar();
    QScrollBar* const across = horizontalScrollBar();
    const bool isAtEnd = down->value() >= down->maximum();
    const int place = down->value();
    const int column = across->value();
    const QTextCursor reader = textCursor();
    const int anchor = reader.anchor();
    const int position = reader.position();

    QTextBlockFormat direction; // else a word of another script, which a stranger sent, could turn the line round
    direction.setLayoutDirection(Qt::LeftToRight);
    QTextCursor writer(document());
    writer.movePosition(QTextCursor::End);
    writer.beginEditBlock();
    for (const QString& line : lines) {
        if (_hasLines)
            writer.insertBlock();
        _hasLines = true;
        writer.mergeBlockFormat(direction);
        writer.insertText(visibleText(line));
    }
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
