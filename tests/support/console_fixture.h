// What every test of the console stands on: a home of its own, language files, answered message boxes, real menu
// actions.
#pragma once

#include "frm_main.h"
#include "support/box_answers.h"

#include <QElapsedTimer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>

class QAction;
class QTextEdit;

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

    // Handles events until the server that was started says that it hears packets on that port of 127.0.0.1: what comes
    // before is lost.
    void waitForServer(uint16_t port) const;
    // Handles events until the condition holds; false when it never did.
    static bool waitUntil(const std::function<bool()>& condition);

    [[nodiscard]] QTextEdit& logView() const;
    // The lines that the view was given so far, in order, without their time stamps.
    [[nodiscard]] QStringList logTexts() const;
    [[nodiscard]] int logLines() const; // 0 for an empty view, whose one text is empty

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
