// Answers the boxes and editors that a test makes the console show.
#pragma once

#include <QObject>
#include <QString>

#include <deque>
#include <functional>

class QDialog;
class QMessageBox;

// Calls from the event loop after that many milliseconds, unless `context` is gone by then.
void callLater(QObject* context, int ms, std::function<void()> call);

// Presses the dialog's own button; fails the test when it has none.
void pressOk(QDialog& dialog);
void pressCancel(QDialog& dialog);

// Answers what is run modally, in the order in which the test expects it. An unexpected box, or one that says something
// else, fails the test at once and is closed; an answer that nobody asked for fails it at the end.
class BoxAnswers : public QObject {
public:
    BoxAnswers();
    ~BoxAnswers() override;

    // A message box. The answer is its own OK button, unless `answer` does something else while the box is open.
    void expect(const QString& title, const QString& text, std::function<void(QMessageBox&)> answer = {});
    // A box that asks for one line: `text` is entered in the place of `initial`, and OK pressed.
    void expectInput(const QString& title, const QString& label, const QString& initial, const QString& text);
    // The same, cancelled.
    void expectInputToCancel(const QString& title, const QString& label, const QString& initial);
    // An editor with this window title: `use` presses its way out of it.
    void expectEditor(const QString& title, std::function<void(QDialog&)> use);

    // Message boxes that were shown so far.
    [[nodiscard]] int shown() const { return _shown; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Expected {
        QString title;
        std::function<void(QDialog&)> answer; // checks the rest and closes the dialog
    };
    void answerNext(QDialog& dialog);

    std::deque<Expected> _expected;
    int _shown = 0;
};
