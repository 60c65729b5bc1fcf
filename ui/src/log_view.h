// The server log as the administrator reads it.
#pragma once

#include <QStringList>
#include <QTextEdit>
#include <QTimer>

// Shows what strangers send to the server: every line stays one line of plain text, whatever it holds. Lines that come
// fast are shown some at a time, so that the window answers meanwhile. GUI thread.
class Clog_view : public QTextEdit {
    Q_OBJECT

public:
    explicit Clog_view(QWidget* parent = nullptr);

    // Shows all that was appended so far.
    void showWaiting();

public slots:
    // Appends a line as a paragraph of its own; hides the base class's slot, which guesses at rich text. A line shows
    // at once, or with others that come soon after the one before. The view follows the end when it showed the end,
    // else it keeps its place.
    void append(const QString& line);
    // Also forgets what is not shown yet.
    void clear();

private:
    void showSome(int count);
    void write(const QStringList& lines);
    void select(int anchor, int position);

    QStringList _waiting;
    bool _hasLines = false; // a document whose one line is empty counts as empty itself
    QTimer _pause;          // runs while lines that come are not shown at once
};
