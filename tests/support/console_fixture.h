// What every test of the console stands on: a home of its own, language files, answered message boxes, real menu
// actions.
#pragma once

#include "frm_main.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

class QAction;
class QMessageBox;
class QTextEdit;

// Calls from the event loop after that many milliseconds, unless `context` is gone by then.
void callLater(QObject* context, int ms, std::function<void()> call);

// Answers the message boxes in the order in which the test expects them. An unexpected box, or one with another title
// or text, fails the test at once and is closed; an answer that nobody asked for fails it at the end.
class BoxAnswers : public QObject {
public:
    BoxAnswers();
    ~BoxAnswers() override;

    // The answer is the box's own OK button, unless `answer` does something else while the box is open.
    void expect(const QString& title, const QString& text, std::function<void(QMessageBox&)> answer = {});
    [[nodiscard]] int shown() const { return _shown; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Expected {
        QString title;
        QString text;
        std::function<void(QMessageBox&)> answer;
    };
    void answerBox(QMessageBox& box);

    std::deque<Expected> _expected;
    int _shown = 0;
};

// One test a process: subscriptions, the language list and the server object are never undone.
class ConsoleFixture : public testing::Test {
protected:
    // Longest wait for a condition, far beyond what a loaded machine needs. Only a failing test waits that long.
    static constexpr int kPatienceMs = 30000;

    void SetUp() override;
    void TearDown() override;

    // Paths in the temporary home (data folder) and in the current directory (language files).
    [[nodiscard]] QString inHome(const QString& name) const;
    [[nodiscard]] QString inRunFolder(const QString& name) const;
    static void writeFile(const QString& path, const QByteArray& content);
    static QByteArray readFile(const QString& path);
    // A switch.ini with these lines in its section.
    void writeSwitches(const QByteArray& lines) const;

    // Stores a system record by which the server listens on a free port of 127.0.0.1 only, and that many users from
    // 1000 on with the password "secret". Returns the port.
    static uint16_t keepServerLocal(unsigned users = 0);

    // As the program does it: prepares the application and builds the window. `make` may build a derived one.
    Cfrm_main& buildWindow(const std::function<std::unique_ptr<Cfrm_main>()>& make = {});
    // keepServerLocal, buildWindow and the first show, which starts the server.
    Cfrm_main& startConsole();

    // Handles events until the condition holds; false when it never did.
    static bool waitUntil(const std::function<bool()>& condition);

    [[nodiscard]] QTextEdit& logView() const;
    // The lines that the view shows, in order, without their time stamps.
    [[nodiscard]] QStringList logTexts() const;

    // The action that lies at the end of the path of displayed texts ("&File", "&Language", ...); null when there is
    // none.
    [[nodiscard]] QAction* menuAction(const QStringList& path) const;
    void pressMenu(const QStringList& path) const;

    BoxAnswers boxes;
    std::unique_ptr<Cfrm_main> window;

private:
    QTemporaryDir _home;
    QTemporaryDir _runFolder;
    QString _oldFolder;
};
