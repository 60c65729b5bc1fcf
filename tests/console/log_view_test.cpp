// The log view: every line is one paragraph of plain text.
#include "log_view.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTimer>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

class LogView : public testing::Test {
protected:
    // Appended as the window's signal does it: through the meta object, which must find the view's own slot.
    void appendOnly(const QString& line) { QMetaObject::invokeMethod(&view, "append", Q_ARG(QString, line)); }
    void append(const QString& line)
    {
        appendOnly(line);
        view.showWaiting();
    }
    void appendMany(int count)
    {
        for (int i = 0; i < count; ++i)
            append(QStringLiteral("line %1").arg(i));
    }
    [[nodiscard]] QString text() const { return view.toPlainText(); }

    Clog_view view;
};

TEST_F(LogView, IsReadOnlyFixedPitchAndUnwrapped)
{
    EXPECT_TRUE(view.isReadOnly());
    EXPECT_EQ(view.lineWrapMode(), QTextEdit::NoWrap);
    EXPECT_EQ(view.font().family(), QStringLiteral("DejaVu Sans Mono"));
    EXPECT_EQ(view.font().pointSize(), 10);
    EXPECT_TRUE(view.font().fixedPitch());
    EXPECT_DOUBLE_EQ(view.tabStopDistance(), 4 * QFontMetricsF(view.font()).horizontalAdvance(QLatin1Char(' ')));
    EXPECT_FALSE(view.accessibleName().isEmpty());
}

TEST_F(LogView, ShowsMarkupAsItStands)
{
    append(QStringLiteral("<h1>x</h1>"));
    append(QStringLiteral("<img src=\"http://127.0.0.1/x.png\"> &amp; <b>bold</b>"));
    EXPECT_EQ(text(), QStringLiteral("<h1>x</h1>\n<img src=\"http://127.0.0.1/x.png\"> &amp; <b>bold</b>"));
    EXPECT_EQ(view.document()->firstBlock().charFormat().fontWeight(),
              view.document()->lastBlock().charFormat().fontWeight());
}

TEST_F(LogView, NoLineBreakForgesALine)
{
    for (const char* const breaker :
         {"\n", "\r\n", "\r", "\v", "\f", "\u0085", "\u2028", "\u2029", "\ufdd0", "\ufdd1"}) {
        view.clear();
        append(QStringLiteral("a") + QString::fromUtf8(breaker) + QStringLiteral("b"));
        EXPECT_EQ(view.document()->blockCount(), 1) << text().toStdString();
        EXPECT_EQ(text().count(QLatin1Char('\n')), 0) << text().toStdString();
        EXPECT_EQ(view.document()->firstBlock().layout()->lineCount(), 1) << text().toStdString();
        EXPECT_TRUE(text().startsWith(QLatin1Char('a')) && text().endsWith(QLatin1Char('b')));
        EXPECT_GT(text().size(), 2) << "the break was dropped instead of shown";
    }
}

TEST_F(LogView, MakesControlCharactersVisible)
{
    append(QStringLiteral("\x1b[31mred"));
    EXPECT_EQ(text(), QStringLiteral("\\x1B[31mred"));
}

TEST_F(LogView, ShowsTheBeginningOfLongLinesAlsoFromRightToLeft)
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    Clog_view mirrored;
    mirrored.resize(200, 100);
    mirrored.show();
    mirrored.append(QString(500, QLatin1Char('x')));
    QApplication::processEvents();
    EXPECT_GT(mirrored.horizontalScrollBar()->maximum(), 0);
    EXPECT_EQ(mirrored.horizontalScrollBar()->value(), 0);
    EXPECT_EQ(mirrored.horizontalScrollBar()->layoutDirection(), Qt::LeftToRight);
}

TEST_F(LogView, MakesDirectionOverridesVisible)
{
    append(QStringLiteral("user \u202e1001"));
    EXPECT_EQ(text(), QStringLiteral("user \\u{202E}1001"));
}

TEST_F(LogView, NoScriptTurnsALineRound)
{
    for (int i = 0; i < 2; ++i)
        append(QStringLiteral("2026-11-20 09:45:07 | \u05e9\u05dc\u05d5\u05dd"));
    EXPECT_EQ(view.document()->firstBlock().textDirection(), Qt::LeftToRight);
    EXPECT_EQ(view.document()->lastBlock().textDirection(), Qt::LeftToRight);
}

TEST_F(LogView, KeepsTabs)
{
    append(QStringLiteral("a\tb"));
    EXPECT_EQ(text(), QStringLiteral("a\tb"));
}

TEST_F(LogView, ShowsEveryScript)
{
    const QString line = QStringLiteral("Grüße für 王小明, Привет, \U0001F4DE");
    append(line);
    EXPECT_EQ(text(), line);
}

TEST_F(LogView, DoesNotCutLongLines)
{
    const QString line(100000, QLatin1Char('x'));
    append(line);
    EXPECT_EQ(text(), line);
}

TEST_F(LogView, AppendsEachLineAsAParagraph)
{
    appendMany(3);
    EXPECT_EQ(text(), QStringLiteral("line 0\nline 1\nline 2"));
    EXPECT_EQ(view.document()->blockCount(), 3);
}

TEST_F(LogView, ALoneLineShowsAtOnce)
{
    appendOnly("first");
    EXPECT_EQ(text(), "first");
}

TEST_F(LogView, LinesThatComeFastShowTogetherInTheirOrder)
{
    QStringList lines;
    for (int i = 0; i < 2000; ++i) {
        lines.append(QString::number(i));
        appendOnly(lines.last());
    }
    EXPECT_EQ(text(), "0") << "the rest waits";
    while (view.document()->blockCount() < lines.size())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    EXPECT_EQ(text(), lines.join('\n'));
}

TEST_F(LogView, OtherEventsAreHandledBetweenManyLines)
{
    constexpr int kLines = 20000;
    for (int i = 0; i < kLines; ++i)
        appendOnly("x");
    QTimer ticks;
    int shown = view.document()->blockCount();
    int most = 0;
    QObject::connect(&ticks, &QTimer::timeout, [&] {
        most = std::max(most, view.document()->blockCount() - shown);
        shown = view.document()->blockCount();
    });
    ticks.start(0);
    while (shown < kLines)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    EXPECT_LE(most, 1000);
}

TEST_F(LogView, ClearingForgetsWhatIsNotShownYet)
{
    appendOnly("first");
    appendOnly("second");
    view.clear();
    view.showWaiting();
    EXPECT_EQ(text(), "");
    append("third");
    EXPECT_EQ(text(), "third");
}

TEST_F(LogView, AnEmptyLineIsALineAlsoAtTheBeginning)
{
    append("");
    append("");
    append("third");
    EXPECT_EQ(text(), "\n\nthird");
}

TEST_F(LogView, FollowsTheEndUnlessTheReaderLooksElsewhere)
{
    view.resize(300, 200);
    view.show();
    appendMany(200);
    QScrollBar* const bar = view.verticalScrollBar();
    ASSERT_GT(bar->maximum(), 100);
    EXPECT_EQ(bar->value(), bar->maximum());

    bar->setValue(50);
    appendMany(20);
    EXPECT_EQ(bar->value(), 50);

    bar->setValue(bar->maximum());
    appendMany(20);
    EXPECT_EQ(bar->value(), bar->maximum());
}

TEST_F(LogView, KeepsTheColumnThatTheReaderLooksAt)
{
    view.resize(300, 200);
    view.show();
    append(QString(500, QLatin1Char('x')));
    QScrollBar* const bar = view.horizontalScrollBar();
    ASSERT_GT(bar->maximum(), 100);
    bar->setValue(77);
    appendMany(30);
    EXPECT_EQ(bar->value(), 77);
}

TEST_F(LogView, ASelectionUpToTheEndDoesNotGrow)
{
    view.resize(300, 200);
    view.show();
    append(QString(500, QLatin1Char('x')));
    appendMany(100);
    QTextCursor cursor = view.textCursor();
    cursor.select(QTextCursor::Document);
    view.setTextCursor(cursor);
    const QString selected = view.textCursor().selectedText();
    view.verticalScrollBar()->setValue(10);
    view.horizontalScrollBar()->setValue(77);
    appendMany(20);
    EXPECT_EQ(view.textCursor().selectedText(), selected);
    EXPECT_EQ(view.verticalScrollBar()->value(), 10);
    EXPECT_EQ(view.horizontalScrollBar()->value(), 77);
}

TEST_F(LogView, SelectsNothingByItself)
{
    appendMany(5);
    EXPECT_FALSE(view.textCursor().hasSelection());
}

} // namespace
