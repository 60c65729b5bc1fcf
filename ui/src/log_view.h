// The server log as the administrator reads it.
#pragma once

#include <QTextEdit>

// Shows what strangers send to the server: every line stays one line of plain text, whatever it holds. GUI thread.
class Clog_view : public QTextEdit {
    Q_OBJECT

public:
    explicit Clog_view(QWidget* parent = nullptr);

public slots:
    // Appends a line as a paragraph of its own; hides the base class's slot, which guesses at rich text. The view
    // follows the end when it showed the end, else it keeps its place.
    void append(const QString& line);

private:
    void select(int anchor, int position);
};
